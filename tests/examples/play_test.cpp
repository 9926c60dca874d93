// cmm-play, run as a program: what a user sees.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "tests/examples/Program.h"
#include "tests/support/Sound.h"
#include "tests/support/SoundServer.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

// A tone at half scale.
std::string Tone(const TempFolder& folder, const std::string& seconds = "1") {
  const std::string file = folder.File("a.wav");
  EXPECT_EQ(RunProgram(
                {"sox", "-n", "-r", "44100", "-b", "16", file, "synth", seconds, "sine", "440", "vol", "0.5"})
                .code,
            0);
  return file;
}

struct Hearing {
  test::Sound sound;
  double seconds;  // that the program took
};
Hearing PlayAndListen(const std::string& file) {
  Program listener({"parec", "--raw", "--latency-msec=10", "--rate=44100", "--channels=1", "--format=s16le",
                    "-d", "room.monitor"});
  std::this_thread::sleep_for(2s);
  const auto start = std::chrono::steady_clock::now();
  const Outcome played = RunProgram({CMM_PLAY, file});
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(played.code, 0) << played.err;
  listener.Send(SIGTERM);
  const std::string bytes = listener.Wait().out;
  std::vector<std::int16_t> heard(bytes.size() / 2);
  std::memcpy(heard.data(), bytes.data(), heard.size() * 2);
  return {test::Measure(heard), took.count()};
}

TEST(Play, IsHeardWhole) {
  const SoundServer server;
  ASSERT_TRUE(server.IsRunning()) << server.Problem();
  const TempFolder folder;
  const std::string file = Tone(folder);
  Hearing best{};
  // A server may hiccup on a machine under load: what is tried again is not the player alone.
  for (int attempt = 0; attempt < 3 && std::abs(best.sound.hertz - 440) > 3; ++attempt)
    best = PlayAndListen(file);
  EXPECT_LT(best.seconds, 2.9) << "no longer than the file, but for the start of the program";
  EXPECT_NEAR(best.sound.frames / test::kRate, 1, 0.05);
  EXPECT_NEAR(best.sound.hertz, 440, 3);
  EXPECT_NEAR(best.sound.level, 16384, 500);
}

TEST(Play, PlaysToTheEndOrUntilAskedToStopAndTellsWhatFails) {
  const TempFolder folder;
  const std::string file = Tone(folder), text = folder.File("text.wav");
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
  stopped.WaitToSay("Playing");
  stopped.Send(SIGINT);
  const Outcome outcome = stopped.Wait();
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("Stopped at 00:00."));
}

TEST(Play, GoesByTheDeviceAndByWhatTheFileHolds) {
  const TempFolder folder;
  const std::string cut = folder.File("cut.wav"), file = Tone(folder, "20");
  WriteFileText(cut, FileText(file).substr(0, 40) + std::string(4, '\xF0') + std::string(400, '\0'));
  SoundServer server;
  ASSERT_TRUE(server.IsRunning()) << server.Problem();
  const auto start = std::chrono::steady_clock::now();
  Program declaresTooMuch({CMM_PLAY, cut});
  while (declaresTooMuch.Running() && std::chrono::steady_clock::now() - start < 3s) {
    std::this_thread::sleep_for(10ms);
  }
  ASSERT_FALSE(declaresTooMuch.Running());
  const Outcome shown = declaresTooMuch.Wait();
  EXPECT_EQ(shown.code, 0) << shown.err;
  EXPECT_THAT(shown.out, HasSubstr(": 00:00.00."));

  Program program({CMM_PLAY, file});
  program.WaitToSay("Playing");
  std::this_thread::sleep_for(1s);
  server.Kill();
  const auto killed = std::chrono::steady_clock::now();
  while (program.Running() && std::chrono::steady_clock::now() - killed < 3s) {
    std::this_thread::sleep_for(10ms);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - killed, 1s);
  ASSERT_FALSE(program.Running());
  const Outcome outcome = program.Wait();
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(outcome.err, HasSubstr("the sound device is gone"));
}

}  // namespace
