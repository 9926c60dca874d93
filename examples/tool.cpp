#include "examples/tool.h"

#include <csignal>
#include <cstdio>

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

volatile std::sig_atomic_t stopWanted = 0;

void OnSignal(int /*signal*/) {
  stopWanted = 1;
}

// A file that reaches the system's size limit is a failed write, not the program's end; all other signals
// that are meant to end it remove what is half made.
void SetSignals() {
  std::signal(SIGINT, OnSignal);
  std::signal(SIGTERM, OnSignal);
#ifdef SIGHUP
  std::signal(SIGHUP, OnSignal);
#endif
#ifdef SIGXFSZ
  std::signal(SIGXFSZ, SIG_IGN);
#endif
}

}  // namespace

int RunTool(CLI::App& app, int argc, char** argv, const std::function<void()>& work) {
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongUse;
  }
  SetSignals();
  try {
    work();
    return 0;
  } catch (const std::exception& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), failure.what());
    return kFailed;
  }
}

void CheckStop() {
  if (stopWanted != 0) throw Failure("stopped");
}
