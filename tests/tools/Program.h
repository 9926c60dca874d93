#pragma once
// Runs a program as a user does, and keeps its output.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/files.h"

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;

using Command = std::vector<std::string>;
using BeforeStart = std::function<void()>;

inline Command Joined(Command words, const Command& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

inline std::string FileText(const fs::path& path) {
  const test::Bytes bytes = test::Load(path);
  return {bytes.begin(), bytes.end()};
}
inline void WriteFileText(const fs::path& path, const std::string& text) {
  test::Store(path, {text.begin(), text.end()});
}

/// The host program that a test is to run: the built one, or the one of that name in the folder that
/// CMM_PROGRAMS in the environment names, such as the same program built for another system.
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
  explicit Program(const Command& command, const BeforeStart& beforeStart = {});
  ~Program();
  void Send(int signal) const { kill(process_, signal); }
  Outcome Wait();
  /// Waits until a condition holds, or the program has ended.
  void WaitUntil(const std::function<bool()>& isSo);
  /// Waits until a file has so many bytes, or the program has ended.
  void WaitForBytes(const fs::path& file, std::uintmax_t bytes);
  /// Waits until its standard output has a text, or it has ended.
  void WaitToSay(const std::string& text);

 private:
  std::string Said(const std::string& stream) const;

  TempFolder folder_;
  pid_t process_ = -1;
  int status_ = 0;
  bool ended_ = false;
};

inline Outcome RunProgram(const Command& command, const BeforeStart& beforeStart = {}) {
  return Program(command, beforeStart).Wait();
}

/// Runs a program that must succeed. @return its standard output
inline std::string Succeed(const Command& command) {
  const Outcome outcome = RunProgram(command);
  EXPECT_EQ(outcome.code, 0) << command[0] << ": " << outcome.err;
  return outcome.out;
}

/// Makes writes beyond that file size fail in a new process, as on a full disk.
void LimitFiles(std::uintmax_t bytes);

class Programs : public testing::Test {
 protected:
  std::string File(const std::string& name) const { return folder_.File(name); }
  std::set<std::string> Files() const {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_.Path())) names.insert(entry.path().filename());
    return names;
  }
  /// Two tones that use all the bits of every sample size. @return its name
  std::string MakeSource(const Command& format, const std::string& seconds = "2.3") const {
    const Command tones{source_, "synth", seconds, "sine", "440", "synth", "sine", "amod", "3", "gain", "-3"};
    Succeed(Joined(Joined({"sox", "-D", "-R", "-n"}, format), tones));
    return source_;
  }
  /// A WAV file's samples, in 16 bits, as another program reads them.
  std::vector<std::int16_t> SamplesOf(const std::string& file, const Command& effect = {}) const {
    const std::string raw = File("samples.raw");
    Succeed(Joined({"sox", "-D", file, "-b", "16", "-e", "signed-integer", raw}, effect));
    const test::Bytes bytes = test::Load(raw);
    std::vector<std::int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), bytes.size());
    return samples;
  }

  const TempFolder folder_;
  const std::string source_ = File("source.wav"), target_ = File("target.wav");
};
