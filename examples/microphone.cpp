// Records two seconds into take.wav, from the first capture device whose name contains the given word.
#include <cstring>

#include "capture/CMMWAVCapture.h"

namespace {

struct Search {
  const char* word;
  bool found;
  GUID id;
};

BOOL __stdcall Look(GUID* id, LPCSTR name, LPCSTR /*module*/, LPVOID context) {
  Search& search = *static_cast<Search*>(context);
  const bool isDefault = id == nullptr;
  if (isDefault || std::strstr(name, search.word) == nullptr) return TRUE;  // look on
  search.found = true;
  search.id = *id;  // valid only during this call
  return FALSE;     // end the search
}

}  // namespace

int main(int argc, char** argv) {
  Search search{argc > 1 ? argv[1] : "", false, {}};
  if (DirectSoundCaptureEnumerateA(Look, &search) != DS_OK || !search.found) return 1;
  const WAVEFORMATEX mono{WAVE_FORMAT_PCM, 1, 48000, 96000, 2, 16, 0};
  CMMWAVCapture recorder;
  // The recorder keeps the pointer to the GUID: search outlives it.
  const HANDLE thread = recorder.Create(mono, "take.wav", nullptr, &search.id);
  if (thread == nullptr) return 1;
  CloseHandle(thread);
  if (recorder.StartREC() != 1) return 1;
  Sleep(2000);
  return recorder.Exit() == 1 ? 0 : 1;  // stops and finishes the file, too
}
