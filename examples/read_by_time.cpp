// Prints the peak of each tenth of a second between 0.5 s and 1.5 s of a WAV file.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "wavfile/CMMWav.h"

int main(int argc, char** argv) {
  CMMWav wav;
  if (wav.Open(argc > 1 ? argv[1] : "tone.wav") != 1) return 1;
  if (wav.GetFormat() != WAVE_FORMAT_PCM || wav.GetSampleSizeInBits() != 16) return 1;
  if (wav.TimeFind(0.5) != 1) return 1;  // rounded down to a frame
  std::vector<std::int16_t> block(wav.GetTimeToByte(0.1) / sizeof(std::int16_t));
  const auto bytes = static_cast<std::uint32_t>(block.size() * sizeof block[0]);
  while (wav.GetNowTime() < 1.5) {
    const double time = wav.GetNowTime();
    std::uint32_t delivered = 0;  // less than asked for at the end of the data, and 0 after it
    if (wav.Read(bytes, block.data(), &delivered) != 1 || delivered == 0) break;
    int peak = 0;
    for (std::size_t i = 0; i < delivered / sizeof block[0]; ++i)
      peak = std::max(peak, std::abs(int{block[i]}));
    std::printf("%.1f s  %d\n", time, peak);
  }
}
