// cmm-play, run as a program: what a user sees.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "tests/examples/Program.h"
#include "tests/support/SoundServer.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(Play, PlaysToTheEndOrUntilAskedToStopAndTellsWhatFails) {
  const TempFolder folder;
  const std::string file = folder.File("a.wav"), text = folder.File("text.wav");
  ASSERT_EQ(RunProgram({"sox", "-n", "-r", "44100", "-b", "16", file, "synth", "1", "sine", "440"}).code, 0);
  WriteFileText(text, "no sound");
  const Outcome silent = RunProgram({CMM_PLAY, file}, [] { setenv("ALSA_CONFIG_PATH", "/dev/null", 1); });
  EXPECT_EQ(silent.code, 1);
  EXPECT_THAT(silent.err, HasSubstr("there is no sound device"));
  EXPECT_THAT(RunProgram({CMM_PLAY, text}).err, HasSubstr("too short to be a WAV file"));
  EXPECT_THAT(RunProgram({CMM_PLAY, folder.File("none.wav")}).err, HasSubstr("there is no such file"));

  const SoundServer server;
  ASSERT_TRUE(server.IsRunning()) << server.Problem();
  const auto start = std::chrono::steady_clock::now();
  const Outcome whole = RunProgram({CMM_PLAY, file});
  EXPECT_EQ(whole.code, 0) << whole.err;
  EXPECT_THAT(whole.out, HasSubstr("00:01.00"));
  EXPECT_GE(std::chrono::steady_clock::now() - start, 1s) << "the length of the file";
  Program stopped({CMM_PLAY, file});
  std::this_thread::sleep_for(500ms);
  stopped.Send(SIGINT);
  const Outcome outcome = stopped.Wait();
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("Stopped at 00:00."));
}

}  // namespace
