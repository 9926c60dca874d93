// A host: writes a WAV file, reads it back, and prints how many frames it got.
#include <cstdio>
#include <vector>

#include "wavfile/CMMWav.h"

int main() {
  const WAVEFORMATEX cd{WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
  const std::vector<std::int16_t> sound(2000, 7);
  std::vector<std::int16_t> back(4000);
  std::uint32_t bytes = 0;
  CMMWav wav;
  if (wav.Open(cd, "host.wav") != 1 || wav.Write(4000, sound.data(), &bytes) != 1) return 1;
  wav.Close();
  if (wav.Open("host.wav") != 1 || wav.Read(8000, back.data(), &bytes) != 1) return 1;
  back.resize(bytes / 2);
  if (back != sound) return 1;
  std::printf("%u frames\n", static_cast<unsigned>(bytes / cd.nBlockAlign));
}
