// Noise reduction: two chains of a low-pass and a high-pass section, on stored or computed coefficients.
#include <cmath>

#include "harmony/Arithmetic.h"
#include "harmony/HarmonyUnit.h"

namespace {

struct Coefficients {
  double feedback;
  double oldGain;
  double newGain;
};

/// One first-order section. @return its output, the state already moved on
double Section(double& state, double sample, const Coefficients& c) {
  const double before = state;
  const double after = c.feedback * before + sample;
  state = after;
  return after * c.newGain + before * c.oldGain;
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

// Read where it is used: a compiler that knows the base makes another function of the power, one that
// differs in its last bit.
const volatile double kTwo = 2.0;

struct Band {
  double lowest = 0.0;
  double highest = 0.0;
};

Band BandOf(double pitch, double cents1, double cents2, double cents3) {
  if (pitch == 0.0) return {};
  const double base = 44100.0 / pitch;
  const double f1 = std::pow(kTwo, cents1 * 0.0008333333333333334) * base;
  const double f2 = std::pow(kTwo, cents2 * 0.0008333333333333334) * base;
  const double f3 = std::pow(kTwo, cents3 * 0.0008333333333333334) * base;
  return {std::fmin(f1, std::fmin(f2, f3)), std::fmax(f1, std::fmax(f2, f3))};
}

}  // namespace

std::int32_t HarmonyUnit::NR(double sample) {
  return NR(sample, nrOutputGain);
}

std::int32_t HarmonyUnit::NR(double sample, double gain) {
  const double y = Section(nrLpfState, sample, {nrLpfFeedback, nrLpfOldGain, nrLpfNewGain});
  const double z = Section(nrHpfState, y, {nrHpfFeedback, nrHpfOldGain, nrHpfNewGain});
  return harmony::Saturate(z * gain);
}

double HarmonyUnit::NRIn(double sample) {
  return NRIn(sample, nrInOutputGain);
}

double HarmonyUnit::NRIn(double sample, double gain) {
  const double y = Section(nrInLpfState, sample, {nrInLpfFeedback, nrInLpfOldGain, nrInLpfNewGain});
  const double z = Section(nrInHpfState, y, {nrInHpfFeedback, nrInHpfOldGain, nrInHpfNewGain});
  return harmony::Saturate(z * gain);
}

double HarmonyUnit::NRIn(double sample, double lpfHz, double hpfHz) {
  const double y = Section(nrInLpfState, sample, LowPass(lpfHz));
  const double z = Section(nrInHpfState, y, HighPass(hpfHz));
  return harmony::Saturate(z * nrInOutputGain);
}

std::int32_t HarmonyUnit::NRAuto(double sample, double cents1, double cents2, double cents3) {
  const Band band = BandOf(pitchValue, cents1, cents2, cents3);
  const double y = Section(nrLpfState, sample, LowPass(band.highest + 50.0));
  const double z = Section(nrHpfState, y, HighPass(band.lowest >= 50.0 ? band.lowest - 50.0 : 0.0));
  return harmony::Saturate(z * nrOutputGain);
}

void HarmonyUnit::LPFParam(double hertz, double* feedback, double* oldGain, double* newGain) {
  Store(LowPass(hertz), feedback, oldGain, newGain);
}

void HarmonyUnit::HPFParam(double hertz, double* feedback, double* oldGain, double* newGain) {
  Store(HighPass(hertz), feedback, oldGain, newGain);
}
