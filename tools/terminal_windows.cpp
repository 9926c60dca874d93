#include <fcntl.h>
#include <io.h>

#include <atomic>

#include "platform/platform.h"
#include "tools/terminal.h"

namespace {

constinit std::atomic<bool> stopWanted{false};

// Runs on a thread of the system. When the console is closed or the session ends, the system ends the process
// as soon as this returns: the wait gives the program time to finish, and is cut off by its end.
BOOL WINAPI OnEvent(DWORD event) {
  constexpr DWORD kTimeToFinishMs = 5000;
  stopWanted = true;
  if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) Sleep(kTimeToFinishMs);
  return TRUE;
}

}  // namespace

bool IsTerminal(std::FILE* stream) {
  return _isatty(_fileno(stream)) != 0;
}

// Not needed here: no signal comes when a reader has gone, and files do not share the streams' numbers.
void SecureStreams() {}

long ReadInput(char* to, std::size_t room) {
  _setmode(_fileno(stdin), _O_BINARY);
  return _read(_fileno(stdin), to, static_cast<unsigned>(room));
}

void MakeOutputBinary() {
  std::fflush(stdout);
  _setmode(_fileno(stdout), _O_BINARY);
}

void CatchStops() {
  SetConsoleCtrlHandler(OnEvent, TRUE);
}

bool StopWanted() {
  return stopWanted;
}
