#pragma once
// The two laws of ITU-T G.711: samples of 16 bits in one byte each.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "platform/platform.h"

namespace platform::detail {

/// A-law: 13 bits in 8. Even bits are inverted; above the sign a byte holds three bits of exponent and four
/// of mantissa, and decodes to the middle of its interval.
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

/// Mu-law: 14 bits in 8. All bits are inverted; above the sign a byte holds three bits of exponent and four
/// of mantissa of the value with a bias added, and decodes to the middle of its interval.
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

using G711Values = std::array<std::int16_t, 256>;

/// The 16-bit value of every byte of a law.
template <class Law>
constexpr G711Values MakeG711Values() {
  G711Values values{};
  for (unsigned byte = 0; byte < values.size(); ++byte)
    values[byte] = static_cast<std::int16_t>(Law::Decode(static_cast<BYTE>(byte)));
  return values;
}

}  // namespace platform::detail
