#include "tools/harmonize/Harmonizer.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr std::int32_t kMiddle = 512;  // the position of delay value 0.0
// NRAuto saturates. The taps' gains are a quarter (-12 dB) of the voices', so that it has room for three
// voices of 12 dB. kVoiceScale makes up for that, for the third of the sum that MDLY gives, and for the half
// scale of the line.
constexpr double kTapGain = 0.25;
constexpr double kVoiceScale = 3.0 * 2.0 / kTapGain;
constexpr double kOctave = 1200.0;
constexpr double kLowestBandHz = 60.0;
constexpr double kHighestBandHz = 20000.0;  // nothing is heard above; NRAuto is stable up to 22000

double Cents(double ratio) {
  return kOctave * std::log2(ratio);
}

}  // namespace

double Harmonizer::Rate(double cents) {
  return std::exp2(cents / kOctave) - 1.0;
}

Harmonizer::Harmonizer(const std::vector<double>& cents, double mix, const std::vector<double>& levels)
    : lowestCents_(*std::min_element(cents.begin(), cents.end())),
      highestCents_(*std::max_element(cents.begin(), cents.end())),
      mix_(mix) {
  for (std::size_t i = 0; i < cents.size(); ++i) {
    voices_.push_back({Rate(cents[i]), kTapGain * std::pow(10.0, levels[i] / 20.0)});
  }
}

double Harmonizer::Process(std::int32_t sample) {
  tracker_.Process(sample);
  Store(sample);
  SetGains();
  lead_ = 2.0 * line_[static_cast<std::size_t>((oldest_ + kMiddle) % kLineLength)];
  return (1.0 - mix_) * lead_ + mix_ * SumOfVoices();
}

// Position 0 is the oldest sample and position 1023 the newest. MDLY takes the difference of neighbours
// modulo 2^32, so they must not lie further apart than half the range: hence the half scale.
void Harmonizer::Store(std::int32_t sample) {
  line_[static_cast<std::size_t>(oldest_)] = sample / 2;
  oldest_ = (oldest_ + 1) % kLineLength;
}

// The voices sound while there is a note, and kLatency calls longer: until the note's last sample has come to
// the middle of the line.
void Harmonizer::SetGains() {
  if (tracker_.HalfPeriod() > 0.0) {
    unit_.pitchValue = tracker_.HalfPeriod();
    callsToSilence_ = kLatency;
  } else if (callsToSilence_ > 0) {
    --callsToSilence_;
  }
  std::array<double, 3> target{};
  for (std::size_t i = 0; i < voices_.size() && callsToSilence_ > 0; ++i) target[i] = voices_[i].gain;
  unit_.HgainUnit(target[0], target[1], target[2]);
}

// LF0adr moves in steps of the rate and so passes its bound by up to a step; its jump to the other side is
// longer than a period by twice that, which would put the voice out of tune, always in the same direction.
// The voice is read one exact period away instead, and the correction is added to LF0adr's next step.
void Harmonizer::MoveDelays() {
  std::array<double*, 3> out{};
  std::array<double, 3> step{};
  std::array<double, 3> written{};
  for (std::size_t i = 0; i < voices_.size(); ++i) {
    out[i] = &written[i];
    step[i] = voices_[i].rate + voices_[i].correction;
  }
  unit_.LF0adr(out[0], out[1], out[2], step[0], step[1], step[2]);
  const double period = 2.0 * unit_.pitchValue;
  for (std::size_t i = 0; i < voices_.size(); ++i) {
    Voice& voice = voices_[i];
    const double reached = voice.delay + voice.rate;
    const bool jumped = std::abs(written[i] - reached) > unit_.pitchValue;
    voice.delay = jumped ? reached - std::copysign(period, reached) : reached;
    voice.correction = voice.delay - written[i];
  }
}

double Harmonizer::SumOfVoices() {
  if (unit_.pitchValue == 0.0) return 0.0;  // no note yet
  MoveDelays();
  std::array<const double*, 3> tap{};
  for (std::size_t i = 0; i < voices_.size(); ++i) tap[i] = &voices_[i].delay;
  const double sum = unit_.MDLY(line_.data(), oldest_, tap[0], tap[1], tap[2]);

  // NRAuto takes 44100 / pitchValue for the lead's frequency, which is an octave above it. The band is to go
  // from the lowest voice to the eighth harmonic of the highest. It must not begin at 0 Hz, where the
  // high-pass section would add up a constant without end, nor end so high that the low-pass one runs away.
  const auto above = [this](double hertz) { return Cents(hertz * unit_.pitchValue / 44100.0); };
  const double low = std::max(lowestCents_ - kOctave, above(kLowestBandHz));
  const double high = std::clamp(highestCents_ + 2.0 * kOctave, low, above(kHighestBandHz));
  return kVoiceScale * unit_.NRAuto(sum, low, low, high);
}
