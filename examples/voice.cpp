// Adds a voice a major third above to a lead: lead.wav to duet.wav, or the two names that are given.
#include "harmony/HarmonyUnit.h"
#include "wavfile/CMMWav.h"

int main(int argc, char** argv) {
  CMMWav lead, duet;
  WAVEFORMATEX format{};
  if (lead.Open(argc > 1 ? argv[1] : "lead.wav") != 1 || lead.GetFileInfo(&format) != 1) return 1;
  if (format.wFormatTag != WAVE_FORMAT_PCM || format.nChannels != 1 || format.wBitsPerSample != 16) return 1;
  if (format.nSamplesPerSec != 44100) return 1;  // the stages count samples at this rate
  if (duet.Open(format, argc > 2 ? argv[2] : "duet.wav") != 1) return 1;

  HarmonyUnit unit;
  std::int32_t line[1024] = {};  // the last 1024 samples, a ring
  std::int32_t ring = 0;         // the index of the oldest
  std::int16_t in = 0;
  std::uint32_t bytes = 0;
  while (lead.Read(sizeof in, &in, &bytes) == 1 && bytes == sizeof in) {
    const std::int32_t sample = in * 32768;  // half scale, so that no two neighbours differ by more than 2^31
    const double level = unit.LVS(sample);
    unit.PitchExt(unit.VPF(sample), level);  // sets unit.pitchValue, half the period
    line[ring] = sample;
    ring = (ring + 1) % 1024;
    double delay = 0;
    unit.LF0adr(&delay, nullptr, nullptr, 0.26, 0, 0);  // 1.26 times as high; the other two voices rest
    unit.HgainUnit(3.0, 0, 0);                          // MDLY gives a third of what its taps add up to
    const double voice = unit.MDLY(line, ring, &delay, nullptr, nullptr);
    const double middle = line[(512 + ring) % 1024];  // the lead where the voice is read: 511 samples ago
    const auto out = static_cast<std::int16_t>((middle + voice) / 65536);
    if (duet.Write(sizeof out, &out, &bytes) != 1) return 1;
  }
  return duet.Close() == 1 ? 0 : 1;
}
