// The ends that a recording may come to by itself: full disks, the format's limit, failing devices; and a
// day.

#include <cerrno>

#include "tests/capture/FakeDevice.h"
#include "tests/soak/Take.h"
#include "tests/support/FileSizeLimit.h"

namespace {

using cmm::CaptureEnd;
using cmm::GetCaptureReport;

class FullDisk : public testing::TestWithParam<std::size_t> {};
TEST_P(FullDisk, EndsTheRunWithAWholeFile) {
  TempFolder folder;
  const test::FileSizeLimit limit(GetParam());
  soak::Take take(folder.File("take.wav"));
  take.device.unhurried = true;
  ASSERT_EQ(take.capture.StartREC(), 1);
  ASSERT_TRUE(take.EndsByItself(10000));
  const test::Counted counted = test::CountFrames(folder.File("take.wav"));
  EXPECT_TRUE(counted.whole);
  EXPECT_EQ(counted.gaps, 0u);
  EXPECT_EQ(counted.frames, (GetParam() - 56) / 4);
  EXPECT_EQ(take.capture.GetSamples(), GetParam() - 56);
  EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kFileFailed);
  EXPECT_EQ(GetCaptureReport().fileError, EFBIG);
  EXPECT_EQ(GetCaptureReport().framesInFile, counted.frames);
}
INSTANTIATE_TEST_SUITE_P(At, FullDisk, testing::Values(300 << 10, 512 << 10, 777 << 10, 1 << 20));

TEST(Long, ADayInOnePiece) {
  constexpr DWORD kDayRate = 8000;
  constexpr std::uint64_t kDay = std::uint64_t{24} * 3600 * kDayRate;
  TempFolder folder;
  {
    soak::Take take(folder.File("day.wav"), kDayRate);
    take.device.unhurried = true;
    ASSERT_EQ(take.capture.StartREC(), 1);
    while (GetCaptureReport().framesDelivered < kDay && StateOf(take.capture) == kStateCapturing) Sleep(10);
    take.Stop();
    take.Close();
  }
  const test::Counted counted = test::CountFrames(folder.File("day.wav"));
  EXPECT_TRUE(counted.whole);
  EXPECT_EQ(counted.gaps, 0u) << "at " << counted.firstGapAt;
  EXPECT_GE(counted.frames, kDay);
  EXPECT_EQ(GetCaptureReport().framesInFile, counted.frames);
  EXPECT_EQ(GetCaptureReport().overruns, 0u);
}

TEST(Long, UpToTheFormatsLimit) {
  TempFolder folder;
  soak::Take take(folder.File("limit.wav"));
  take.device.unhurried = true;
  ASSERT_EQ(take.capture.StartREC(), 1);
  ASSERT_TRUE(take.EndsByItself(300000));
  EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kFileLimit);
  EXPECT_EQ(GetCaptureReport().fileError, 0);
  const test::Counted counted = test::CountFrames(folder.File("limit.wav"));
  EXPECT_TRUE(counted.whole);
  EXPECT_EQ(counted.gaps, 0u) << "at " << counted.firstGapAt;
  EXPECT_GT(counted.frames, (std::uint64_t{1} << 30) - 32);
  EXPECT_EQ(GetCaptureReport().framesInFile, counted.frames);
}

TEST(Device, FailingCallsEndTheRunWithTheirResult) {
  TempFolder folder;
  for (const bool atLock : {false, true}) {
    soak::Take take(folder.File("take.wav"));
    ASSERT_EQ(take.capture.StartREC(), 1);
    Sleep(700);
    (atLock ? take.device.faults.lock : take.device.faults.position) = DSERR_GENERIC;
    ASSERT_TRUE(take.EndsByItself(1000));
    EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kDeviceFailed);
    EXPECT_EQ(GetCaptureReport().deviceResult, DSERR_GENERIC);
    const test::Counted counted = test::CountFrames(folder.File("take.wav"));
    EXPECT_TRUE(counted.whole && counted.gaps == 0 && counted.frames >= soak::kSegment);
  }
}

TEST(Device, AFailedStartUpTellsStepAndResult) {
  FakeDevice device;
  struct {
    std::atomic<HRESULT>& fault;
    HRESULT value;
    std::uint32_t state;
  } const kSteps[] = {{device.faults.open, DSERR_ALLOCATED, kStateDevice},
                      {device.faults.ring, DSERR_BADFORMAT, kStateRing},
                      {device.faults.query, E_NOINTERFACE, kStateNotification},
                      {device.faults.notifications, E_INVALIDARG, kStateNotification}};
  for (const auto& step : kSteps) {
    step.fault = step.value;
    CMMWAVCapture capture;
    const HANDLE thread = capture.Create(Pcm(44100, 2, 16), &device.id);
    EXPECT_EQ(StateOf(capture), step.state);
    EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kStartFailed);
    EXPECT_EQ(GetCaptureReport().deviceResult, step.value);
    step.fault = S_OK;
    CloseHandle(thread);
  }
}

}  // namespace
