// A disk, or a Lock, that takes from a tenth of a second to more than a minute; and hours of sound.

#include "tests/soak/Take.h"
#include "tests/support/SystemCalls.h"

namespace {

std::atomic<int> nextWriteTakes{0};  // milliseconds

int DelayWrite(const char* name, int) {
  if (std::string_view(name).starts_with("pwrite")) Sleep(static_cast<DWORD>(nextWriteTakes.exchange(0)));
  return 0;
}

std::atomic<int> nextLockTakes{0};  // milliseconds

// A drain's debug message comes just before its Lock.
void DelayLock(void*, const char*) {
  Sleep(static_cast<DWORD>(nextLockTakes.exchange(0)));
}

struct SlowDisk : testing::Test {
  SlowDisk() {
    test::HookSystemCalls(DelayWrite);
    platform::SetDebugSink(DelayLock, nullptr);
  }
  ~SlowDisk() override {
    platform::SetDebugSink(nullptr, nullptr);
    test::HookSystemCalls(nullptr);
  }
};
struct Stalls : SlowDisk, testing::WithParamInterface<int> {};
struct LongStall : SlowDisk {};

enum class At { kWrite, kLock, kLastWrite };

TEST_P(Stalls, LoseNothing) {
  for (const At at : {At::kWrite, At::kLock, At::kLastWrite}) {
    SCOPED_TRACE(static_cast<int>(at));
    soak::Take take;
    Sleep(600);
    if (at == At::kWrite) nextWriteTakes = GetParam();
    if (at == At::kLock) nextLockTakes = GetParam();
    if (at != At::kLastWrite) {
      Sleep(static_cast<DWORD>(GetParam()) + 700);
      EXPECT_EQ(StateOf(take.capture), kStateCapturing);
      EXPECT_GE(GetCaptureReport().longestDrainMs, static_cast<std::uint32_t>(GetParam()));
    }
    const std::uint64_t delivered = take.Stop();
    if (at == At::kLastWrite) nextWriteTakes = GetParam();
    const test::Counted counted = take.Close();
    EXPECT_GE(counted.frames + soak::kSegment, delivered);
    EXPECT_LE(counted.frames, delivered);
  }
}
INSTANTIATE_TEST_SUITE_P(Of, Stalls, testing::Values(100, 800, 1000, 1200, 1600, 2100, 3000, 5000, 9000));

// Ring and backlog hold a little more than a minute.
TEST_F(LongStall, LosesExactlyWhatDoesNotFitAndTellsWhere) {
  constexpr int kStall = 70000;
  soak::Take take;
  Sleep(600);
  nextWriteTakes = kStall;
  Sleep(kStall + 2000);
  const std::uint64_t delivered = take.Stop();
  const test::Counted counted = take.Close(1);
  const cmm::CaptureReport report = GetCaptureReport();
  EXPECT_FALSE(report.lossIsEstimate);
  EXPECT_EQ(static_cast<std::uint64_t>(counted.missing), report.lostFrames);
  EXPECT_EQ(report.lastLossFrames, report.lostFrames);
  EXPECT_EQ(counted.firstGapAt, report.lastLossAt);
  EXPECT_GE(counted.frames + report.lostFrames + soak::kSegment, delivered);
  EXPECT_EQ(report.lostFrames % soak::kRate, 0u) << "not in complete rings";
  EXPECT_NEAR(static_cast<double>(report.lostFrames) / soak::kRate, kStall / 1000.0 - 61.0, 1.5);
}

TEST(Long, ADayInOnePiece) {
  constexpr std::uint64_t kDay = std::uint64_t{24} * 3600 * 8000;
  soak::Take take(8000, true);
  while (GetCaptureReport().framesDelivered < kDay && StateOf(take.capture) == kStateCapturing) Sleep(10);
  take.Stop();
  EXPECT_GE(take.Close().frames, kDay);
}

TEST(Long, UpToTheFormatsLimit) {
  soak::Take take(soak::kRate, true);
  ASSERT_TRUE(Eventually([&] { return StateOf(take.capture) == kStateNone; }, 300000));
  EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kFileLimit);
  EXPECT_EQ(GetCaptureReport().fileError, 0);
  EXPECT_GT(take.Close().frames, (std::uint64_t{1} << 30) - 32);
}

}  // namespace
