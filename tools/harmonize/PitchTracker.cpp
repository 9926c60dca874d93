#include "tools/harmonize/Listener.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kRate = 44100.0;
constexpr double kFullScale = 2147483648.0;

// The less of the harmonics and of the rumble reaches VPF, the surer it gives one pulse a period; FstLPF
// falls by 6 dB an octave all over the range of a voice and does its part.
constexpr double kLowPassHz = 200.0;
constexpr double kHighPassHz = 100.0;

// CPRS brings the mean level to about 0.4 of full scale; half of that leaves the peaks of a voice uncut.
constexpr double kHeadroom = 0.5;

// A period of just the least length is no measurement: that is what noise gives, whose pulses follow each
// other closer.
constexpr double kAboveLeast = 1.0;

// Neighbouring periods of a note differ by less than a semitone, and by the sample that they are cut to.
constexpr double kAgreement = 0.06;
constexpr double kOneSample = 0.5;

constexpr int kToBegin = 2;  // periods that must agree with the one before to begin a note; one is to go on
constexpr double kNewestShare = 0.25;  // of a newly measured period in the mean
constexpr double kPatience = 4.0;      // in thirds of the longest period

/// What PitchExt makes of a count: half the period, in samples.
double HalfOf(const HarmonyUnit& unit, std::int32_t count) {
  return 0.5 * count / unit.pitchCountStep;
}

}  // namespace

void Listener::Hear(std::int32_t sample) {
  meter_.LVS(sample);
  const double voice = tracker_.FstLPF(tracker_.NRIn(sample, kLowPassHz, kHighPassHz));
  const double gain = tracker_.CPRS(tracker_.LVS(voice)) * kHeadroom;
  // VPF bears the 32-bit range and little more; at the sudden begin of a sound the gain lags behind.
  const double even = std::clamp(voice * gain, -kFullScale, kFullScale);
  // Pulses may be strong and weak in turn, and PitchExt's peak falls too slowly to meet the weak ones: it
  // would hear an octave too low. Their square roots lie half as far apart.
  const double pulse = std::sqrt(std::max(tracker_.VPF(even), 0.0));
  const std::int32_t countBefore = tracker_.pitchCount;
  tracker_.PitchExt(pulse, meter_.lvsLevel);
  if (tracker_.pitchCount < countBefore) {
    Confirm(tracker_.pitchValue);
  } else if (patience_ > 0 && --patience_ == 0) {
    halfPeriod_ = 0.0;
  }
}

void Listener::Confirm(double measured) {
  const auto agree = [measured](double other) {
    return std::abs(measured - other) <= measured * kAgreement + kOneSample;
  };
  // At the ends of its range PitchExt does not measure but limit: the longest stands for all longer ones.
  const double shortest = HalfOf(tracker_, tracker_.pitchCountMin) + kAboveLeast;
  const double longest = HalfOf(tracker_, tracker_.pitchCountMax);
  const bool inRange = measured >= shortest && measured < longest;
  agreeing_ = inRange && agree(lastMeasured_) ? agreeing_ + 1 : 0;
  lastMeasured_ = measured;
  const bool goesOn = agreeing_ > 0 && agree(halfPeriod_);
  if (!goesOn && agreeing_ < kToBegin) return;
  halfPeriod_ = goesOn ? halfPeriod_ + kNewestShare * (measured - halfPeriod_) : measured;
  patience_ = static_cast<int>(kPatience * 2.0 * longest / 3.0);
}

double Listener::PitchHz() const {
  return halfPeriod_ > 0.0 ? kRate / 2.0 / halfPeriod_ : 0.0;
}

double Listener::Level() const {
  return meter_.lvsLevel / kFullScale;
}
