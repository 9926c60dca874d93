// Converts a WAV file to 48000 Hz, 16 bits, stereo: take.wav to studio.wav, or the two names that are given.
#include "wavfile/CMMWav.h"

int main(int argc, char** argv) {
  const WAVEFORMATEX wanted{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0};
  CMMWav source, target;
  std::uint8_t* output = nullptr;  // receives the conversion's buffer, the source's own
  if (source.Open(argc > 1 ? argv[1] : "take.wav") != 1) return 1;
  if (source.BeginConvert(2, wanted, &output, nullptr) == 0) return 1;  // in two stages: the library's filter
  if (target.Open(wanted, argc > 2 ? argv[2] : "studio.wav") != 1) return 1;
  // Half a second at a time: a full second would meet the filter's output limit at every second block.
  const std::uint32_t half = source.GetTimeToByte(0.5);
  std::uint32_t made = 0;
  std::uint32_t taken = 0;
  while (source.Convert(half, &made) == 1) {
    if (target.Write(made, output, &taken) != 1) return 1;
  }
  return target.Close() == 1 ? 0 : 1;
}
