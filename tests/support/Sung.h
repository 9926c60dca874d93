#pragma once
// A synthetic voice of a known note, and the strength of a frequency in a sound.

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <numbers>
#include <vector>

namespace test {

using Samples = std::vector<std::int16_t>;
constexpr double kRate = 44100;

/// A sung vowel: the harmonics around its formant are stronger than the fundamental.
/// @param unevenness how much weaker every second period is, 0 to 1
inline Samples Sung(double hertz, double seconds, double formant = 700.0, double unevenness = 0.0) {
  Samples samples;
  for (double t = 0.0; t < seconds; t += 1.0 / kRate) {
    double sum = 0.0;
    for (double harmonic = hertz; harmonic < 3000.0; harmonic += hertz) {
      const double away = (harmonic - formant) / 300.0;
      sum += std::sin(2.0 * std::numbers::pi * harmonic * t) / (1.0 + away * away);
    }
    const double weaker = std::fmod(hertz * t, 2.0) < 1.0 ? 0.0 : unevenness;
    samples.push_back(static_cast<std::int16_t>(2000.0 * sum * (1.0 - weaker)));
  }
  return samples;
}

/// The strength of a frequency in one second of a sound, after its first half second.
inline double Strength(const Samples& sound, double hertz) {
  const std::complex<double> turn = std::polar(1.0, -2.0 * std::numbers::pi * hertz / kRate);
  std::complex<double> sum, now = 1.0;
  for (std::size_t i = 0; i < 44100; ++i, now *= turn) {
    sum +=
        now * (std::pow(std::sin(std::numbers::pi * static_cast<double>(i) / kRate), 2.0) * sound[22050 + i]);
  }
  return std::abs(sum);
}

}  // namespace test
