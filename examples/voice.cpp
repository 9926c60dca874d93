// Adds a third above, a fourth below and an octave below to a voice: raw 16-bit mono at 44100 Hz, from
// standard input to standard output.
#include <cstdio>

#include "harmony/HarmonyUnit.h"

int main() {
  HarmonyUnit unit;
  std::int32_t line[1024] = {}, ring = 0;
  for (std::int16_t in; std::fread(&in, sizeof in, 1, stdin) == 1;) {
    const std::int32_t sample = in * 32768;  // half scale, so that no two neighbours differ by more than 2^31
    const double level = unit.LVS(sample);
    unit.PitchExt(unit.VPF(sample), level);  // sets unit.pitchValue, half the period
    line[ring] = sample;                     // the newest sample is the ring's last entry; voices lag by 511
    ring = (ring + 1) % 1024;
    double up, down, octave;
    unit.LF0adr(&up, &down, &octave, 0.26, -0.25, -0.5);  // a third up, a fourth down, an octave down
    unit.HgainUnit(1.0, 1.0, 1.0);
    const auto out = static_cast<std::int16_t>(unit.MDLY(line, ring, &up, &down, &octave) / 32768);
    if (std::fwrite(&out, sizeof out, 1, stdout) != 1) return 1;
  }
}
