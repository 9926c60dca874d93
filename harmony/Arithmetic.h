#pragma once
// What the stages share: saturation, shifts, fixed point, arithmetic modulo 2^32.

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace harmony {

/// Truncated toward zero, saturating at the 32-bit limits; a NaN gives the lower one.
inline std::int32_t Saturate(double value) {
  if (value < 2147483647.0 && value > -2147483648.0) [[likely]]
    return static_cast<std::int32_t>(value);
  return value >= 0.0 ? std::numeric_limits<std::int32_t>::max() : std::numeric_limits<std::int32_t>::min();
}

/// Left by count bits, or right by -count, keeping the sign; bits shifted out are lost.
inline std::int32_t Shift(std::int32_t value, std::int32_t count) {
  if (count >= 32) return 0;
  if (count > 0) return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << count);
  return value >> (count < -31 ? 31 : -count);
}

/// The number that a fixed-point value is, exactly; 0.0 where no double is as small.
inline double FixedPoint(std::int32_t value, std::uint16_t fractionBits) {
  if (fractionBits > 1022) return std::ldexp(value, -static_cast<int>(fractionBits));
  return value * std::bit_cast<double>(std::uint64_t{1023u - fractionBits} << 52);
}

/// Modulo 2^32.
inline std::int32_t WrappingAdd(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline std::int32_t WrappingSubtract(std::int32_t a, std::int32_t b) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

}  // namespace harmony
