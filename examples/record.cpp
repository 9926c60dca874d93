// Records from the default capture device into take.wav: Enter begins, Enter ends.
#include <cstdio>

#include "capture/CMMWAVCapture.h"

int main() {
  const WAVEFORMATEX cd{WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
  CMMWAVCapture recorder;
  const HANDLE thread = recorder.Create(cd, "take.wav", nullptr, nullptr);  // opens default device and file
  if (thread == nullptr) return 1;
  CloseHandle(thread);  // the thread runs on: its handle is the host's to close
  std::puts("Enter begins the recording, and Enter ends it.");
  std::getchar();
  if (recorder.StartREC() != 1) return 1;  // not ready: recorder.GetState has the reason
  std::getchar();                          // the library's thread records meanwhile
  recorder.StopREC();                      // another StartREC would go on in the same file
  recorder.fileClose();
  return recorder.Exit() == 1 ? 0 : 1;
}
