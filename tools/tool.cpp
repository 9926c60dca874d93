#include "tools/tool.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <new>
#include <string>

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

/// Options as manual pages have them: "-r, --rate HZ (44100)".
class HelpText : public CLI::Formatter {
 public:
  std::string make_option_name(const CLI::Option* option, bool is_positional) const override {
    std::string name = CLI::Formatter::make_option_name(option, is_positional);
    if (const auto comma = name.find(','); comma != std::string::npos) name.insert(comma + 1, " ");
    return name;
  }
  std::string make_option_opts(const CLI::Option* option) const override {
    const std::string type = option->get_type_size() != 0 ? option->get_type_name() : "";
    const std::string preset = option->get_default_str();
    return (type.empty() ? "" : " " + type) + (preset.empty() ? "" : " (" + preset + ")");
  }
  std::string make_option_desc(const CLI::Option* option) const override {
    std::string text = option->get_description();
    for (const CLI::Option* other : option->get_excludes()) text += "; not with " + other->get_name();
    return text;
  }
};

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
  auto help = std::make_shared<HelpText>();
  help->label("Positionals", "Arguments");
  app.formatter(help);
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
