#pragma once
// Products that are fast in silence too.
//
// A decaying state does not reach zero: it settles at a few units of 2^-1074, a subnormal number. Processors
// take 100 cycles and more to multiply one, but no longer than usual to add one: a stage in silence would
// cost fifty times what it costs in sound. So the formulas of a stage are written once and take their product
// as an argument: the processor's or, while a state may become subnormal, one on integer counts of those
// units. Both give the same bits.
#include <bit>
#include <cmath>
#include <cstdint>

namespace harmony {

/// The processor's product.
struct Multiply {
  /// @return a * b
  double operator()(double a, double b) const { return a * b; }
};

constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;

constexpr std::uint64_t kNormal = std::uint64_t{1} << 52;      // from this many units on a number is normal
constexpr std::uint64_t kShortUnits = std::uint64_t{1} << 32;  // fewer leave a product bits for its fraction

/// The magnitude of a subnormal number in units of 2^-1074, which is its bit pattern.
inline std::uint64_t Units(double value) {
  return std::bit_cast<std::uint64_t>(value) & ~kSignBit;
}

inline double ToDouble(std::uint64_t units) {
  return static_cast<double>(static_cast<std::int64_t>(units));
}

/// Whether the product with so many units is exact: short factors make a short product.
inline bool IsExact(double factor, std::uint64_t units) {
  return (std::bit_cast<std::uint64_t>(factor) & 0xFFFFFFFF) == 0 && units < kShortUnits;
}

/// Whether a factor leaves a state unchanged: no more than half a unit is lost.
inline bool IsSettled(double factor, double state) {
  const std::uint64_t units = Units(state);
  const double loss = std::fabs(factor * ToDouble(units) - ToDouble(units));
  if (units == 0 || units >= kShortUnits || !(loss <= 0.5)) return false;
  return loss < 0.4999 || ((units & 1) == 0 && IsExact(factor, units));
}

/// Whether the product of a factor and a subnormal number of so many units rounds to 0.
inline bool Underflows(double factor, std::uint64_t units) {
  const double product = std::fabs(factor) * ToDouble(units);
  return product <= 0.5 && (product < 0.5 || IsExact(factor, units));
}

/// a * b to the bit; as fast as with normal numbers where b and the product are subnormal.
struct MultiplySubnormal {
  /// @return a * b
  double operator()(double a, double b) const {
    constexpr double kUnit = 0x1p52;  // from here on a double's lowest bit is 1
    const std::uint64_t sign = std::bit_cast<std::uint64_t>(a) ^ std::bit_cast<std::uint64_t>(b);
    const std::uint64_t units = Units(b);
    if (units < kNormal) {
      // Most products of a settled state are 0 or the state itself. Branches, which the processor predicts,
      // handle both, so that the next sample does not wait for the rounding of this one.
      if (Underflows(a, units)) return WithSign(0, sign);
      if (IsSettled(a, b)) return b;
      // Rounding to 53 bits and then to integer units gives what one rounding gives, unless the first one
      // ends on a tie.
      const double product = std::fabs(a) * ToDouble(units);
      const double rounded = product + kUnit;
      const bool tie = std::fabs(product - (rounded - kUnit)) == 0.5;
      if (product < 0.5 * kUnit && (!tie || IsExact(a, units))) {
        return WithSign(std::bit_cast<std::uint64_t>(rounded) - std::bit_cast<std::uint64_t>(kUnit), sign);
      }
    }
    return a * b;
  }

 private:
  static double WithSign(std::uint64_t units, std::uint64_t sign) {
    return std::bit_cast<double>(units | (sign & kSignBit));
  }
};

/// Whether products with the number may be subnormal. Not so for zero, whose products are zero.
inline bool MayUnderflow(double value) {
  constexpr std::uint64_t kLimit = std::bit_cast<std::uint64_t>(0x1p-960) << 1;
  return (std::bit_cast<std::uint64_t>(value) << 1) - 1 < kLimit - 1;
}

/// Runs a stage's formulas, which take their product as an argument. Its second factor is the one that may
/// be subnormal.
template <class Formulas>
auto WithProducts(bool subnormal, const Formulas& formulas) {
  if (subnormal) [[unlikely]]
    return formulas(MultiplySubnormal());
  return formulas(Multiply());
}

}  // namespace harmony
