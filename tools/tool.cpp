#include "tools/tool.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <new>

#include "tools/terminal.h"
#include "tools/version.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

int Fail(const char* name, const char* why) {
  std::fflush(stdout);
  std::fprintf(stderr, "%s: %s\n", name, why);
  return kFailed;
}

int Run(const char* name, void (*tool)(int, char**), int argc, char** argv) {
  try {
    tool(argc, argv);
    return 0;
  } catch (const ExitCode& exit) {
    return exit.code;
  } catch (const std::bad_alloc&) {
    return Fail(name, "memory is short. Close other programs and try again");
  } catch (const std::exception& failure) {
    return Fail(name, failure.what());
  }
}

}  // namespace

int RunTool(const char* name, void (*tool)(int, char**), int argc, char** argv) {
  SecureStreams();
  const int code = Run(name, tool, argc, argv);
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return code;
  const int failed =
      Fail(name, "the standard output is closed or full: not everything could be written to it");
  return code != 0 ? code : failed;
}

void ReadOptions(CLI::App& app, int argc, char** argv) {
  app.allow_windows_style_options(false);  // a name may begin with a slash
  app.set_version_flag("--version",
                       app.get_name() + " " CMM_VERSION_TEXT " (library " CMM_VERSION_TEXT "; " CMM_BUILD_TEXT
                                        ", " CMM_PARTS_TEXT ")",
                       "Print the version and the build, and exit");
  app.failure_message([](const CLI::App* program, const CLI::Error& error) {
    return program->get_name() + ": " + error.what() + "\nRun with --help for more information.\n";
  });
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    throw ExitCode{app.exit(error) == 0 ? 0 : kWrongUse};
  }
}

void CheckStop() {
  if (StopWanted()) throw Failure("stopped");
}
