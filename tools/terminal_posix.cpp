#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>

#include "tools/terminal.h"

namespace {

volatile std::sig_atomic_t stopWanted = 0;

void OnSignal(int /*signal*/) {
  stopWanted = 1;
}

}  // namespace

bool IsTerminal(std::FILE* stream) {
  return isatty(fileno(stream)) != 0;
}

void SecureStreams() {
  std::signal(SIGPIPE, SIG_IGN);
  // open() takes the lowest free number. It is opened for reading, so that writes fail as before.
  int file;
  do file = open("/dev/null", O_RDONLY);
  while (file >= 0 && file <= STDERR_FILENO);
  if (file >= 0) close(file);
}

// Waits in steps: a signal does not end a read.
long ReadInput(char* to, std::size_t room) {
  constexpr int kStepMs = 100;
  pollfd input{STDIN_FILENO, POLLIN, 0};
  for (;;) {
    const int ready = poll(&input, 1, kStepMs);
    if (ready > 0) return read(STDIN_FILENO, to, room);
    if (StopWanted()) return 0;
    if (ready < 0 && errno != EINTR) return -1;
  }
}

void MakeOutputBinary() {}

void CatchStops() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, OnSignal);
  std::signal(SIGXFSZ, SIG_IGN);
}

bool StopWanted() {
  return stopWanted != 0;
}
