#pragma once
// From a double to an unsigned number of 32 bits.

#include <cstdint>

/// @return the low 32 bits of the value truncated toward zero; @p otherwise when that does not fit a 64-bit
///         integer, or there is none
inline std::uint32_t LowBits(double value, std::uint32_t otherwise) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (!(value >= -kLimit && value < kLimit)) return otherwise;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}
