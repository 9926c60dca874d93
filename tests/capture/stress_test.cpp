// Races between device, thread and controller, under load; and what a thousand runs leave behind.

#include <malloc.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>

#include "capture/CMMWAVCapture.h"
#include "tests/capture/CaptureTools.h"
#include "tests/capture/ExpectStream.h"
#include "tests/support/AllocationCounter.h"

namespace {

/// Keeps the processors busy while it lives.
class Load {
 public:
  Load() {
    for (auto& thread : threads_) {
      thread = std::thread([this] {
        while (!done_) std::this_thread::yield();
      });
    }
  }
  ~Load() {
    done_ = true;
    for (auto& thread : threads_) thread.join();
  }
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

 private:
  std::atomic<bool> done_{false};
  std::thread threads_[4];
};

/// Delivers as fast as the drain takes, in pieces of every size.
class Feeder {
 public:
  Feeder(FakeDevice& device, CMMWAVCapture& capture)
      : thread_([this, &device, &capture] {
          std::mt19937 random(1);
          while (!done_) {
            const std::uint64_t waiting = device.Delivered() + base_ - capture.GetSamples();
            if (waiting < device.ringBytes / 4) device.Deliver(static_cast<std::uint32_t>(random() % 700));
          }
        }) {}
  ~Feeder() {
    done_ = true;
    thread_.join();
  }
  Feeder(const Feeder&) = delete;
  Feeder& operator=(const Feeder&) = delete;

  /// Bytes recorded before the present take.
  void SetBase(std::uint64_t bytes) { base_ = bytes; }

 private:
  std::atomic<bool> done_{false};
  std::atomic<std::uint64_t> base_{0};
  std::thread thread_;
};

TEST(CaptureStress, TakesAreWholeUnderLoadAndHeldUpDrains) {
  TempFolder folder;
  FakeDevice device;
  // Two segments come in between the thread's wait and its look at the position, now and then: their
  // notification must not wake it again for what it has taken.
  int calls = 0;
  device.beforePosition = [&calls](FakeDevice& fake) {
    if (++calls % 3 == 0) fake.Deliver(2 * fake.ringBytes / 4);
  };
  const Load load;
  CMMWAVCapture capture;
  const HANDLE thread = capture.Create(Pcm(4096, 1, 8), &device.id);  // segments of 1024 bytes
  ASSERT_NE(thread, nullptr);
  std::optional<Feeder> feeder(std::in_place, device, capture);
  std::mt19937 random(2);
  std::uint64_t drained = 0;
  for (int take = 0; take < 60; ++take) {
    const std::string name = std::to_string(take) + ".wav";
    const std::uint32_t before = capture.GetSamples();
    feeder->SetBase(before);
    ASSERT_EQ(capture.fileOpen(name.c_str(), folder.Path().c_str()), 1) << take;
    ASSERT_EQ(capture.StartREC(), 1) << take;
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 20000));
    ASSERT_EQ(capture.StopREC(), 1) << "take " << take << " ended by itself";
    ASSERT_EQ(capture.fileClose(), 1) << take;
    ExpectStream(folder.File(name), capture.GetSamples() - before);
    drained += capture.GetSamples() - before;
  }
  EXPECT_GT(drained, 60u * 1024);
  feeder.reset();  // it asks the controller, which is one thread's alone from here on
  EXPECT_EQ(capture.Exit(), 1);
  CloseHandle(thread);
}

TEST(CaptureStress, NothingIsAllocatedWhileARecordingRuns) {
  TempFolder folder;
  CMMWAVCapture capture;
  const HANDLE thread =
      capture.Create(Pcm(44100, 2, 16), "take.wav", folder.Path().c_str(), &platform::kSignalDevice);
  ASSERT_EQ(capture.StartREC(), 1);
  while (capture.GetPlayTime() < 0.25) Sleep(1);  // whatever is made at the first use is made by now
  const long blocks = BlocksTaken();
  const std::size_t heap = mallinfo2().uordblks;
  while (capture.GetPlayTime() < 1.5) {
    capture.GetTimeString(nullptr);
    Sleep(5);
  }
  EXPECT_EQ(BlocksTaken(), blocks);
  EXPECT_EQ(mallinfo2().uordblks, heap);
  EXPECT_EQ(capture.Exit(), 1);
  CloseHandle(thread);
}

std::size_t Entries(const char* folder) {
  return static_cast<std::size_t>(
      std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
}

TEST(CaptureStress, AThousandRunsLeaveNothingBehind) {
  TempFolder folder;
  FakeDevice device;
  long blocks = 0;
  std::size_t files = 0;
  std::size_t threads = 0;
  constexpr int kWarmUp = 20;
  for (int run = 0; run < kWarmUp + 1000; ++run) {
    if (run == kWarmUp) {
      blocks = BlocksHeld();
      files = Entries("/proc/self/fd");
      threads = Entries("/proc/self/task");
    }
    CMMWAVCapture capture;
    const HANDLE thread = capture.Create(Pcm(4096, 1, 8), "take.wav", folder.Path().c_str(), &device.id);
    ASSERT_EQ(capture.StartREC(), 1);
    device.Deliver(1024);
    ASSERT_TRUE(Eventually([&] { return capture.GetSamples() == 1024; }));
    ASSERT_EQ(capture.Exit(), 1);
    ASSERT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    CloseHandle(thread);
  }
  EXPECT_TRUE(Eventually([&] { return Entries("/proc/self/task") <= threads; }));
  EXPECT_EQ(Entries("/proc/self/fd"), files);
  EXPECT_TRUE(Eventually([&] { return BlocksHeld() == blocks; })) << BlocksHeld() - blocks;
  EXPECT_EQ(device.objects, 0);
}

TEST(CaptureStress, AHostThatDiesWithoutExitLeavesAFinishedFile) {
  TempFolder folder;
  const std::string file = folder.File("abandoned.wav");
  for (const std::string way : {"leak", "static"}) {
    EXPECT_EQ(std::system((ABANDON_PROGRAM " " + file + " " + way).c_str()), 0) << way;
    const test::Bytes bytes = test::Load(file);
    ASSERT_GE(bytes.size(), kHeaderBytes + 4000) << way;
    EXPECT_EQ(test::Number(bytes, 52), bytes.size() - kHeaderBytes) << way;
  }
}

}  // namespace
