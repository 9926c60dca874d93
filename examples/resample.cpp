// Resamples a buffer from 44100 to 48000 Hz in blocks, and prints what a few frames have become.
#include <cstdint>
#include <cstdio>
#include <vector>

#include "resample/AudioLinearFilter.h"

int main() {
  std::vector<std::int16_t> ramp(4410);
  for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<std::int16_t>(i);
  std::vector<std::int16_t> out(4800 + 1);
  std::uint32_t total = 0;
  for (std::uint32_t begin = 0; begin < 4410; begin += 441) {
    std::uint32_t made = 0;
    const std::uint8_t first = begin == 0 ? 1 : 0;  // a new stream, which the later calls go on with
    // 0: no limit on the output of one call. Number 2 is the filter of one channel of 16 bits.
    if (AudioLinearFilter2(&ramp[begin], 441, 44100, &out[total], &made, 48000, 0, first) != 1) return 1;
    total += made;
  }
  std::printf("%u frames; number 0: %d, 480: %d, 2400: %d\n", total, out[0], out[480], out[2400]);
  return total == 4799 ? 0 : 1;
}
