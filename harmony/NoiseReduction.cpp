// Noise reduction: two chains of a low-pass and a high-pass section, on stored or computed coefficients.
#include <algorithm>
#include <cmath>

#include "harmony/Arithmetic.h"
#include "harmony/HarmonyUnit.h"
#include "harmony/Products.h"
#include "harmony/Section.h"

namespace {

using harmony::Coefficients;

/// Whether silence changes nothing and comes out as 0: both states are at rest, nothing gets from the first
/// section to the second, and what that one gives is far below 1.
bool Resting(double lpfState, double hpfState, const Coefficients& lpf, const Coefficients& hpf,
             double gain) {
  constexpr double kLarge = 0x1p400;
  return harmony::AtRest(lpf.feedback, lpfState) && harmony::AtRest(hpf.feedback, hpfState) &&
         harmony::Vanishes(std::fabs(lpf.oldGain), lpfState) &&
         harmony::Vanishes(std::fabs(lpf.newGain), lpfState) && std::fabs(hpf.oldGain) < kLarge &&
         std::fabs(hpf.newGain) < kLarge && std::fabs(gain) < kLarge;
}

/// A low-pass section, a high-pass section and the gain.
std::int32_t Chain(double& lpfState, double& hpfState, double sample, const Coefficients& lpf,
                   const Coefficients& hpf, double gain) {
  const double lpfBefore = lpfState;
  const double hpfBefore = hpfState;
  const bool faded = harmony::Faded(lpfBefore) || harmony::Faded(hpfBefore);
  if (faded && sample == 0.0 && Resting(lpfBefore, hpfBefore, lpf, hpf, gain)) return 0;
  return harmony::WithProducts(faded, [&](auto times) {
    const double lpfAfter = harmony::Advance(lpfState, sample, lpf.feedback, times);
    const double y = harmony::Output(lpfBefore, lpfAfter, lpf, times);
    const double hpfAfter = harmony::Advance(hpfState, y, hpf.feedback, times);
    return harmony::Saturate(times(gain, harmony::Output(hpfBefore, hpfAfter, hpf, times)));
  });
}

/// The pole that both kinds of section have, negated.
double Pole(double hertz) {
  const double angle = hertz * 0.00014247585732426305;
  return (std::sin(angle) - 1.0) / std::cos(angle);
}

Coefficients LowPass(double hertz) {
  const double t = Pole(hertz);
  const double gain = (t + 1.0) * 0.5;
  return {-t, gain, gain};
}

Coefficients HighPass(double hertz) {
  const double t = Pole(hertz);
  const double gain = (1.0 - t) * 0.5;
  return {-t, -gain, gain};
}

void Store(const Coefficients& c, double* feedback, double* oldGain, double* newGain) {
  *feedback = c.feedback;
  *oldGain = c.oldGain;
  *newGain = c.newGain;
}

struct Band {
  double lowest = 0.0;
  double highest = 0.0;
};

Band BandOf(double pitch, double cents1, double cents2, double cents3) {
  if (pitch == 0.0) return {};
  const double base = 44100.0 / pitch;
  // Hidden from the compiler: of a power of 2 it makes another function, one that differs in its last bit.
  const volatile double two = 2.0;
  const auto above = [&](double cents) { return std::pow(two, cents * 0.0008333333333333334) * base; };
  const double f1 = above(cents1);
  const double f2 = above(cents2);
  const double f3 = above(cents3);
  return {std::min({f1, f2, f3}), std::max({f1, f2, f3})};
}

}  // namespace

std::int32_t HarmonyUnit::NR(double sample) {
  return NR(sample, nrOutputGain);
}

std::int32_t HarmonyUnit::NR(double sample, double gain) {
  return Chain(nrLpfState, nrHpfState, sample, {nrLpfFeedback, nrLpfOldGain, nrLpfNewGain},
               {nrHpfFeedback, nrHpfOldGain, nrHpfNewGain}, gain);
}

std::int32_t HarmonyUnit::NRAuto(double sample, double cents1, double cents2, double cents3) {
  const Band band = BandOf(pitchValue, cents1, cents2, cents3);
  return Chain(nrLpfState, nrHpfState, sample, LowPass(band.highest + 50.0),
               HighPass(band.lowest >= 50.0 ? band.lowest - 50.0 : 0.0), nrOutputGain);
}

double HarmonyUnit::NRIn(double sample) {
  return NRIn(sample, nrInOutputGain);
}

double HarmonyUnit::NRIn(double sample, double gain) {
  return Chain(nrInLpfState, nrInHpfState, sample, {nrInLpfFeedback, nrInLpfOldGain, nrInLpfNewGain},
               {nrInHpfFeedback, nrInHpfOldGain, nrInHpfNewGain}, gain);
}

double HarmonyUnit::NRIn(double sample, double lpfHz, double hpfHz) {
  return Chain(nrInLpfState, nrInHpfState, sample, LowPass(lpfHz), HighPass(hpfHz), nrInOutputGain);
}

void HarmonyUnit::LPFParam(double hertz, double* feedback, double* oldGain, double* newGain) {
  Store(LowPass(hertz), feedback, oldGain, newGain);
}

void HarmonyUnit::HPFParam(double hertz, double* feedback, double* oldGain, double* newGain) {
  Store(HighPass(hertz), feedback, oldGain, newGain);
}
