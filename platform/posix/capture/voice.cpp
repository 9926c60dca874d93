// The synthesis of the built-in device's sound.
#include "platform/posix/capture/voice.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace platform::detail {
namespace {

constexpr float kPeak = 0.5f * 32767;
constexpr unsigned kPeriodBits = 11;
constexpr unsigned kPeriodSize = 1u << kPeriodBits;
constexpr unsigned kControlFrames = 32;

constexpr double kBaseHz = 118;
constexpr double kSyllableHz = 2.8;
constexpr double kVibratoHz = 5.3;
constexpr double kVibratoDepth = 0.012;
constexpr double kHighestPartialHz = 4500;

struct Formant {
  double hertz;
  double width;
  double level;
};
/// Spoken vowels: ah, ee, oo, eh.
constexpr Formant kVowels[4][3] = {{{720, 90, 1}, {1240, 110, 0.6}, {2500, 160, 0.25}},
                                   {{290, 60, 1}, {2250, 130, 0.35}, {3000, 180, 0.25}},
                                   {{340, 60, 1}, {820, 90, 0.4}, {2300, 160, 0.08}},
                                   {{540, 80, 1}, {1800, 120, 0.45}, {2500, 160, 0.25}}};

/// One phrase: vowel, pitch relative to kBaseHz, loudness. The last syllable is silent, for the breath.
struct Syllable {
  unsigned vowel;
  float pitch;
  float loudness;
};
constexpr Syllable kPhrase[8] = {{0, 1.00f, 1.0f}, {3, 1.12f, 0.7f},  {1, 1.26f, 0.9f}, {2, 1.19f, 0.6f},
                                 {0, 1.33f, 1.0f}, {3, 1.06f, 0.75f}, {2, 0.94f, 0.8f}, {0, 0.94f, 0.0f}};
constexpr double kHighestPitchHz = kBaseHz * 1.33 * (1 + kVibratoDepth);

constexpr float kChannelGain[4] = {1.0f, 0.7f, 0.85f, 0.55f};
constexpr std::uint32_t kChannelShift = 0x15555555;  // of the pulse's phase: a twelfth of a period

/// Amplitude and phase of one partial: a pulse spectrum falling with frequency, through parallel resonances.
std::complex<double> Partial(const Formant (&vowel)[3], unsigned number) {
  const double hertz = number * kBaseHz;
  std::complex<double> sum = 0;
  for (const Formant& each : vowel) {
    sum += each.level * each.hertz * each.width /
           std::complex<double>(each.hertz * each.hertz - hertz * hertz, hertz * each.width);
  }
  return sum / static_cast<double>(number);
}

/// Scales a period so that its greatest peak is kPeak and positive: level meters measure the highest sample.
void Normalize(float* period) {
  const auto [low, high] = std::minmax_element(period, period + kPeriodSize);
  const float scale = *high >= -*low ? kPeak / *high : kPeak / *low;
  std::for_each(period, period + kPeriodSize, [scale](float& sample) { sample *= scale; });
}

void MakePeriod(const Formant (&vowel)[3], unsigned partials, float* period) {
  std::vector<std::complex<double>> turn(kPeriodSize);
  for (unsigned i = 0; i < kPeriodSize; ++i)
    turn[i] = std::polar(1.0, 2 * std::numbers::pi * i / kPeriodSize);
  for (unsigned number = 1; number <= partials; ++number) {
    const std::complex<double> partial = Partial(vowel, number);
    for (unsigned i = 0; i < kPeriodSize; ++i)
      period[i] += static_cast<float>((partial * turn[number * i % kPeriodSize]).real());
  }
  Normalize(period);
}

}  // namespace

Voice::Voice(const WAVEFORMATEX& format)
    : channels_(format.nChannels),
      wide_(format.wBitsPerSample == 16),
      rate_(format.nSamplesPerSec),
      periods_(std::size(kVowels) * kPeriodSize) {
  // No partial may be above half of the rate; at a rate too low for a voice there is only the first one.
  const double highest = std::min(kHighestPartialHz, rate_ / 2);
  const auto partials = std::max(1u, static_cast<unsigned>(highest / kHighestPitchHz));
  for (unsigned vowel = 0; vowel < std::size(kVowels); ++vowel)
    MakePeriod(kVowels[vowel], partials, &periods_[std::size_t{vowel} * kPeriodSize]);
  for (unsigned i = 0; i < sine_.size(); ++i) {
    sine_[i] = static_cast<float>(std::sin(2 * std::numbers::pi * i / 256));
    // It rises within a fifth of the syllable, then falls slowly, and is 0 at both ends.
    const double x = i / 255.0;
    const double rise = std::min(1.0, x * 5);
    const double fall = std::min(1.0, (1 - x) * 1.6);
    envelope_[i] = static_cast<float>(rise * rise * (3 - 2 * rise) * fall * fall * (3 - 2 * fall));
  }
}

std::uint32_t Voice::StepFor(double hertz) const {
  return static_cast<std::uint32_t>(static_cast<std::uint64_t>(hertz / rate_ * 4294967296.0));
}

/// Sets pitch and loudness for the next kControlFrames frames.
void Voice::Control() {
  const std::uint32_t before = at_.syllable;
  at_.syllable += StepFor(kSyllableHz) * kControlFrames;
  if (at_.syllable < before) at_.syllableNumber = (at_.syllableNumber + 1) % std::size(kPhrase);
  at_.vibrato += StepFor(kVibratoHz) * kControlFrames;
  const Syllable& syllable = kPhrase[at_.syllableNumber];
  const double vibrato = 1 + kVibratoDepth * static_cast<double>(sine_[at_.vibrato >> 24]);
  at_.pulseStep = StepFor(kBaseHz * static_cast<double>(syllable.pitch) * vibrato);
  const float target = envelope_[at_.syllable >> 24] * syllable.loudness;
  at_.gainStep = (target - at_.gain) / kControlFrames;
  at_.untilControl = kControlFrames;
}

void Voice::Next(BYTE* to, std::uint64_t frames) {
  for (; frames > 0; --frames) {
    if (at_.untilControl == 0) Control();
    --at_.untilControl;
    at_.gain += at_.gainStep;
    at_.pulse += at_.pulseStep;
    const float* const period = &periods_[std::size_t{kPhrase[at_.syllableNumber].vowel} * kPeriodSize];
    for (unsigned channel = 0; channel < channels_; ++channel) {
      const std::uint32_t phase = at_.pulse + channel * kChannelShift;
      const float value = period[phase >> (32 - kPeriodBits)] * at_.gain * kChannelGain[channel % 4];
      const int sample = static_cast<int>(value);
      if (wide_) {
        *to++ = static_cast<BYTE>(sample & 0xFF);
        *to++ = static_cast<BYTE>((sample >> 8) & 0xFF);
      } else {
        *to++ = static_cast<BYTE>((sample >> 8) + 128);
      }
    }
  }
}

}  // namespace platform::detail
