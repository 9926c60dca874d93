// Races between device, thread and controller, under load; and leaks of a thousand runs.

#include <malloc.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <thread>

#include "tests/capture/Recording.h"
#include "tests/support/Holdings.h"

namespace {

// SOAK_TAKES in the environment sets the number of takes.
TEST(CaptureStress, TakesAreCompleteUnderLoadAndHeldUpDrains) {
  const char* const wanted = std::getenv("SOAK_TAKES");
  const int takes = wanted != nullptr ? std::atoi(wanted) : 60;
  Recording<FakeDevice> r;
  // Two segments come in between the thread's wait and its look at the position, now and then: their
  // notification must not wake it again for what it has taken.
  int calls = 0;
  r.device.beforePosition = [&calls](FakeDevice& fake) {
    if (++calls % 3 == 0) fake.Deliver(fake.RingBytes() / 2);
  };
  r.Create(Format(4096, 1, 8));        // segments of 1024 bytes
  std::atomic<std::uint64_t> base{0};  // bytes of the takes before
  // Delivers as fast as the drain takes, in pieces of every size, and asks what any thread may ask.
  std::jthread feeder([&](const std::stop_token& end) {
    for (std::mt19937 random(1); !end.stop_requested();) {
      const std::uint64_t waiting = r.device.delivered + base - r.capture.GetSamples();
      if (waiting < 1024) r.device.Deliver(static_cast<std::uint32_t>(random() % 700));
      const cmm::CaptureReport report = GetCaptureReport();
      EXPECT_LE(report.framesInFile, report.framesDelivered) << "not of one moment";
    }
  });
  const auto load = [end = feeder.get_stop_token()] {
    while (!end.stop_requested()) std::this_thread::yield();
  };
  const std::jthread loads[] = {std::jthread(load), std::jthread(load), std::jthread(load)};
  std::mt19937 random(2);
  for (int take = 0; take < takes && !testing::Test::HasFailure(); ++take) {
    base = r.capture.GetSamples();
    EXPECT_EQ(r.Open(), 1) << take;
    EXPECT_EQ(r.capture.StartREC(), 1) << take;
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 10000));
    EXPECT_EQ(r.capture.StopREC(), 1) << "take " << take << " ended by itself";
    EXPECT_EQ(r.capture.fileClose(), 1) << take;
    ExpectStream(r.file, r.capture.GetSamples() - base);
  }
  EXPECT_GT(r.capture.GetSamples(), static_cast<std::uint32_t>(takes) * 1024);
  feeder.request_stop();
}

TEST(CaptureStress, NothingIsAllocatedWhileARecordingRuns) {
  Recording<FakeDevice> r;
  r.Start(Format(4096, 1, 8));
  const auto record = [&](std::uint32_t bytes) {
    for (; r.capture.GetSamples() < bytes; r.capture.GetTimeString(nullptr)) {
      if (r.device.delivered - r.capture.GetSamples() < 1024) r.device.Deliver(300);
    }
  };
  record(4096);  // everything allocated at the first use is allocated by now
  const std::pair before(BlocksTaken(), mallinfo2().uordblks);
  record(200000);
  EXPECT_EQ(std::pair(BlocksTaken(), mallinfo2().uordblks), before);
  r.ExpectEnd(1);
}

TEST(CaptureStress, AThousandRunsLeaveNothingBehind) {
  Recording<FakeDevice> r;
  Holdings before = HoldingsNow();
  for (int run = 0; run < 1020 && !testing::Test::HasFailure(); ++run) {
    if (run == 20) before = HoldingsNow();
    r.Start(Format(4096, 1, 8));
    r.device.Deliver(1024);
    r.ExpectEnd(1);
    EXPECT_EQ(r.capture.GetSamples(), 1024u);
  }
  EXPECT_TRUE(Eventually([&] { return !HoldsMore(HoldingsNow(), before); }));
}

TEST(CaptureStress, AHostThatDiesWithoutExitLeavesAFinishedFile) {
  TempFolder folder;
  const std::string file = folder.File("take.wav");
  const auto leave = [&] {
    static CMMWAVCapture* const leaked = std::make_unique<CMMWAVCapture>().release();
    leaked->Create(Format(8000, 1, 8), file.c_str(), nullptr, &platform::kSignalDevice);
    leaked->StartREC();
    while (leaked->GetPlayTime() < 0.25) Sleep(5);
    std::exit(0);
  };
  EXPECT_EXIT(leave(), testing::ExitedWithCode(0), "");
  const test::Bytes bytes = test::Load(file);
  ASSERT_GE(bytes.size(), kHeaderBytes + 2000);
  EXPECT_EQ(test::Number(bytes, 52), bytes.size() - kHeaderBytes);
}

}  // namespace
