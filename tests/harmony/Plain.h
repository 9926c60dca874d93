#pragma once
// What HarmonyUnit computes, as plain formulas: the reference of the tests, and of the benchmark.
#include <algorithm>
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
  return x > 0.0 ? std::numeric_limits<std::int32_t>::max() : std::numeric_limits<std::int32_t>::min();
}

/// The fields of a unit under stages of their own.
struct Unit : HarmonyUnit {
  double FstLPF(double x) { return Section(fstLPFState, x, {fstLPFFeedback, fstLPFOldGain, fstLPFNewGain}); }
  double LVS(double x) {
    const double old = lvsLevel;
    const double d = std::fabs(x) - old;
    lvsLevel = d < 0.0 ? d * lvsFall + old : d * lvsRise + old;
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
    const double d1 = t - vpfDiff1, d2 = d1 - vpfDiff2;
    vpfDiff1 = t;
    vpfDiff2 = d1;
    return d2 * vpfOutputGain;
  }
  void PitchExt(double pulse, double level) {
    if (pitchLevelFloor > level) return;
    const bool found = pulse > pitchPeak;
    pitchPeak = pitchPeakDecay * (found ? pulse : pitchPeak);
    pitchCount = std::min(pitchCount + pitchCountStep, pitchCountMax);
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
    const double t1 = Tap(line, ring, tap1, hgain1), t2 = Tap(line, ring, tap2, hgain2);
    return ((Tap(line, ring, tap3, hgain3) + t2) + t1) * 0.3333333333333333;
  }
  double MDLY(const std::int32_t* line, const double* tap1, const double* tap2, const double* tap3) const {
    return MDLY(line, 0, tap1, tap2, tap3);
  }
  std::int32_t NR(double x) { return NR(x, nrOutputGain); }
  std::int32_t NR(double x, double gain) {
    return NR(x, gain, {nrLpfFeedback, nrLpfOldGain, nrLpfNewGain},
              {nrHpfFeedback, nrHpfOldGain, nrHpfNewGain});
  }
  double NRIn(double x) { return NRIn(x, nrInOutputGain); }
  double NRIn(double x, double gain) {
    return NRIn(x, gain, {nrInLpfFeedback, nrInLpfOldGain, nrInLpfNewGain},
                {nrInHpfFeedback, nrInHpfOldGain, nrInHpfNewGain});
  }
  double NRIn(double x, double lpfHz, double hpfHz) {
    return NRIn(x, nrInOutputGain, LowPass(T(lpfHz)), HighPass(T(hpfHz)));
  }
  std::int32_t NRAuto(double x, double cents1, double cents2, double cents3) {
    double f[] = {cents1, cents2, cents3};
    for (double& each : f) {
      each = pitchValue != 0.0 ? Power(2.0, each * 0.0008333333333333334) * (44100.0 / pitchValue) : 0.0;
    }
    const auto [smallest, largest] = std::pair(std::min({f[0], f[1], f[2]}), std::max({f[0], f[1], f[2]}));
    const double lowest = smallest >= 50.0 ? smallest - 50.0 : 0.0;
    return NR(x, nrOutputGain, LowPass(T(largest + 50.0)), HighPass(T(lowest)));
  }

 private:
  struct Coefficients {
    double feedback, oldGain, newGain;
  };
  std::int32_t NR(double x, double gain, Coefficients lpf, Coefficients hpf) {
    return Fix(Section(nrHpfState, Section(nrLpfState, x, lpf), hpf) * gain);
  }
  double NRIn(double x, double gain, Coefficients lpf, Coefficients hpf) {
    return Fix(Section(nrInHpfState, Section(nrInLpfState, x, lpf), hpf) * gain);
  }
  static double Section(double& state, double x, Coefficients c) {
    const double old = state;
    state = c.feedback * old + x;
    return state * c.newGain + old * c.oldGain;
  }
  static double T(double hertz) {
    const double angle = hertz * 0.00014247585732426305;
    return (Sine(angle) - 1.0) / Cosine(angle);
  }
  static Coefficients LowPass(double t) { return {-t, (t + 1.0) * 0.5, (t + 1.0) * 0.5}; }
  static Coefficients HighPass(double t) { return {-t, -((1.0 - t) * 0.5), (1.0 - t) * 0.5}; }
  void Step(double* out, double& delay, double r) const {
    if (!out) return;
    const double v = r + delay;
    const bool passes = v * r >= 0.0 && (v < 0.0 ? -v : v) >= pitchValue;
    *out = delay = passes ? -v : v;
  }
  static double Tap(const std::int32_t* line, std::int32_t ring, const double* tap, double gain) {
    if (!tap) return 0.0;
    const double d = *tap;
    const std::int32_t k = Fix(d);
    const bool below = d < 0.0 && d - k != 0.0;
    const std::int64_t lower = below ? 511LL + k : 512LL + k;
    const double f = below ? (d - k) + 1.0 : d - k;
    // A position outside the ring reads the entry at its limit.
    const auto entry = [=](std::int64_t j) {
      return line[(std::clamp<std::int64_t>(j, 0, 1024) + ring) & 1023];
    };
    const std::int32_t lo = entry(lower), hi = entry(lower + 1);
    const auto diff = static_cast<std::int32_t>(static_cast<std::int64_t>(hi) - lo);
    return (diff * f + lo) * gain;
  }
};

/// A voice without the mathematics library, so the same everywhere: a saw gliding between 90 and 400 Hz, with
/// breath, through a resonance.
inline std::vector<double> Voice(std::size_t samples) {
  std::mt19937 random(11);
  std::vector<double> out(samples);
  double phase = 0.0, step = 0.00205, glide = 1.00002, last = 0.0, resonance = 0.0;
  for (double& value : out) {
    if (step > 0.009 || step < 0.002) glide = 1.0 / glide;
    step *= glide;
    phase += phase + step >= 1.0 ? step - 1.0 : step;
    const double source = 2.0 * phase - 1.0 + 1e-5 * static_cast<double>(random() % 2001);
    const double now = 1.93 * resonance - 0.98 * last + 0.04 * source;
    last = resonance;
    resonance = now;
    value = Fix((source + now) * 3e8);
  }
  return out;
}

}  // namespace plain
