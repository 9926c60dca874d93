// ITU-T G.711 mu-law: 14 bits in 8. All bits are inverted; above the sign a byte holds three bits of exponent
// and four of mantissa of the value with a bias added, and decodes to the middle of its interval.

#include <bit>

#include "platform/posix/acm/g711.h"

namespace platform::detail {
namespace {

struct MuLaw {
  static constexpr WORD kTag = WAVE_FORMAT_MULAW;

  static constexpr int Decode(BYTE byte) {
    const int bits = ~byte;
    const int size = (((bits & 15) * 8 + 4 * kBias) << (bits >> 4 & 7)) - 4 * kBias;
    return byte & kPositive ? size : -size;
  }

  static constexpr BYTE Encode(std::int16_t sample) {
    // A negative value mirrors the positive one below zero, so that both signs have the same intervals.
    const int size = ((sample < 0 ? ~sample : sample) >> 2) + kBias;
    const auto biased = static_cast<unsigned>(size < kMost ? size : kMost);
    const auto exponent = static_cast<unsigned>(std::bit_width(biased)) - 6;
    const unsigned mantissa = biased >> (exponent + 1) & 15;
    const auto bits = static_cast<int>(exponent << 4 | mantissa);
    return static_cast<BYTE>(~(sample < 0 ? bits | kPositive : bits));
  }

 private:
  static constexpr int kBias = 33;
  static constexpr int kMost = 0x1FFF;
  static constexpr int kPositive = 0x80;  // of the byte itself, not of its inverse
};

}  // namespace

std::shared_ptr<const ConversionDriver> MakeMuLawDriver() {
  return std::make_shared<G711Driver<MuLaw>>("G.711 mu-law");
}

}  // namespace platform::detail
