// A disk, or a Lock, that takes from a tenth of a second to more than a minute.

#include "tests/soak/Take.h"
#include "tests/support/SystemCalls.h"

namespace {

using cmm::GetCaptureReport;

std::atomic<int> nextWriteTakes{0};  // milliseconds

int DelayWrite(const char* name, int) {
  if (std::string_view(name).starts_with("pwrite")) Sleep(static_cast<DWORD>(nextWriteTakes.exchange(0)));
  return 0;
}

class Stalls : public testing::TestWithParam<int> {
 protected:
  Stalls() { test::HookSystemCalls(DelayWrite); }
  ~Stalls() override { test::HookSystemCalls(nullptr); }
  TempFolder folder;
  const std::string file = folder.File("take.wav");
};

TEST_P(Stalls, WhileItRecords) {
  for (const bool atLock : {false, true}) {
    SCOPED_TRACE(atLock ? "at a Lock" : "at a write");
    soak::Take take(file);
    ASSERT_EQ(take.capture.StartREC(), 1);
    Sleep(600);
    (atLock ? take.device.faults.lockDelayMs : nextWriteTakes) = GetParam();
    Sleep(static_cast<DWORD>(GetParam()) + 700);
    EXPECT_EQ(StateOf(take.capture), kStateCapturing);
    EXPECT_GE(GetCaptureReport().longestDrainMs, static_cast<std::uint32_t>(GetParam()));
    const std::uint64_t delivered = take.Stop();
    take.Close();
    take.ExpectAll(delivered);
  }
}

TEST_P(Stalls, AtTheFlushOfTheFilesEnd) {
  soak::Take take(file);
  ASSERT_EQ(take.capture.StartREC(), 1);
  Sleep(600);
  const std::uint64_t delivered = take.Stop();
  nextWriteTakes = GetParam();
  take.Close();
  take.ExpectAll(delivered);
}

INSTANTIATE_TEST_SUITE_P(Of, Stalls,
                         testing::Values(100, 800, 1000, 1100, 1200, 1300, 1600, 2100, 3000, 5000, 9000));

// Ring and backlog hold a little more than a minute.
class LongStall : public Stalls {};
TEST_P(LongStall, LosesExactlyWhatDoesNotFitAndTellsWhere) {
  soak::Take take(file);
  ASSERT_EQ(take.capture.StartREC(), 1);
  Sleep(600);
  nextWriteTakes = GetParam();
  Sleep(static_cast<DWORD>(GetParam()) + 2000);
  const std::uint64_t delivered = take.Stop();
  take.Close();
  const cmm::CaptureReport report = GetCaptureReport();
  const test::Counted counted = test::CountFrames(file);
  EXPECT_TRUE(counted.whole);
  EXPECT_EQ(counted.gaps, 1u);
  EXPECT_EQ(report.overruns, 1u);
  EXPECT_FALSE(report.lossIsEstimate);
  EXPECT_EQ(static_cast<std::uint64_t>(counted.missing), report.lostFrames);
  EXPECT_EQ(report.lastLossFrames, report.lostFrames);
  EXPECT_EQ(counted.firstGapAt, report.lastLossAt);
  EXPECT_GE(counted.frames + report.lostFrames + soak::kSegment, delivered);
  // In whole rings, and no ring more than needed.
  EXPECT_EQ(report.lostFrames % soak::kRate, 0u);
  const double tooMuch = GetParam() / 1000.0 - 61.0;
  EXPECT_NEAR(static_cast<double>(report.lostFrames) / soak::kRate, tooMuch, 1.5);
}
INSTANTIATE_TEST_SUITE_P(Of, LongStall, testing::Values(70000));

}  // namespace
