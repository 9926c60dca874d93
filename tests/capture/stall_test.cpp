// A disk that stalls, hangs or is full, and a device that is lost meanwhile. The device numbers its frames,
// so that each frame in the file can be checked.

#include <cerrno>
#include <filesystem>
#include <string_view>

#include "tests/capture/Recording.h"
#include "tests/support/CountingDevice.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/SystemCalls.h"

namespace {

std::atomic<DWORD> nextWriteTakes{0}, everyWriteTakes{0};  // milliseconds

int DelayWrites(const char* name, int) {
  if (std::string_view(name).starts_with("pwrite")) Sleep(nextWriteTakes.exchange(0) + everyWriteTakes);
  return 0;
}

class Disk : public testing::Test, protected Recording<test::CountingDevice> {
 protected:
  Disk() { test::HookSystemCalls(DelayWrites); }
  ~Disk() override { test::HookSystemCalls(nullptr); }

  void StallFor(DWORD milliseconds) {
    nextWriteTakes = milliseconds;
    ASSERT_TRUE(Eventually([] { return nextWriteTakes == 0; }));
  }
  void ExpectFile(std::uint64_t leastFrames) {
    const test::Counted counted = test::CountFrames(file);
    EXPECT_TRUE(counted.complete);
    EXPECT_EQ(counted.gaps, 0u) << "at " << counted.firstGapAt;
    EXPECT_GE(counted.frames, leastFrames);
    EXPECT_EQ(counted.frames, capture.GetSamples() / 4);
    EXPECT_EQ(counted.frames, GetCaptureReport().framesInFile);
  }
};

TEST_F(Disk, LosesNothingToAStallWhateverEndsTheRunMeanwhile) {
  for (const CaptureEnd end : {CaptureEnd::kStopped, CaptureEnd::kExit, CaptureEnd::kDeviceLost}) {
    Start();
    StallFor(1200);
    Sleep(900);  // with the segment before it, more than the ring holds
    const std::uint64_t before = device.delivered;
    device.gone = end == CaptureEnd::kDeviceLost;
    if (end == CaptureEnd::kStopped) capture.StopREC();
    if (end == CaptureEnd::kExit) ExpectEnd(1);
    EXPECT_TRUE(Reaches(end == CaptureEnd::kStopped ? kStateFileOpen : kStateNone));
    EXPECT_EQ(GetCaptureReport().end, end);
    EXPECT_EQ(GetCaptureReport().overruns, 0u);
    capture.Exit();
    ExpectFile(before - 11025 - 1);
  }
  EXPECT_EQ(GetCaptureReport().deviceResult, DSERR_NODRIVER);
}

// Notifications go before commands, but only for some drains in a row.
TEST_F(Disk, ThatIsSlowerThanTheSoundDoesNotShutOutAStop) {
  everyWriteTakes = 300;  // and a segment needs one at the least: more than the quarter second that it lasts
  Start(Format(4 * 44100, 2, 16));
  Sleep(1000);
  EXPECT_TRUE(Eventually([&] { return capture.StopREC() == 1 || StateOf(capture) == kStateFileOpen; }, 5000));
  everyWriteTakes = 900;
  while (capture.fileClose() != 1 && StateOf(capture) == kStateFileOpen) Sleep(1);
  everyWriteTakes = 0;
  EXPECT_TRUE(Reaches(kStateReady));
  EXPECT_EQ(Open("second.wav"), 1) << "nothing wakes the thread without a file";
  ExpectEnd(1);
  ExpectFile(1);
}

TEST_F(Disk, ThatIsFullEndsTheRunAndFinishesTheFile) {
  constexpr std::uint32_t kSize = 60;  // the header and one frame
  const test::FileSizeLimit full(kSize);
  device.ignoresClock = true;
  Start();
  EXPECT_TRUE(Reaches(kStateNone));
  EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kFileFailed);
  EXPECT_EQ(GetCaptureReport().fileError, EFBIG);
  EXPECT_EQ(capture.GetSamples(), kSize - kHeaderBytes) << "no more than the file holds";
  ExpectFile((kSize - kHeaderBytes) / 4);
}

// The times of the table in CMMWAVCapture.h, and a run that is left to its thread.
TEST_F(Disk, ThatHangsHoldsUpExitForFiveSecondsAndAnAssignmentForTen) {
  Start();
  StallFor(15900);
  const auto expectSeconds = [](double seconds, const std::function<void()>& call) {
    const auto begin = Clock::now();
    call();
    EXPECT_NEAR(SecondsSince(begin), seconds, 0.4);
  };
  expectSeconds(5, [&] { EXPECT_EQ(capture.Exit(), -2); });
  EXPECT_EQ(capture.ClsThreadDat(), 0) << "all is as it was";
  expectSeconds(10, [&] { capture = CMMWAVCapture(); });
  EXPECT_EQ(capture.Create(Format(44100, 2, 16), &device.id), nullptr) << "the thread lives";
  EXPECT_EQ(WaitForSingleObject(thread, 10000), WAIT_OBJECT_0);
  EXPECT_TRUE(test::CountFrames(file).complete);
  Create();
}

struct Signal {
  const GUID id = platform::kSignalDevice;
};

// What waits in memory is lost with a program that is killed.
TEST(FileOfARecording, LacksNoMoreThanEightKilobytesOrASecond) {
  for (const auto& format : {Format(44100, 2, 16), Format(8000, 1, 8), Format(1000, 1, 8)}) {
    Recording<Signal> take;
    take.Start(format);
    std::int64_t most = 0;
    EXPECT_TRUE(Eventually([&] {
      const std::uint64_t frames = GetCaptureReport().framesInFile;  // before the file is asked
      const auto taken = static_cast<std::int64_t>(frames * format.nBlockAlign);
      most = std::max(most, taken - static_cast<std::int64_t>(std::filesystem::file_size(take.file)));
      return 2 * frames >= 3 * format.nSamplesPerSec;
    }));
    const DWORD second = format.nAvgBytesPerSec;  // a field of its own: those of the format are packed
    EXPECT_LE(most, std::min<DWORD>(second, 8192)) << "of " << second << " bytes a second";
    take.ExpectEnd(1);
  }
}

}  // namespace
