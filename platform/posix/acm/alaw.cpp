// ITU-T G.711 A-law: 13 bits in 8. Even bits are inverted; above the sign a byte holds three bits of exponent
// and four of mantissa, and decodes to the middle of its interval.

#include <bit>

#include "platform/posix/acm/g711.h"

namespace platform::detail {
namespace {

struct ALaw {
  static constexpr WORD kTag = WAVE_FORMAT_ALAW;

  static constexpr int Decode(BYTE byte) {
    const int bits = byte ^ kInverted;
    const int exponent = bits >> 4 & 7;
    const int mantissa = bits & 15;
    const int size = exponent == 0 ? (2 * mantissa + 1) << 3 : (2 * mantissa + 33) << (exponent + 2);
    return bits & kPositive ? size : -size;
  }

  static constexpr BYTE Encode(std::int16_t sample) {
    // A negative value mirrors the positive one below zero, so that both signs have the same intervals.
    const auto size = static_cast<unsigned>((sample < 0 ? ~sample : sample) >> 4);
    const auto exponent = size < 32 ? size >> 4 : static_cast<unsigned>(std::bit_width(size)) - 4;
    const unsigned mantissa = (exponent > 1 ? size >> (exponent - 1) : size) & 15;
    const unsigned bits = exponent << 4 | mantissa;
    return static_cast<BYTE>((static_cast<int>(bits) | (sample < 0 ? 0 : kPositive)) ^ kInverted);
  }

 private:
  static constexpr int kInverted = 0x55;
  static constexpr int kPositive = 0x80;
};

}  // namespace

std::shared_ptr<const ConversionDriver> MakeALawDriver() {
  return std::make_shared<G711Driver<ALaw>>("G.711 A-law");
}

}  // namespace platform::detail
