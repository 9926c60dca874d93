// The modulated delay: LF0adr, which moves the delay values, and MDLY, which reads the line at them.
#include <algorithm>
#include <cmath>
#include <cstddef>

#include "harmony/Arithmetic.h"
#include "harmony/HarmonyUnit.h"

namespace {

/// The delay value after one step; its sign changes where it reaches the bound on its way from zero.
double Step(double delay, double rate, double bound) {
  const double moved = rate + delay;
  return moved * rate >= 0.0 && std::fabs(moved) >= bound ? -moved : moved;
}

/// How positions become entries of the line.
struct Straight {
  const std::int32_t* line;
  std::int32_t operator()(std::int64_t position) const { return line[position]; }
};

/// 1024 entries; positions are held at 0 and 1024, the first and the last that the ring has.
struct Ring {
  const std::int32_t* line;
  std::int32_t ring;
  std::int32_t operator()(std::int64_t position) const {
    const auto held = static_cast<std::uint32_t>(std::clamp<std::int64_t>(position, 0, 1024));
    return line[(held + static_cast<std::uint32_t>(ring)) & 1023];
  }
};

template <class Line>
double Tap(const Line& line, const double* delay, double gain) {
  if (delay == nullptr) return 0.0;
  const double d = *delay;
  const std::int32_t whole = harmony::Saturate(d);
  // Cutting went up, past the lower of the two entries, where a negative value is not whole.
  const bool up = d < whole;
  const std::int64_t lower = std::int64_t{512} + whole - up;
  // -0.0 becomes 0.0 here, which no tap shows: its product is added to an entry.
  const double fraction = (d - whole) + up;
  const std::int32_t lo = line(lower);
  const std::int32_t hi = line(lower + 1);
  return (harmony::WrappingSubtract(hi, lo) * fraction + lo) * gain;
}

template <class Line>
double Mix(const Line& line, const HarmonyUnit& unit, const double* tap1, const double* tap2,
           const double* tap3) {
  const double t1 = Tap(line, tap1, unit.hgain1);
  const double t2 = Tap(line, tap2, unit.hgain2);
  const double t3 = Tap(line, tap3, unit.hgain3);
  return ((t3 + t2) + t1) * 0.3333333333333333;
}

}  // namespace

void HarmonyUnit::LF0adr(double* out1, double* out2, double* out3, double rate1, double rate2, double rate3) {
  if (out1 != nullptr) *out1 = lf0Delay1 = Step(lf0Delay1, rate1, pitchValue);
  if (out2 != nullptr) *out2 = lf0Delay2 = Step(lf0Delay2, rate2, pitchValue);
  if (out3 != nullptr) *out3 = lf0Delay3 = Step(lf0Delay3, rate3, pitchValue);
}

double HarmonyUnit::MDLY(const std::int32_t* line, const double* tap1, const double* tap2,
                         const double* tap3) {
  return Mix(Straight{line}, *this, tap1, tap2, tap3);
}

double HarmonyUnit::MDLY(const std::int32_t* line, std::int32_t ring, const double* tap1, const double* tap2,
                         const double* tap3) {
  return Mix(Ring{line, ring}, *this, tap1, tap2, tap3);
}
