// Writes two seconds of a 440 Hz tone to tone.wav.
#include <cmath>
#include <numbers>

#include "wavfile/CMMWav.h"

int main() {
  const WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, 44100, 88200, 2, 16, 0};
  CMMWav wav;
  if (wav.Open(format, "tone.wav") != 1) return 1;
  for (int frame = 0; frame < 2 * 44100; ++frame) {
    const double turn = 2 * std::numbers::pi * 440.0 * frame / 44100;
    const auto sample = static_cast<std::int16_t>(16384 * std::sin(turn));
    std::uint32_t taken = 0;
    // Fails on a full disk. The destructor then finishes the file with what the disk took.
    if (wav.Write(sizeof sample, &sample, &taken) != 1) return 1;
  }
  return wav.Close() == 1 ? 0 : 1;
}
