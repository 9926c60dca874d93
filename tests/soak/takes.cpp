// Thousands of takes, with a second thread that asks all the while.

#include <cstdlib>
#include <random>

#include "tests/capture/FakeDevice.h"
#include "tests/soak/Take.h"

namespace {

/// Asks what any thread may ask.
class Asker {
 public:
  explicit Asker(CMMWAVCapture& capture)
      : thread_([this, &capture] {
          while (!done_) {
            const cmm::CaptureReport report = cmm::GetCaptureReport();
            // Of one moment: no file holds more than has been handed over.
            if (report.framesInFile > report.framesDelivered) wrong_ = true;
            std::uint32_t state = 0;
            capture.GetState(&state, nullptr);
            capture.GetSamples();
            Sleep(1);
          }
        }) {}
  ~Asker() {
    done_ = true;
    thread_.join();
    EXPECT_FALSE(wrong_);
  }
  Asker(const Asker&) = delete;
  Asker& operator=(const Asker&) = delete;

 private:
  std::atomic<bool> done_{false}, wrong_{false};
  std::thread thread_;
};

// SOAK_TAKES tells how many.
TEST(Takes, AreWholeOneAfterAnother) {
  const char* const wanted = std::getenv("SOAK_TAKES");
  const int takes = wanted != nullptr ? std::atoi(wanted) : 1000;
  TempFolder folder;
  FakeDevice device;
  std::mt19937 random(3);
  CMMWAVCapture capture;
  const HANDLE thread = capture.Create(Pcm(4096, 1, 8), &device.id);  // segments of 1024 bytes
  const Asker asker(capture);
  std::uint64_t delivered = 0;
  for (int take = 0; take < takes; ++take) {
    ASSERT_EQ(capture.fileOpen("take.wav", folder.Path().c_str()), 1) << take;
    ASSERT_EQ(capture.StartREC(), 1) << take;
    const std::uint32_t before = capture.GetSamples();
    for (std::uint32_t piece = 0; piece < random() % 4; ++piece) {
      device.Deliver(static_cast<std::uint32_t>(random() % 1200));
      if (piece % 2 == 1) std::this_thread::yield();
    }
    ASSERT_EQ(capture.StopREC(), 1) << take;
    const std::uint64_t whole = device.Delivered() / 1024 * 1024;
    ASSERT_EQ(capture.fileClose(), 1) << take;
    ASSERT_EQ(capture.GetSamples() - before, whole) << take;
    const test::Bytes file = test::Load(folder.File("take.wav"));
    ASSERT_EQ(file.size(), kHeaderBytes + whole) << take;
    for (std::size_t k = 0; k < whole; ++k)
      ASSERT_EQ(static_cast<std::uint8_t>(file[kHeaderBytes + k]), FakeDevice::Byte(k))
          << take << ", byte " << k;
    delivered += whole;
  }
  EXPECT_GT(delivered, 0u);
  EXPECT_EQ(capture.Exit(), 1);
  CloseHandle(thread);
}

}  // namespace
