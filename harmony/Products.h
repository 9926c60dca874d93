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

namespace harmony {

struct Multiply {
  static constexpr bool kFaded = false;
  double operator()(double a, double b) const { return a * b; }
};

/// a * b without the detour where b, and so the product, lies below the normal numbers.
struct MultiplyFaded {
  static constexpr bool kFaded = true;
  double operator()(double a, double b) const {
    constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
    constexpr std::uint64_t kNormal = std::uint64_t{1} << 52;
    constexpr std::uint64_t kShort = std::uint64_t{1} << 32;
    constexpr double kUnit = 0x1p52;  // from here on a double's last place is 1
    const auto wordA = std::bit_cast<std::uint64_t>(a);
    const auto wordB = std::bit_cast<std::uint64_t>(b);
    const std::uint64_t sign = (wordA ^ wordB) & kSign;
    const std::uint64_t count = wordB & ~kSign;
    if (count < kNormal) {
      // Below the normal numbers the word is the count of units.
      const auto units = static_cast<double>(static_cast<std::int64_t>(count));
      const double product = std::fabs(a) * units;
      // Rounded twice, to 53 bits and to whole units, is rounded once, unless the first time leads onto a
      // tie; and short factors do not round the first time.
      const auto exact = [&] { return (wordA & (kShort - 1)) == 0 && count < kShort; };
      // What leaves a state at rest is often nothing, and the state is its own product. Told by comparisons,
      // which are foreseen, so that the next sample does not wait for this one's rounding.
      if (product <= 0.5 && (product < 0.5 || exact())) return std::bit_cast<double>(sign);
      const double loss = std::fabs(product - units);
      if (loss <= 0.5 && count < kShort && a > 0.0) {
        if (loss < 0.4999 || ((count & 1) == 0 && exact())) return b;
      }
      const double rounded = product + kUnit;
      const bool tie = std::fabs(product - (rounded - kUnit)) == 0.5;
      if (product < 0.5 * kUnit && (!tie || exact())) {
        return std::bit_cast<double>(
            (std::bit_cast<std::uint64_t>(rounded) - std::bit_cast<std::uint64_t>(kUnit)) | sign);
      }
    }
    return a * b;
  }
};

/// Whether products with the number may lie below the normal ones. Zero has not faded: it costs nothing.
inline bool Faded(double value) {
  constexpr std::uint64_t kLimit = std::bit_cast<std::uint64_t>(0x1p-960) << 1;
  return (std::bit_cast<std::uint64_t>(value) << 1) - 1 < kLimit - 1;
}

template <class Formulas>
[[gnu::noinline]] auto WithFadedProducts(const Formulas& formulas) {
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
