#pragma once
// What HarmonyUnit computes, written down plainly: the measure of the tests, and the limit in the benchmark.
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "harmony/HarmonyUnit.h"

namespace plain {

// Three calls that no compiler merges or replaces.
inline double (*const volatile Sine)(double) = std::sin;
inline double (*const volatile Cosine)(double) = std::cos;
inline double (*const volatile Power)(double, double) = std::pow;

inline std::int32_t Fix(double x) {
  if (x < 2147483647.0 && x > -2147483648.0) return static_cast<std::int32_t>(x);
  if (x < 0.0 || x != x) return std::numeric_limits<std::int32_t>::min();
  return std::numeric_limits<std::int32_t>::max();
}

/// The fields of a unit under stages of their own.
struct Unit : HarmonyUnit {
  double FstLPF(double x) {
    const double old = fstLPFState;
    fstLPFState = fstLPFFeedback * old + x;
    return old * fstLPFOldGain + fstLPFState * fstLPFNewGain;
  }
  double LVS(double x) {
    const double old = lvsLevel;
    const double d = std::fabs(x) - old;
    if (d < 0.0) {
      lvsLevel = d * lvsFall + old;
    } else {
      lvsLevel = d * lvsRise + old;
    }
    return old;
  }
  double CPRS(double x) const { return x > cprsThreshold ? (1.0 / x) * cprsScale + cprsOffset : cprsMaxGain; }
  void HgainUnit(double a, double b, double c) {
    hgain1 = hgainInput * a + hgainHold * hgain1;
    hgain2 = hgainInput * b + hgainHold * hgain2;
    hgain3 = hgainInput * c + hgainHold * hgain3;
  }
  double VPF(double x) {
    const double u = x * vpfInputScale, a = vpfX, b = vpfY, s = a * a, c = s * a;
    const double t = (c - u) - vpfDamping * b;
    const double p = c * vpfCubic + s * vpfSquare;
    vpfX = ((u - b) - p) * vpfStep + a;
    vpfY = t * vpfStep + b;
    const double d1 = t - vpfDiff1;
    vpfDiff1 = t;
    const double d2 = d1 - vpfDiff2;
    vpfDiff2 = d1;
    return d2 * vpfOutputGain;
  }
  void PitchExt(double pulse, double level) {
    if (pitchLevelFloor > level) return;
    const bool found = pulse > pitchPeak;
    if (found) pitchPeak = pulse;
    pitchPeak = pitchPeakDecay * pitchPeak;
    pitchCount = pitchCount + pitchCountStep;
    if (pitchCount >= pitchCountMax) pitchCount = pitchCountMax;
    if (found && pitchCount >= pitchCountMin) {
      pitchValue = pitchCount / 2097152.0;
      pitchCount = 0;
    }
  }
  void LF0adr(double* out1, double* out2, double* out3, double rate1, double rate2, double rate3) {
    Step(out1, lf0Delay1, rate1);
    Step(out2, lf0Delay2, rate2);
    Step(out3, lf0Delay3, rate3);
  }
  double MDLY(const std::int32_t* line, std::int32_t ring, const double* tap1, const double* tap2,
              const double* tap3) const {
    const auto entry = [=](std::int32_t j) { return line[j < 1024 - ring ? j + ring : j + ring - 1024]; };
    const double t1 = Tap(entry, tap1, hgain1), t2 = Tap(entry, tap2, hgain2), t3 = Tap(entry, tap3, hgain3);
    return ((t3 + t2) + t1) * 0.3333333333333333;
  }
  double MDLY(const std::int32_t* line, const double* tap1, const double* tap2, const double* tap3) const {
    const auto entry = [=](std::int32_t j) { return line[j]; };
    const double t1 = Tap(entry, tap1, hgain1), t2 = Tap(entry, tap2, hgain2), t3 = Tap(entry, tap3, hgain3);
    return ((t3 + t2) + t1) * 0.3333333333333333;
  }
  std::int32_t NR(double x) { return NR(x, nrOutputGain); }
  std::int32_t NR(double x, double gain) {
    const double y = Section(nrLpfState, x, {nrLpfFeedback, nrLpfOldGain, nrLpfNewGain});
    return Fix(Section(nrHpfState, y, {nrHpfFeedback, nrHpfOldGain, nrHpfNewGain}) * gain);
  }
  double NRIn(double x) { return NRIn(x, nrInOutputGain); }
  double NRIn(double x, double gain) {
    const double y = Section(nrInLpfState, x, {nrInLpfFeedback, nrInLpfOldGain, nrInLpfNewGain});
    return Fix(Section(nrInHpfState, y, {nrInHpfFeedback, nrInHpfOldGain, nrInHpfNewGain}) * gain);
  }
  double NRIn(double x, double lpfHz, double hpfHz) {
    const double y = Section(nrInLpfState, x, LowPass(lpfHz));
    return Fix(Section(nrInHpfState, y, HighPass(hpfHz)) * nrInOutputGain);
  }
  std::int32_t NRAuto(double x, double cents1, double cents2, double cents3) {
    double f1 = 0.0, f2 = 0.0, f3 = 0.0;
    if (pitchValue != 0.0) {
      const double base = 44100.0 / pitchValue;
      f1 = Power(2.0, cents1 * 0.0008333333333333334) * base;
      f2 = Power(2.0, cents2 * 0.0008333333333333334) * base;
      f3 = Power(2.0, cents3 * 0.0008333333333333334) * base;
    }
    double largest = f1, smallest = f1;
    for (const double f : {f2, f3}) {
      if (f > largest) largest = f;
      if (f < smallest) smallest = f;
    }
    const double y = Section(nrLpfState, x, LowPass(largest + 50.0));
    return Fix(Section(nrHpfState, y, HighPass(smallest >= 50.0 ? smallest - 50.0 : 0.0)) * nrOutputGain);
  }

