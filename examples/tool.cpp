#include "examples/tool.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "examples/terminal.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

}  // namespace

int RunTool(CLI::App& app, int argc, char** argv, const std::function<void()>& work) {
  app.allow_windows_style_options(false);  // a name may begin with a slash
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongUse;
  }
  CatchStops();
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
  if (StopWanted()) throw Failure("stopped");
}
