// Records five seconds from the default capture device into take.wav.
#include "capture/CMMWAVCapture.h"

int main() {
  const WAVEFORMATEX cd{WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
  CMMWAVCapture recorder;
  const HANDLE thread = recorder.Create(cd, "take.wav", nullptr, nullptr);  // opens default device and file
  if (thread == nullptr) return 1;
  CloseHandle(thread);                     // the thread runs on: its handle is the host's to close
  if (recorder.StartREC() != 1) return 1;  // not ready: recorder.GetState has the reason
  Sleep(5000);
  recorder.StopREC();
  recorder.fileClose();
  return recorder.Exit() == 1 ? 0 : 1;
}
