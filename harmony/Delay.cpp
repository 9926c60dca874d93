// The modulated delay: LF0adr, which moves the delay values, and MDLY, which reads the line at them.
#include <cmath>
#include <cstdint>

#include "harmony/Arithmetic.h"
#include "harmony/HarmonyUnit.h"
#include "harmony/Products.h"

namespace {

/// The delay value after one step; its sign changes where it reaches the bound on its way from zero.
double Step(double delay, double rate, double bound) {
  const double moved = rate + delay;
  return moved * rate >= 0.0 && std::fabs(moved) >= bound ? -moved : moved;
}

/// Between two entries of the line, or at the lower one.
struct Position {
  std::int64_t lower;
  double fraction;
};

/// @param truncated the delay value without its fraction
Position PositionAt(double delay, std::int32_t truncated) {
  // Truncation rounds a negative value with a fraction up, past the lower entry.
  const bool up = delay < truncated;
  // The addition turns a fraction of -0.0 into 0.0. The result is the same: an entry is added to the product.
  return {std::int64_t{512} + truncated - up, (delay - truncated) + up};
}

double Interpolate(std::int32_t lo, std::int32_t hi, double fraction) {
  return harmony::WrappingSubtract(hi, lo) * fraction + lo;
}

/// A line without a length: positions are entries.
struct PlainLine {
  const std::int32_t* line;

  double At(double delay) const {
    const Position position = PositionAt(delay, harmony::Saturate(delay));
    return Interpolate(line[position.lower], line[position.lower + 1], position.fraction);
  }
};

/// A ring of 1024 entries: position 0 is entry `ring`.
struct RingLine {
  const std::int32_t* line;
  std::uint32_t ring;

  double At(double delay) const {
    if (delay >= -512.0 && delay < 512.0) [[likely]] {
      const Position position = PositionAt(delay, static_cast<std::int32_t>(delay));
      const auto lower = static_cast<std::uint32_t>(position.lower);
      return Interpolate(Entry(lower), Entry(lower + 1), position.fraction);
    }
    return AtLimit(delay);
  }

 private:
  std::int32_t Entry(std::uint32_t position) const { return line[(position + ring) & 1023]; }

  /// Positions outside the ring are replaced by its limits, 0 and 1024.
  double AtLimit(double delay) const {
    const Position position = PositionAt(delay, harmony::Saturate(delay));
    const std::int32_t limit = Entry(position.lower < 0 ? 0 : 1024);
    return Interpolate(limit, limit, position.fraction);
  }
};

template <class Line, class Product>
double Tap(const Line& line, const double* delay, double gain, Product times) {
  return delay == nullptr ? 0.0 : times(line.At(*delay), gain);
}

template <class Line>
double Mix(const Line& line, const HarmonyUnit& unit, const double* tap1, const double* tap2,
           const double* tap3) {
  const bool subnormal = harmony::MayUnderflow(unit.hgain1) || harmony::MayUnderflow(unit.hgain2) ||
                         harmony::MayUnderflow(unit.hgain3);
  return harmony::WithProducts(subnormal, [&](auto times) {
    const double t1 = Tap(line, tap1, unit.hgain1, times);
    const double t2 = Tap(line, tap2, unit.hgain2, times);
    const double t3 = Tap(line, tap3, unit.hgain3, times);
    return times(0.3333333333333333, (t3 + t2) + t1);
  });
}

}  // namespace

void HarmonyUnit::LF0adr(double* out1, double* out2, double* out3, double rate1, double rate2, double rate3) {
  if (out1 != nullptr) *out1 = lf0Delay1 = Step(lf0Delay1, rate1, pitchValue);
  if (out2 != nullptr) *out2 = lf0Delay2 = Step(lf0Delay2, rate2, pitchValue);
  if (out3 != nullptr) *out3 = lf0Delay3 = Step(lf0Delay3, rate3, pitchValue);
}

double HarmonyUnit::MDLY(const std::int32_t* line, const double* tap1, const double* tap2,
                         const double* tap3) {
  return Mix(PlainLine{line}, *this, tap1, tap2, tap3);
}

double HarmonyUnit::MDLY(const std::int32_t* line, std::int32_t ring, const double* tap1, const double* tap2,
                         const double* tap3) {
  return Mix(RingLine{line, static_cast<std::uint32_t>(ring)}, *this, tap1, tap2, tap3);
}
