#pragma once
// Runs a program as a user does, and keeps what it said.

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/files.h"

inline std::string FileText(const std::filesystem::path& path) {
  const test::Bytes bytes = test::Load(path);
  return {bytes.begin(), bytes.end()};
}
inline void WriteFileText(const std::filesystem::path& path, const std::string& text) {
  test::Store(path, {text.begin(), text.end()});
}

/// The example program that a test is to run: the built one, or one of its name in the folder CMM_PROGRAMS of the
/// environment, such as the same program for another system.
std::string ExamplePath(const std::string& built);

struct Outcome {
  int code;  // exit code; 128 and the signal's number when a signal ended it
  std::string out;
  std::string err;
};

/// A running program; killed with the object.
class Program {
 public:
  /// @param command     program and arguments; searched in PATH
  /// @param beforeStart runs in the new process, for limits and environment
  explicit Program(const std::vector<std::string>& command, const std::function<void()>& beforeStart = {});
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void Send(int signal) const;
  bool Running();
  Outcome Wait();
  /// Until a file has so many bytes, or the program has ended.
  void WaitForBytes(const std::filesystem::path& file, std::uintmax_t bytes);
  /// Until it has said so on its standard output, or has ended.
  void WaitToSay(const std::string& text);

 private:
  std::string Said(const std::string& stream) const;

  TempFolder folder_;
  pid_t process_ = -1;
  int status_ = 0;
  bool ended_ = false;
};

inline Outcome RunProgram(const std::vector<std::string>& command,
                          const std::function<void()>& beforeStart = {}) {
  return Program(command, beforeStart).Wait();
}
