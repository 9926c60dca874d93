#include "examples/harmonize/Listener.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double kRate = 44100.0;
constexpr double kFullScale = 2147483648.0;

// A first-order band about the notes of singing. What is below it are rumble and breath; above it, the
// harmonics, which FstLPF lowers further: the less of them reaches VPF, the surer it gives one pulse a
// period.
constexpr double kLowPassHz = 400.0;
constexpr double kHighPassHz = 150.0;

// CPRS brings the mean level to about 0.4 of full scale; half of that leaves the peaks of a voice uncut.
constexpr double kHeadroom = 0.5;

// Neighbouring periods of a note differ by less than a semitone, and by the sample that they are cut to.
constexpr double kAgreement = 0.06;
constexpr double kOneSample = 0.5;

constexpr double kNewestShare = 0.25;  // of a newly measured period in the mean
constexpr int kPatience = 1024;        // somewhat more than the longest period, 768 samples

}  // namespace

void Listener::Hear(std::int32_t sample) {
  meter_.LVS(sample);
  const double voice = tracker_.FstLPF(tracker_.NRIn(sample, kLowPassHz, kHighPassHz));
  const double gain = tracker_.CPRS(tracker_.LVS(voice)) * kHeadroom;
  // VPF bears the 32-bit range and little more; at the sudden begin of a sound the gain lags behind.
  const double even = std::clamp(voice * gain, -kFullScale, kFullScale);
  const std::int32_t countBefore = tracker_.pitchCount;
  tracker_.PitchExt(tracker_.VPF(even), meter_.lvsLevel);
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
  if (agree(lastMeasured_)) {
    halfPeriod_ = agree(halfPeriod_) ? halfPeriod_ + kNewestShare * (measured - halfPeriod_) : measured;
    patience_ = kPatience;
  }
  lastMeasured_ = measured;
}

double Listener::PitchHz() const {
  return halfPeriod_ > 0.0 ? kRate / 2.0 / halfPeriod_ : 0.0;
}

double Listener::Level() const {
  return meter_.lvsLevel / kFullScale;
}