 private:
  struct Coefficients {
    double feedback, oldGain, newGain;
  };
  static double Section(double& state, double x, Coefficients c) {
    const double old = state;
    state = c.feedback * old + x;
    return state * c.newGain + old * c.oldGain;
  }
  static double T(double hertz) {
    const double a = hertz * 0.00014247585732426305;
    return (Sine(a) - 1.0) / Cosine(a);
  }
  static Coefficients LowPass(double hertz) {
    const double t = T(hertz);
    return {-t, (t + 1.0) * 0.5, (t + 1.0) * 0.5};
  }
  static Coefficients HighPass(double hertz) {
    const double t = T(hertz);
    return {-t, -((1.0 - t) * 0.5), (1.0 - t) * 0.5};
  }
  void Step(double* out, double& delay, double r) const {
    if (!out) return;
    const double v = r + delay;
    *out = v;
    if (v * r >= 0.0) {
      if (v < 0.0 && -v >= pitchValue) *out = -v;
      if (v >= 0.0 && v >= pitchValue) *out = -v;
    }
    delay = *out;
  }
  template <class Entry>
  static double Tap(const Entry& entry, const double* tap, double gain) {
    if (!tap) return 0.0;
    const double d = *tap;
    const std::int32_t k = Fix(d);
    const bool below = d < 0.0 && d - k != 0.0;
    const std::int32_t lower = below ? 511 + k : 512 + k;
    const double f = below ? (d - k) + 1.0 : d - k;
    const std::int32_t lo = entry(lower), hi = entry(lower + 1);
    const auto diff =
        static_cast<std::int32_t>(static_cast<std::uint32_t>(hi) - static_cast<std::uint32_t>(lo));
    return (diff * f + lo) * gain;
  }
};

/// A voice without the mathematics library, so the same everywhere: a gliding saw with softened edges at 90
/// to 400 Hz, through three resonances, with breath noise.
inline std::vector<double> Voice(std::size_t samples) {
  std::mt19937 random(11);
  std::vector<double> out(samples);
  double phase = 0.0, step = 90.0 / 44100.0, glide = 1.00002, state[3][2] = {};
  const double resonances[3][2] = {{1.98, -0.986}, {1.93, -0.98}, {1.75, -0.97}};
  for (double& value : out) {
    if (step > 400.0 / 44100.0 || step < 90.0 / 44100.0) glide = 1.0 / glide;
    step *= glide;
    phase += step;
    if (phase >= 1.0) phase -= 1.0;
    const double saw = phase < 0.9 ? 2.0 * phase / 0.9 - 1.0 : 1.0 - 20.0 * (phase - 0.9);
    const double source = saw + 0.01 * (static_cast<double>(random() % 2001) / 1000.0 - 1.0);
    value = 0.3 * source;
    for (int i = 0; i < 3; ++i) {
      const double now = resonances[i][0] * state[i][0] + resonances[i][1] * state[i][1] + 0.01 * source;
      state[i][1] = state[i][0];
      state[i][0] = now;
      value += now;
    }
    value = Fix(value * 1.5e8);
  }
  return out;
}

}  // namespace plain
