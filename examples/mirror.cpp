// Copies a 16-bit stereo file through a mirror: take.wav to copy.wav, or the two names that are given.
#include "units/MMWavUnit.h"

int main(int argc, char** argv) {
  MMWavUnit unit;
  if (unit.OpenWFile(argc > 1 ? argv[1] : "take.wav") != 0) return 1;
  if (unit.ChkPcmFile(1, 2, 44100, 16) != 0) return 1;
  if (unit.CreateMirrorFile(argc > 2 ? argv[2] : "copy.wav") != 0) return 1;
  // The source is at its first sample now.
  std::uint8_t frame[4];
  for (std::uint32_t left = unit.PcmDataSize(); left >= 4; left -= 4) {
    if (unit.ReadPcmData(frame, 4) != 0 || unit.WriteMirrorSubBuf(frame, 4) != 0) return 1;
  }
  return unit.CloseMFile();  // writes what is still in the sub-buffer
}
