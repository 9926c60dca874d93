// cmm-record and cmm-play through a sound server and ALSA's default device: every frame of a known sound must
// arrive once, in its channel, at its level; and both programs notice a lost device.
#include <chrono>

#include "tests/support/Formats.h"
#include "tests/support/SoundServer.h"
#include "tests/tools/Program.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr std::uint32_t kRate = 44100, kCounted = kRate / 2;

class SoundDevice : public Programs {
 protected:
  void SetUp() override { ASSERT_TRUE(server_.IsRunning()) << server_.Problem(); }

  /// Plays frames that count from 1 while cmm-record runs. @return how many have come in an unbroken row
  std::uint32_t RecordCounted() {
    // A player's first moments may miss the monitor of a sink that was idle.
    std::vector<std::uint32_t> frames(kRate * 3 / 2);
    for (std::uint32_t i = 1; i <= kCounted; ++i) frames.push_back(i);
    test::StoreWav(source_, std::vector{Format(kRate, 2, 16)}, frames,
                   static_cast<std::uint32_t>(frames.size()));
    Program recorder({CMM_RECORD, target_, "--force"});
    recorder.WaitForBytes(target_, kRate);
    Succeed({"paplay", "--device=room", source_});
    recorder.WaitForBytes(target_, fs::file_size(target_) + 2 * kRate);
    recorder.Send(SIGINT);
    EXPECT_EQ(recorder.Wait().code, 0);
    std::uint32_t last = 0;
    const test::Bytes file = test::Load(target_);
    std::vector<std::uint32_t> recorded;
    for (std::size_t at = 56; at < file.size(); at += 4) recorded.push_back(test::Number(file, at));
    for (const std::uint32_t frame : recorded) {
      if (frame != 0 && frame != last + 1) break;
      if (frame != 0) last = frame;
    }
    const std::vector<std::uint16_t> format{1, 2, kRate, 0, 4 * kRate & 0xFFFF, 4 * kRate >> 16, 4, 16};
    test::StoreWav(source_, format, recorded, static_cast<std::uint32_t>(recorded.size()));
    EXPECT_TRUE(test::Load(source_) == file) << "the header";
    return last;
  }
  SoundServer server_;
};

// On a machine under load the player and the server can lose sound too, so the test tries again.

TEST_F(SoundDevice, IsRecordedCompletely) {
  std::uint32_t counted = 0;
  for (int attempt = 0; attempt < 3 && counted != kCounted; ++attempt) counted = RecordCounted();
  EXPECT_EQ(counted, kCounted);
}

TEST_F(SoundDevice, PlaysAFileToItsEnd) {
  MakeSource({"-r", "44100", "-c", "2", "-b", "16"}, "1");
  const auto start = Clock::now();
  EXPECT_THAT(Succeed({CMM_PLAY, source_}), HasSubstr("00:01.00"));
  EXPECT_GE(Clock::now() - start, 1s);
  EXPECT_LT(Clock::now() - start, 2900ms) << "no longer than the file, but for the start of the program";
  Succeed({"sox", source_, File("source.w64")});
  const auto here = [this] { setenv("TMPDIR", folder_.Name().c_str(), 1); };
  EXPECT_THAT(RunProgram({CMM_PLAY, File("source.w64")}, here).out, HasSubstr("00:01.00"));
  EXPECT_FALSE(fs::exists(File("source.w64.part")));
  // A file that declares too much is as long as what it holds.
  WriteFileText(target_, FileText(source_).substr(0, 40) + std::string(4, '\xF0') + std::string(400, '\0'));
  EXPECT_THAT(Succeed({CMM_PLAY, target_}), HasSubstr(": 00:00.00."));
}

TEST_F(SoundDevice, IsChosenByName) {
  Succeed({"pactl", "load-module", "module-null-sink", "sink_name=attic",
           "sink_properties=device.description=Attic"});
  EXPECT_THAT(Succeed({CMM_RECORD, "--list"}), HasSubstr("  Monitor of Attic\n    pulse:attic.monitor\n"));
  EXPECT_THAT(Succeed({CMM_PLAY, "--list"}), HasSubstr("  Attic\n    pulse:attic\n"));
  MakeSource({"-r", "44100", "-c", "2", "-b", "16"}, "5");
  Program player({CMM_PLAY, source_, "-D", "att"});
  player.WaitToSay("Playing");
  Succeed({CMM_RECORD, target_, "--device", "pulse:attic.monitor", "--duration", "1.5"});
  EXPECT_THAT(SamplesOf(target_), testing::Contains(testing::Gt(1000)));
  Succeed({CMM_RECORD, target_, "--force", "--device", "monitor of null", "--duration", "0.5"});
  EXPECT_THAT(SamplesOf(target_), testing::Each(0)) << "the sound is in the other room";
  player.Send(SIGINT);
  EXPECT_EQ(player.Wait().code, 0);
  EXPECT_THAT(RunProgram({CMM_PLAY, source_, "-D", "cellar"}).err, HasSubstr("cannot be played"));
  EXPECT_THAT(RunProgram({CMM_RECORD, target_, "-f", "-D", "monitor"}).err,
              HasSubstr("'monitor' is part of several names"));
}

TEST_F(SoundDevice, IsLeftWhenAsked) {
  MakeSource({"-r", "44100", "-c", "2", "-b", "16"}, "5");
  Program stopped({CMM_PLAY, source_});
  stopped.WaitToSay("Playing");
  stopped.Send(SIGINT);
  const Outcome outcome = stopped.Wait();
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("Stopped at 00:00."));
}

TEST_F(SoundDevice, ThatIsGoneEndsRecordingAndPlayingWithinASecond) {
  MakeSource({"-r", "44100", "-c", "2", "-b", "16"}, "20");
  Program player({CMM_PLAY, source_}), recorder({CMM_RECORD, target_});
  player.WaitToSay("Playing");
  recorder.WaitForBytes(target_, kRate);
  const auto killed = Clock::now();
  server_.Kill();
  const Outcome recorded = recorder.Wait(), played = player.Wait();
  EXPECT_LT(Clock::now() - killed, 1s);
  EXPECT_EQ(played.code, 1);
  EXPECT_THAT(played.err, HasSubstr("the sound device is gone"));
  EXPECT_EQ(recorded.code, 1);
  EXPECT_THAT(recorded.err, AllOf(HasSubstr("the capture device is gone"), HasSubstr("is in the file")));
  Succeed({"soxi", target_});
}

}  // namespace
