// A known tone goes through the machine's sound server and ALSA's default device into a file: every frame of
// it must arrive, once, in its channel, at its level.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <numbers>
#include <string>
#include <vector>

#include "tests/examples/Program.h"
#include "tests/support/SoundServer.h"

namespace {

namespace fs = std::filesystem;

constexpr int kRate = 44100;
constexpr int kToneFrames = 3 * kRate;
constexpr std::uintmax_t kBytesPerSecond = kRate * 4;

// What sox is asked for, as numbers: 440 Hz at half scale on the left, 1000 Hz at a quarter on the right.
double Left(int frame) {
  return 16384.0 * std::sin(2.0 * std::numbers::pi * 440.0 * frame / kRate);
}
double Right(int frame) {
  return 8192.0 * std::sin(2.0 * std::numbers::pi * 1000.0 * frame / kRate);
}

struct Frame {
  std::int16_t left, right;
};

std::vector<Frame> ReadFrames(const fs::path& file) {
  const Outcome outcome = RunProgram({"sox", file, "-t", "s16", "-"});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  std::vector<Frame> frames(outcome.out.size() / sizeof(Frame));
  std::memcpy(frames.data(), outcome.out.data(), frames.size() * sizeof(Frame));
  return frames;
}

/// Frames of the tone found in place from @p start on, up to the first that is off by more than rounding.
int IntactFrames(const std::vector<Frame>& frames, std::size_t start) {
  constexpr double kTolerance = 3.0;
  int n = 0;
  while (n < kToneFrames && start + static_cast<std::size_t>(n) < frames.size()) {
    const Frame& frame = frames[start + static_cast<std::size_t>(n)];
    if (std::abs(frame.left - Left(n)) > kTolerance || std::abs(frame.right - Right(n)) > kTolerance) break;
    ++n;
  }
  return n;
}

/// The longest run of the tone from its first frame on. That frame is silent: it lies just before the sound
/// does.
int LongestTone(const std::vector<Frame>& frames) {
  std::size_t onset = 0;
  while (onset < frames.size() && std::abs(frames[onset].left) < 500) ++onset;
  int best = 0;
  for (std::size_t back = 0; back < 8 && back <= onset; ++back) {
    best = std::max(best, IntactFrames(frames, onset - back));
  }
  return best;
}

class Tone : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.IsRunning()) << server_.Problem();
    // Silence before it: a player's first moments may miss the monitor of a sink that was idle.
    ASSERT_EQ(
        RunProgram({"sox",  "-D",  "-r",   "44100", "-n",    "-b",    "16",     tone_, "synth", "132300s",
                    "sine", "440", "sine", "1000",  "remix", "1v0.5", "2v0.25", "pad", "2",     "1"})
            .code,
        0);
  }

  /// Plays the tone while cmm-record runs. @return how many of its frames came through in one piece
  int RecordTone() {
    Program recorder({CMM_RECORD, recording_, "--force"});
    recorder.WaitForBytes(recording_, kBytesPerSecond / 2);
    const Outcome player = RunProgram({"paplay", "--device=room", tone_});
    EXPECT_EQ(player.code, 0) << player.err;
    recorder.WaitForBytes(recording_, fs::file_size(recording_) + 2 * kBytesPerSecond);
    recorder.Send(SIGINT);
    const Outcome outcome = recorder.Wait();
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    return LongestTone(ReadFrames(recording_));
  }

  SoundServer server_;
  TempFolder folder_;
  const std::string tone_ = folder_.File("tone.wav");
  const std::string recording_ = folder_.File("recording.wav");
};

TEST_F(Tone, ArrivesWhole) {
  // The player and the server can fall behind too on a machine under load: what is tried again is not the
  // recorder alone.
  int whole = 0;
  for (int attempt = 1; attempt <= 3 && whole != kToneFrames; ++attempt) {
    whole = RecordTone();
    if (HasFailure()) return;
    if (whole != kToneFrames) std::printf("attempt %d: the tone breaks off at frame %d\n", attempt, whole);
  }
  EXPECT_EQ(whole, kToneFrames);
}

TEST_F(Tone, ALostDeviceEndsTheRecordingWithinASecond) {
  Program recorder({CMM_RECORD, recording_});
  recorder.WaitForBytes(recording_, kBytesPerSecond);
  const auto killed = std::chrono::steady_clock::now();
  server_.Kill();
  const Outcome outcome = recorder.Wait();
  EXPECT_LT(std::chrono::steady_clock::now() - killed, std::chrono::seconds(1));
  EXPECT_EQ(outcome.code, 1);
  EXPECT_NE(outcome.err.find("the capture device is gone"), std::string::npos) << outcome.err;
  EXPECT_NE(outcome.err.find("is in the file"), std::string::npos) << outcome.err;
  EXPECT_EQ(RunProgram({"soxi", recording_}).code, 0);
}

}  // namespace
