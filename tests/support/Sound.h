#pragma once
// Measures a tone in captured samples.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace test {

constexpr double kRate = 44100;

struct Sound {
  double frames = 0, hertz = 0, level = 0;  // hertz from the zero crossings; level: amplitude, from the power
};
/// Measures all between the first and the last frame that is not silent.
inline Sound Measure(const std::vector<std::int16_t>& heard) {
  const auto loud = [](std::int16_t sample) { return std::abs(sample) > 400; };
  const auto first = std::find_if(heard.begin(), heard.end(), loud);
  const auto last = std::find_if(heard.rbegin(), heard.rend(), loud).base();
  if (first == heard.end()) return {};
  double power = 0, zeros = 0;
  for (auto at = first + 1; at < last; ++at) {
    power += static_cast<double>(*at) * *at;
    zeros += (at[-1] < 0) != (*at < 0) ? 1 : 0;
  }
  const auto frames = static_cast<double>(last - first);
  return {frames, zeros / 2 / frames * kRate, std::sqrt(2 * power / frames)};
}

}  // namespace test
