#pragma once
// Products that stay quick in silence.
//
// A decaying state does not reach zero: it ends at some hundred units of 2^-1074, far below the normal
// numbers, and stays there. Processors multiply such numbers by a detour of 100 cycles and more, so that a
// stage in silence would cost fifty times what it costs in sound. Sums have no such detour. So the formulas
// of a stage are written once, over a product that is the processor's or, while a state has faded, one that
// counts units. Both round alike, to the bit.
#include <bit>
#include <cmath>
#include <cstdint>

#include "harmony/Hints.h"

namespace harmony {

struct Multiply {
  double operator()(double a, double b) const { return a * b; }
};

constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;

constexpr std::uint64_t kNormal = std::uint64_t{1} << 52;      // so many units and more are a normal number
constexpr std::uint64_t kShortUnits = std::uint64_t{1} << 32;  // so few leave a product room for fractions

/// The magnitude of a number below the normal ones in units of 2^-1074: the word itself.
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

/// Whether a state is its own product with the factor: not more than half a unit is lost.
inline bool AtRest(double factor, double state) {
  const std::uint64_t units = Units(state);
  const double loss = std::fabs(factor * ToDouble(units) - ToDouble(units));
  if (units == 0 || units >= kShortUnits || !(loss <= 0.5)) return false;
  return loss < 0.4999 || ((units & 1) == 0 && IsExact(factor, units));
}

/// Whether products of a state with factors of at most this magnitude are 0.
inline bool Vanishes(double magnitude, double state) {
  const std::uint64_t units = Units(state);
  return units < kShortUnits && magnitude * ToDouble(units) < 0.4999;
}

/// a * b without the detour where b, and so the product, lies below the normal numbers.
struct MultiplyFaded {
  double operator()(double a, double b) const {
    constexpr double kUnit = 0x1p52;  // from here on a double's last place is 1
    const std::uint64_t sign = std::bit_cast<std::uint64_t>(a) ^ std::bit_cast<std::uint64_t>(b);
    const std::uint64_t units = Units(b);
    if (units < kNormal) {
      const double product = std::fabs(a) * ToDouble(units);
      // What leaves a state at rest is often nothing, and the state is its own product. Told by comparisons,
      // which are foreseen, so that the next sample does not wait for this one's rounding.
      if (product <= 0.5 && (product < 0.5 || IsExact(a, units))) return WithSign(0, sign);
      if (AtRest(a, b)) return b;
      // Rounded twice, to 53 bits and to whole units, is rounded once, unless the first time leads onto a
      // tie.
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

/// Whether products with the number may lie below the normal ones. Zero has not faded: it costs nothing.
inline bool Faded(double value) {
  constexpr std::uint64_t kLimit = std::bit_cast<std::uint64_t>(0x1p-960) << 1;
  return (std::bit_cast<std::uint64_t>(value) << 1) - 1 < kLimit - 1;
}

template <class Formulas>
HARMONY_RARE auto WithFadedProducts(const Formulas& formulas) {
  return formulas(MultiplyFaded());
}

/// Runs a stage's formulas, which take their product as an argument (its second factor the one that may have
/// faded).
template <class Formulas>
auto WithProducts(bool faded, const Formulas& formulas) {
  if (faded) [[unlikely]]
    return WithFadedProducts(formulas);
  return formulas(Multiply());
}

}  // namespace harmony
