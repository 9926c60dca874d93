// A host that returns from main while a recording runs: with the controller leaked, or in a static object.
// abandon FILE leak|static

#include <cstring>
#include <memory>
#include <thread>

#include "capture/CMMWAVCapture.h"
#include "platform/posix/layer.h"
#include "tests/support/Formats.h"

int main(int, char** arguments) {
  CMMWAVCapture* capture = nullptr;
  if (std::strcmp(arguments[2], "static") == 0) {
    static CMMWAVCapture object;
    capture = &object;
  } else {
    static CMMWAVCapture* leaked = std::make_unique<CMMWAVCapture>().release();
    capture = leaked;
  }
  capture->Create(Format(8000, 1, 8), arguments[1], nullptr, &platform::kSignalDevice);
  if (capture->StartREC() != 1) return 1;
  while (capture->GetPlayTime() < 0.5) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  return 0;
}
