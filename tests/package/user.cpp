// A host of the installed library: writes a file, reads it back, asks for a capture device that does not exist.
#include <cstdio>

#include "capture/CMMWAVCapture.h"
#include "wavfile/CMMWav.h"

int main(int, char** argv) {
  WAVEFORMATEX format{};
  format.wFormatTag = WAVE_FORMAT_PCM;
  format.nChannels = 1;
  format.nSamplesPerSec = 8000;
  format.wBitsPerSample = 16;
  const std::int16_t samples[4] = {1, -2, 3, -4};
  std::uint32_t taken = 0;
  CMMWav wav;
  if (wav.Open(format, argv[1]) != 1 || wav.Write(sizeof samples, samples, &taken) != 1 || wav.Close() != 1) {
    return 1;
  }
  if (wav.Open(argv[1]) != 1 || wav.GetSampleSize() != 4) return 2;

  const GUID nobody{0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};
  IDirectSoundCapture* device = nullptr;
  if (DirectSoundCaptureCreate(&nobody, &device, nullptr) != DSERR_NODRIVER) return 3;
  std::uint32_t state = 9;
  CMMWAVCapture capture;
  return capture.GetState(&state, nullptr) == 1 && state == kStateNone ? 0 : 4;
}
