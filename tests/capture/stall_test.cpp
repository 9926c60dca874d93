// A disk that stalls, a device that goes, and what the report says of it. The device counts its frames, so
// that what has reached the file can be told one by one.

#include <gtest/gtest.h>

#include <cerrno>
#include <string_view>

#include "tests/capture/CaptureTools.h"
#include "tests/support/CountingDevice.h"
#include "tests/support/SystemCalls.h"

namespace {

using cmm::CaptureEnd;
using cmm::GetCaptureReport;
using Clock = std::chrono::steady_clock;

std::atomic<int> nextWriteTakes{0};  // milliseconds
std::atomic<int> everyWriteTakes{0};

int DelayWrites(const char* name, int) {
  if (std::string_view(name).starts_with("pwrite")) {
    const int delay = nextWriteTakes.exchange(0) + everyWriteTakes;
    if (delay != 0) std::this_thread::sleep_for(std::chrono::milliseconds(delay));
  }
  return 0;
}

double SecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

class Stall : public testing::Test {
 protected:
  Stall() { test::HookSystemCalls(DelayWrites); }
  ~Stall() override {
    everyWriteTakes = 0;
    test::HookSystemCalls(nullptr);
    CloseHandle(thread);
  }

  void Start(DWORD rate = 44100) {
    thread = capture.Create(Pcm(rate, 2, 16), "take.wav", folder.Path().c_str(), &device.id);
    ASSERT_EQ(capture.StartREC(), 1);
  }
  void ExpectWhole(std::uint64_t leastFrames) {
    const test::Counted file = test::CountFrames(path);
    EXPECT_TRUE(file.whole);
    EXPECT_EQ(file.gaps, 0u) << "at " << file.firstGapAt;
    EXPECT_GE(file.frames, leastFrames);
    EXPECT_EQ(file.frames, capture.GetSamples() / 4);
    EXPECT_EQ(file.frames, GetCaptureReport().framesInFile);
  }

  TempFolder folder;
  const std::string path = folder.File("take.wav");
  test::CountingDevice device;
  CMMWAVCapture capture;
  HANDLE thread = nullptr;
};

TEST_F(Stall, LosesNothingToADiskOrALockThatTakesSeconds) {
  Start();
  ASSERT_TRUE(Eventually([&] { return capture.GetSamples() > 0; }));
  nextWriteTakes = 1300;
  ASSERT_TRUE(Eventually([&] { return GetCaptureReport().longestDrainMs >= 1300; }));
  device.faults.lockDelayMs = 2100;
  Sleep(2300);
  EXPECT_EQ(StateOf(capture), kStateCapturing);
  EXPECT_EQ(capture.StopREC(), 1);
  const std::uint64_t stopped = device.delivered;
  EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kStopped);
  EXPECT_EQ(capture.fileClose(), 1);
  EXPECT_EQ(capture.Exit(), 1);
  ExpectWhole(stopped - 11025 - 1);
  EXPECT_EQ(GetCaptureReport().overruns, 0u);
  EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kExit);
}

TEST_F(Stall, AStopDuringAStallEndsWithWhatWaitsInTheFile) {
  for (const bool byExit : {false, true}) {
    SCOPED_TRACE(byExit);
    Start();
    Sleep(300);
    nextWriteTakes = 1500;
    Sleep(900);  // the stall has begun, with the drain of the second or third segment
    const std::uint64_t before = device.delivered;
    if (!byExit) {
      const auto begin = Clock::now();
      const std::int32_t result = capture.StopREC();
      EXPECT_TRUE(result == 1 || result == -2);
      EXPECT_LT(SecondsSince(begin), 2.2);
      EXPECT_TRUE(Eventually([&] { return StateOf(capture) == kStateFileOpen; }));
    }
    EXPECT_EQ(capture.Exit(), 1);
    ExpectWhole(before - 11025 - 1);
    EXPECT_EQ(GetCaptureReport().overruns, 0u);
    CloseHandle(std::exchange(thread, nullptr));
  }
}

