#include "tools/harmonize/PitchTracker.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kRate = 44100.0;
constexpr double kFullScale = 2147483648.0;

// VPF gives one pulse a period only when few harmonics and little rumble reach it. FstLPF helps: it falls by
// 6 dB an octave over the range of a voice.
constexpr double kLowPassHz = 200.0;
constexpr double kHighPassHz = 100.0;

// CPRS brings the mean level to about 0.4 of full scale; half of that leaves the peaks of a voice uncut.
constexpr double kHeadroom = 0.5;

// A period of the least length is no measurement: noise gives it, since its pulses follow each other more
// closely.
constexpr double kAboveLeast = 1.0;

// Neighbouring periods of a note differ by less than a semitone, and by their rounding to a sample.
constexpr double kAgreement = 0.06;
constexpr double kOneSample = 0.5;

constexpr int kToBegin = 2;  // periods that must agree with the one before to begin a note; one continues it
constexpr double kNewestShare = 0.25;  // of a newly measured period in the mean
constexpr double kTimeToEnd = 4.0;     // in thirds of the longest period

/// What PitchExt makes of a count: half the period, in samples.
double HalfOf(const HarmonyUnit& unit, std::int32_t count) {
  return 0.5 * count / unit.pitchCountStep;
}

}  // namespace

void PitchTracker::Process(std::int32_t sample) {
  meter_.LVS(sample);
  const double voice = tracker_.FstLPF(tracker_.NRIn(sample, kLowPassHz, kHighPassHz));
  const double gain = tracker_.CPRS(tracker_.LVS(voice)) * kHeadroom;
  // VPF is stable for the 32-bit range and little more; at a sudden loud beginning the gain is still too
  // high.
  const double even = std::clamp(voice * gain, -kFullScale, kFullScale);
  // Strong and weak pulses may alternate, and PitchExt's threshold falls too slowly to find the weak ones:
  // the pitch would be an octave too low. Their square roots differ by half as much, in decibels.
  const double pulse = std::sqrt(std::max(tracker_.VPF(even), 0.0));
  const std::int32_t countBefore = tracker_.pitchCount;
  tracker_.PitchExt(pulse, meter_.lvsLevel);
  if (tracker_.pitchCount < countBefore) {
    TakePeriod(tracker_.pitchValue);
  } else if (callsToEnd_ > 0 && --callsToEnd_ == 0) {
    halfPeriod_ = 0.0;
  }
}

void PitchTracker::TakePeriod(double measured) {
  const auto agree = [measured](double other) {
    return std::abs(measured - other) <= measured * kAgreement + kOneSample;
  };
  // PitchExt limits its result: the shortest and the longest period also stand for all beyond them.
  const double shortest = HalfOf(tracker_, tracker_.pitchCountMin) + kAboveLeast;
  const double longest = HalfOf(tracker_, tracker_.pitchCountMax);
  const bool inRange = measured >= shortest && measured < longest;
  agreeing_ = inRange && agree(lastMeasured_) ? agreeing_ + 1 : 0;
  lastMeasured_ = measured;
  const bool continues = agreeing_ > 0 && agree(halfPeriod_);
  if (!continues && agreeing_ < kToBegin) return;
  halfPeriod_ = continues ? halfPeriod_ + kNewestShare * (measured - halfPeriod_) : measured;
  callsToEnd_ = static_cast<int>(kTimeToEnd * 2.0 * longest / 3.0);
}

double PitchTracker::PitchHz() const {
  return halfPeriod_ > 0.0 ? kRate / 2.0 / halfPeriod_ : 0.0;
}

double PitchTracker::Level() const {
  return meter_.lvsLevel / kFullScale;
}
