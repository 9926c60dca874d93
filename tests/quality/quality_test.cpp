// How good what comes out sounds, as figures that must not fall: the pitch, the voices, the resampler and the
// codecs. All results are the same on every machine, so each floor is the figure itself, rounded down.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "resample/AudioLinearFilter.h"
#include "tests/platform/acm/AcmTools.h"
#include "tests/support/Sung.h"
#include "tools/harmonize/Harmonizer.h"
#include "tools/harmonize/PitchTracker.h"

namespace {

/// A tone of 1 kHz at 0.8 of full scale, a little more than a second.
template <class Sample>
std::vector<Sample> Tone(double rate) {
  constexpr bool kBytes = sizeof(Sample) == 1;
  std::vector<Sample> tone;
  for (int i = 0; i < 1.1 * rate; ++i) {
    const double value = 0.8 * std::sin(2 * std::numbers::pi * 1000 * i / rate);
    tone.push_back(static_cast<Sample>(std::lround(kBytes ? 128 + 127 * value : 32767 * value)));
  }
  return tone;
}

/// The power of that tone over the power of all else that is in a second but a constant, in decibels.
template <class Sample>
double ToneToNoise(const Sample* sound, std::size_t frames, double rate) {
  if (frames < static_cast<std::size_t>(rate)) return 0;
  double sine = 0, cosine = 0, mean = 0, power = 0;
  for (std::size_t i = 0; i < static_cast<std::size_t>(rate); ++i) {
    const double angle = 2 * std::numbers::pi * 1000 * static_cast<double>(i) / rate;
    sine += sound[i] * std::sin(angle) / rate;
    cosine += sound[i] * std::cos(angle) / rate;
    mean += sound[i] / rate;
    power += static_cast<double>(sound[i]) * sound[i] / rate;
  }
  const double tone = 2 * (sine * sine + cosine * cosine);
  return 10 * std::log10(tone / (power - mean * mean - tone));
}

template <class Sample>
using Filter = std::uint8_t(const Sample*, std::uint32_t, std::uint32_t, Sample*, std::uint32_t*,
                            std::uint32_t, std::uint32_t, std::uint8_t, std::uint32_t);
template <class Sample>
double Resampled(Filter<Sample> filter, std::uint32_t from, std::uint32_t to) {
  const auto source = Tone<Sample>(from);
  std::vector<Sample> made(2 * to);
  const auto frames = static_cast<std::uint32_t>(source.size());
  std::uint32_t count = 0;
  EXPECT_EQ(filter(source.data(), frames, from, made.data(), &count, to, 0, 1, 1), 1);
  return ToneToNoise(made.data(), count, to);
}

constexpr DWORD kCodedRate = 44100;

/// A tone coded and decoded.
double Coded(const AcmFormat& coded) {
  const AcmFormat plain(Format(kCodedRate, 1, 16));
  const auto convert = [](const AcmFormat& from, const AcmFormat& to, const Bytes& source) {
    return Conversion(from, to).Run(source, ACM_STREAMCONVERTF_END);
  };
  const Bytes there = convert(plain, coded, ToBytes(Tone<std::int16_t>(kCodedRate)));
  const Samples back = ToSamples(convert(coded, plain, there));
  return ToneToNoise(back.data(), back.size(), kCodedRate);
}

/// Three vowels at nine notes as the tracker finds them, in percent.
struct Heard {
  double right;     // of all values
  double inOctave;  // of those that are a note
};
Heard Listen(double unevenness) {
  double values = 0, notes = 0, right = 0, inOctave = 0;
  for (const double formant : {300.0, 700.0, 1500.0}) {
    for (double hertz = 70.0; hertz < 800.0; hertz *= 1.35) {
      PitchTracker tracker;
      for (const std::int16_t sample : test::Sung(hertz, 0.5, formant, unevenness)) {
        tracker.Process(sample * 65536);
        const double octaves = std::abs(std::log2(tracker.PitchHz() / hertz));  // infinite without a note
        values += 1;
        notes += std::isfinite(octaves) ? 1 : 0;
        right += octaves < 0.04 ? 1 : 0;
        inOctave += octaves < 0.5 ? 1 : 0;
      }
    }
  }
  return {100 * right / values, 100 * inOctave / notes};
}

/// A voice of the harmonizer against its lead, in decibels.
double VoiceLevel(double hertz, double cents) {
  Harmonizer harmonizer({cents}, 1.0);
  const test::Samples lead = test::Sung(hertz, 1.6);
  test::Samples sung;
  for (const std::int16_t sample : lead) {
    sung.push_back(static_cast<std::int16_t>(harmonizer.Process(sample * 65536) / 65536));
  }
  const double wanted = hertz * std::exp2(cents / 1200);
  return 20 * std::log10(test::Strength(sung, wanted) / test::Strength(lead, hertz));
}

// Each floor is what was measured when it was written.
const struct {
  const char* what;
  double (*measure)();
  double floor;
} kFigures[] = {
    {"pitch of even voices: right, percent", [] { return Listen(0.0).right; }, 86.5},
    {"pitch of even voices: no octave error, percent", [] { return Listen(0.0).inOctave; }, 100.0},
    {"pitch of uneven voices: no octave error, percent", [] { return Listen(0.05).inOctave; }, 90.8},
    {"voice a major third up, dB", [] { return VoiceLevel(220, 400); }, -2.30},
    {"voice a fifth up, dB", [] { return VoiceLevel(220, 700); }, -2.42},
    {"voice an octave down, dB", [] { return VoiceLevel(220, -1200); }, -1.20},
    {"voice a fifth above a high lead, dB", [] { return VoiceLevel(661.5, 700); }, -2.86},
    {"44100 to 48000 Hz, 16 bits, dB", [] { return Resampled(AudioLinearFilter16, 44100, 48000); }, 62.3},
    {"48000 to 44100 Hz, 16 bits, dB", [] { return Resampled(AudioLinearFilter16, 48000, 44100); }, 63.8},
    {"22050 to 44100 Hz, 16 bits, dB", [] { return Resampled(AudioLinearFilter16, 22050, 44100); }, 45.8},
    {"44100 to 22050 Hz, 16 bits, dB", [] { return Resampled(AudioLinearFilter16, 44100, 22050); }, 96.0},
    {"44100 to 48000 Hz, 8 bits, dB", [] { return Resampled(AudioLinearFilter8, 44100, 48000); }, 44.2},
    {"48000 to 44100 Hz, 8 bits, dB", [] { return Resampled(AudioLinearFilter8, 48000, 44100); }, 45.3},
    {"22050 to 44100 Hz, 8 bits, dB", [] { return Resampled(AudioLinearFilter8, 22050, 44100); }, 43.1},
    {"44100 to 22050 Hz, 8 bits, dB", [] { return Resampled(AudioLinearFilter8, 44100, 22050); }, 47.7},
    {"A-law, dB", [] { return Coded(Format(kCodedRate, 1, 8, WAVE_FORMAT_ALAW)); }, 38.3},
    {"mu-law, dB", [] { return Coded(Format(kCodedRate, 1, 8, WAVE_FORMAT_MULAW)); }, 38.3},
    {"IMA ADPCM, dB", [] { return Coded(Ima(kCodedRate, 1, 256)); }, 35.6},
    {"MS ADPCM, dB", [] { return Coded(Ms(kCodedRate, 1, 256)); }, 53.5},
    {"PCM of 8 bits, dB", [] { return Coded(Format(kCodedRate, 1, 8)); }, 48.0},
};

TEST(Quality, NoFigureHasFallen) {
  for (const auto& figure : kFigures) EXPECT_GE(figure.measure(), figure.floor) << figure.what;
}

}  // namespace