// Notifications go ahead of commands, but not for ever; and what the disk is too slow for is counted.
TEST_F(Stall, ADiskThatIsSlowerThanTheSoundDoesNotShutOutAStop) {
  everyWriteTakes = 400;  // more than a quarter second of sound takes
  Start();
  Sleep(4000);
  const auto begin = Clock::now();
  while (capture.StopREC() != 1 && StateOf(capture) == kStateCapturing) Sleep(1);
  EXPECT_LT(SecondsSince(begin), 5 * 0.9 + 1.0);
  EXPECT_TRUE(Eventually([&] { return StateOf(capture) == kStateFileOpen; }));
  while (capture.fileClose() != 1 && StateOf(capture) == kStateFileOpen) Sleep(1);
  EXPECT_TRUE(Eventually([&] { return StateOf(capture) == kStateReady; }));
  EXPECT_EQ(capture.fileOpen("second.wav", folder.Path().c_str()), 1)
      << "nothing wakes the thread without a file";
  EXPECT_EQ(capture.Exit(), 1);
  const test::Counted file = test::CountFrames(path);
  const cmm::CaptureReport report = GetCaptureReport();
  EXPECT_EQ(file.gaps, 0u);
  EXPECT_EQ(report.framesDelivered, file.frames);
  EXPECT_NEAR(static_cast<double>(file.frames + report.lostFrames), static_cast<double>(device.delivered),
              11026);
}

TEST_F(Stall, ALostDeviceEndsTheRunWithAllItsWholeSegments) {
  Start();
  Sleep(600);
  nextWriteTakes = 1200;
  Sleep(1000);
  const std::uint64_t delivered = device.delivered;
  device.faults.gone = true;
  ASSERT_TRUE(Eventually([&] { return StateOf(capture) == kStateNone; }, 2000));
  ExpectWhole(delivered - 11025);
  const cmm::CaptureReport report = GetCaptureReport();
  EXPECT_EQ(report.end, CaptureEnd::kDeviceLost);
  EXPECT_EQ(report.deviceResult, DSERR_NODRIVER);
  EXPECT_EQ(report.overruns, 0u);
  const auto begin = Clock::now();
  EXPECT_EQ(capture.Exit(), -2);
  EXPECT_LT(SecondsSince(begin), 0.2) << "the thread has ended: there is nothing to wait for";
}

TEST_F(Stall, TheReportTellsWhyARunHasEnded) {
  struct {
    std::atomic<HRESULT>& fault;
    HRESULT value;
    CaptureEnd end;
  } const kFaults[] = {{device.faults.position, DSERR_GENERIC, CaptureEnd::kDeviceFailed},
                       {device.faults.lock, DSERR_INVALIDPARAM, CaptureEnd::kDeviceFailed}};
  for (const auto& each : kFaults) {
    Start();
    Sleep(350);
    each.fault = each.value;
    ASSERT_TRUE(Eventually([&] { return StateOf(capture) == kStateNone; }));
    each.fault = S_OK;
    EXPECT_EQ(GetCaptureReport().end, each.end);
    EXPECT_EQ(GetCaptureReport().deviceResult, each.value);
    ExpectWhole(11025);
    capture.Exit();
    CloseHandle(std::exchange(thread, nullptr));
  }
  const GUID nowhere{1, 2, 3, {}};
  const HANDLE failed = capture.Create(Pcm(44100, 2, 16), &nowhere);
  EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kStartFailed);
  EXPECT_EQ(GetCaptureReport().deviceResult, DSERR_NODRIVER);
  capture.Exit();
  CloseHandle(failed);

  thread = capture.Create(Pcm(44100, 2, 16), &device.id);
  EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kRunning);
  EXPECT_EQ(capture.fileOpen("take.wav", folder.File("missing").c_str()), -2);
  EXPECT_EQ(GetCaptureReport().fileError, ENOENT);
  EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kRunning);
  EXPECT_EQ(capture.Exit(), 1);
}

}  // namespace
