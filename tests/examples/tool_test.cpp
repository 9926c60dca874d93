// What all programs have in common: outputs that cannot be written, and memory that runs short.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "tests/examples/Program.h"

namespace {

using testing::HasSubstr;
using Command = std::vector<std::string>;

class Tool : public testing::Test {
 protected:
  void SetUp() override {
    const WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, 44100, 88200, 2, 16, 0};
    test::StoreWav(source_, std::vector{format}, std::vector<std::int16_t>(4410), 4410);
  }

  TempFolder folder_;
  const std::string source_ = folder_.File("source.wav");
  const std::string made_ = folder_.File("made.wav");
  const std::string recording_ = folder_.File("recording.wav");
};

void CloseOutput() {
  close(STDOUT_FILENO);
}
void FillOutput() {
  dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO);
}
void BreakOutput() {
  int ends[2];
  if (pipe(ends) != 0) _exit(127);
  dup2(ends[1], STDOUT_FILENO);
  close(ends[0]);
}

TEST_F(Tool, FailsWhenItsOutputCannotBeWrittenAndDoesItsWorkAllTheSame) {
  const Command commands[] = {
      {CMM_INFO, source_},
      {CMM_PLAY, "--help"},
      {CMM_RECORD, "--list"},
      {CMM_RECORD, recording_, "--force", "--device", "signal", "--rate", "8000", "--duration", "0.5"},
      {CMM_CONVERT, source_, made_, "--force"},
      {CMM_MIRROR, source_, made_, "--force"},
      {CMM_HARMONIZE, source_, made_, "--force"},
  };
  for (const auto output : {CloseOutput, FillOutput, BreakOutput}) {
    for (const Command& command : commands) {
      SCOPED_TRACE(command[0] + " " + command[1]);
      std::filesystem::remove(made_);
      const Outcome outcome = RunProgram(command, output);
      EXPECT_EQ(outcome.code, 1);
      EXPECT_THAT(outcome.err, HasSubstr("standard output"));
      if (command.size() > 2) {
        EXPECT_EQ(RunProgram({CMM_INFO, command[0] == CMM_RECORD ? recording_ : made_}).code, 0);
      }
    }
    // A closed output has given its number to nobody: there is no text among the samples.
    EXPECT_EQ(FileText(recording_).find("Recording to"), std::string::npos);
  }
}

#ifdef CMM_SHORTAGE
TEST_F(Tool, SaysThatMemoryIsShort) {
  for (const Command& command : {Command{CMM_INFO, source_},
                                 {CMM_CONVERT, source_, made_, "--force"},
                                 {CMM_MIRROR, "--help"},
                                 {CMM_RECORD, "--help"},
                                 {CMM_HARMONIZE, "--help"},
                                 {CMM_PLAY, "--help"}}) {
    SCOPED_TRACE(command[0]);
    int failures = 0;
    for (int step = 0;; step += 1 + step / 8) {
      const Outcome outcome = RunProgram(command, [step] {
        setenv("LD_PRELOAD", CMM_SHORTAGE, 1);
        setenv("CMM_BLOCKS", std::to_string(step).c_str(), 1);
      });
      if (outcome.code == 0) break;
      ASSERT_EQ(outcome.code, 1) << "after " << step << " blocks: " << outcome.err;
      EXPECT_NE(outcome.err, "") << "after " << step << " blocks";
      ++failures;
    }
    EXPECT_GE(failures, 5);
  }
}
#endif

}  // namespace
