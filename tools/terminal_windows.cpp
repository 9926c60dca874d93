#include <io.h>

#include <atomic>

#include "tools/terminal.h"
#include "platform/platform.h"

namespace {

constinit std::atomic<bool> stopWanted{false};

// Runs on a thread of the system's. When a window is closed or the session ends, the process goes as soon as
// this returns: the program has that long to finish, and its own end is the end of the wait.
BOOL WINAPI OnEvent(DWORD event) {
  constexpr DWORD kTimeToFinish = 5000;
  stopWanted = true;
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(kTimeToFinish);
  return TRUE;
}

}  // namespace

bool IsTerminal(std::FILE* stream) {
  return _isatty(_fileno(stream)) != 0;
}

// No signal tells of a reader that has gone, and files have no numbers that a stream might share.
void SecureStreams() {}

void CatchStops() {
  SetConsoleCtrlHandler(OnEvent, TRUE);
}

bool StopWanted() {
  return stopWanted;
}
