// Noise reduction: two chains of a low-pass and a high-pass section, on stored or computed coefficients.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "harmony/Arithmetic.h"
#include "harmony/HarmonyUnit.h"
#include "harmony/Products.h"
#include "harmony/Section.h"

namespace harmony {

/// A low-pass section, a high-pass section and the gain.
template <class Product>
std::int32_t RunChain(double& lpfState, double& hpfState, double sample, const Section& lpf,
                      const Section& hpf, double gain, Product times) {
  const double low = lpf.Step(lpfState, sample, times);
  return Saturate(times(gain, hpf.Step(hpfState, low, times)));
}

/// The chain for subnormal states. Has external linkage so that compilers do not inline it into the stages,
/// where it would take registers in sound, too.
std::int32_t RunSubnormalChain(double& lpfState, double& hpfState, double sample, const Section& lpf,
                               const Section& hpf, double gain) {
  return RunChain(lpfState, hpfState, sample, lpf, hpf, gain, MultiplySubnormal());
}

}  // namespace harmony

namespace {

using harmony::Section;

/// Whether a sample of 0 changes nothing and gives 0: both states have settled, the first section's output
/// underflows, and the second one's is far below 1.
bool IsSilent(double lpfState, double hpfState, const Section& lpf, const Section& hpf, double gain) {
  constexpr double kLarge = 0x1p400;
  const std::uint64_t units = harmony::Units(lpfState);
  return harmony::IsSettled(lpf.feedback, lpfState) && harmony::IsSettled(hpf.feedback, hpfState) &&
         harmony::Underflows(lpf.oldGain, units) && harmony::Underflows(lpf.newGain, units) &&
         std::fabs(hpf.oldGain) < kLarge && std::fabs(hpf.newGain) < kLarge && std::fabs(gain) < kLarge;
}

std::int32_t Chain(double& lpfState, double& hpfState, double sample, const Section& lpf, const Section& hpf,
                   double gain) {
  if (harmony::MayUnderflow(lpfState) || harmony::MayUnderflow(hpfState)) [[unlikely]] {
    if (sample == 0.0 && IsSilent(lpfState, hpfState, lpf, hpf, gain)) return 0;
    return harmony::RunSubnormalChain(lpfState, hpfState, sample, lpf, hpf, gain);
  }
  return harmony::RunChain(lpfState, hpfState, sample, lpf, hpf, gain, harmony::Multiply());
}

/// The pole that both kinds of section have, negated.
double Pole(double hertz) {
  const double angle = hertz * 0.00014247585732426305;
  return (std::sin(angle) - 1.0) / std::cos(angle);
}

Section LowPass(double hertz) {
  const double t = Pole(hertz);
  const double gain = (t + 1.0) * 0.5;
  return {-t, gain, gain};
}

Section HighPass(double hertz) {
  const double t = Pole(hertz);
  const double gain = (1.0 - t) * 0.5;
  return {-t, -gain, gain};
}

void Store(const Section& c, double* feedback, double* oldGain, double* newGain) {
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
  // Volatile: otherwise the compiler replaces a power of 2 by another function, whose last bit differs.
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
