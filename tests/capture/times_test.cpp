// How long the controller's operations take at the most, in every situation: the table in CMMWAVCapture.h.

#include <gtest/gtest.h>

#include <memory>

#include "capture/CaptureReport.h"
#include "tests/capture/CaptureTools.h"
#include "tests/capture/ExpectStream.h"
#include "tests/support/SystemCalls.h"

namespace {

constexpr double kAtOnce = 0.3;  // seconds; with room for a busy machine
constexpr double kSlack = 0.5;

std::atomic<int> writeTakesMs{0};
int DelayWrite(const char* name, int) {
  if (std::string_view(name).starts_with("pwrite")) Sleep(static_cast<DWORD>(writeTakesMs.exchange(0)));
  return 0;
}

/// Seconds that something takes.
double Time(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

class Times : public testing::Test {
 protected:
  Times() { test::HookSystemCalls(DelayWrite); }
  ~Times() override { test::HookSystemCalls(nullptr); }

  void ExpectQueries(double limit) {
    std::uint32_t state = 0;
    EXPECT_LT(Time([&] { capture->GetState(&state, nullptr); }), limit);
    EXPECT_LT(Time([&] { capture->GetPlayTime(); }), limit);
    EXPECT_LT(Time([&] { cmm::GetCaptureReport(); }), 0.05) << "the report waits for nothing";
  }
  void ExpectCommands(double limit) {
    for (const auto command : {&CMMWAVCapture::StartREC, &CMMWAVCapture::StopREC, &CMMWAVCapture::fileClose})
      EXPECT_LT(Time([&] { (capture.get()->*command)(); }), limit);
    EXPECT_LT(Time([&] { capture->fileOpen("other.wav", folder.Path().c_str()); }), limit);
  }
  void ExpectEnd(std::int32_t result, double limit) {
    EXPECT_LT(Time([&] { EXPECT_EQ(capture->Exit(), result); }), limit);
    EXPECT_LT(Time([&] { capture.reset(); }), kAtOnce);
  }
  /// What a destructor has left behind is the thread's, which clears up once it goes on.
  void ExpectLeftBehind(HANDLE thread, const GUID* id) {
    EXPECT_LT(Time([&] { capture.reset(); }), 10 + kSlack);
    EXPECT_EQ(WaitForSingleObject(thread, 0), static_cast<DWORD>(WAIT_TIMEOUT))
        << "it hangs no more: test nothing";
    CMMWAVCapture other;
    EXPECT_EQ(other.Create(Pcm(44100, 2, 16), id), nullptr) << "the thread lives";
    EXPECT_EQ(WaitForSingleObject(thread, 10000), WAIT_OBJECT_0);
    const HANDLE next = other.Create(Pcm(44100, 2, 16), id);
    EXPECT_NE(next, nullptr);
    EXPECT_EQ(StateOf(other), kStateReady);
    EXPECT_EQ(other.Exit(), 1);
    CloseHandle(next);
  }

  TempFolder folder;
  FakeDevice device;
  std::unique_ptr<CMMWAVCapture> capture = std::make_unique<CMMWAVCapture>();
};

TEST_F(Times, WithoutAThreadAndAtWork) {
  ExpectQueries(kAtOnce);
  ExpectCommands(kAtOnce);
  EXPECT_LT(Time([&] { EXPECT_EQ(capture->Exit(), -3); }), kAtOnce);
  HANDLE thread = nullptr;
  EXPECT_LT(Time([&] {
              thread = capture->Create(Pcm(44100, 2, 16), "take.wav", folder.Path().c_str(), &device.id);
            }),
            kAtOnce);
  EXPECT_LT(Time([&] { EXPECT_EQ(capture->StartREC(), 1); }), kAtOnce);
  ExpectQueries(kAtOnce);
  ExpectCommands(kAtOnce);  // stops and closes, and opens another
  ExpectEnd(1, kAtOnce);
  CloseHandle(thread);
}

TEST_F(Times, OfARunThatHasEndedOrNeverBegun) {
  HANDLE thread = capture->Create(Pcm(44100, 2, 16), &device.id);
  const std::string missing = folder.File("missing");
  EXPECT_LT(Time([&] { EXPECT_EQ(capture->fileOpen("a.wav", missing.c_str()), -2); }), kAtOnce)
      << "has failed";
  ASSERT_EQ(capture->fileOpen("take.wav", folder.Path().c_str()), 1);
  ASSERT_EQ(capture->StartREC(), 1);
  device.faults.position = DSERR_NODRIVER;  // the device is lost
  device.Deliver(44100);
  ASSERT_TRUE(Eventually([&] { return StateOf(*capture) == kStateNone; }, 1000));
  ExpectQueries(kAtOnce);
  ExpectCommands(kAtOnce);
  ExpectEnd(-2, kAtOnce);
  CloseHandle(thread);

  device.faults.position = S_OK;
  device.faults.open = DSERR_NODRIVER;
  capture = std::make_unique<CMMWAVCapture>();
  EXPECT_LT(Time([&] { thread = capture->Create(Pcm(44100, 2, 16), &device.id); }), kAtOnce)
      << "a failed start-up";
  EXPECT_EQ(StatusAsOf(*capture).code, -8);
  ExpectEnd(-2, kAtOnce);
  CloseHandle(thread);
}

TEST_F(Times, WithADeviceThatHangs) {
  device.faults.openDelayMs = 18500;
  HANDLE thread = nullptr;
  EXPECT_LT(Time([&] { thread = capture->Create(Pcm(44100, 2, 16), &device.id); }), 1 + kSlack);
  ExpectQueries(1 + kSlack);
  ExpectCommands(1 + kSlack);  // the record cannot be had
  std::thread([this] {
    Sleep(1000);
    device.faults.openDelayMs = 0;  // of the next
  }).detach();
  ExpectLeftBehind(thread, &device.id);
  EXPECT_EQ(device.objects, 0);
  CloseHandle(thread);
}

TEST_F(Times, WithADiskThatHangs) {
  const HANDLE thread = capture->Create(Pcm(44100, 2, 16), "take.wav", folder.Path().c_str(), &device.id);
  ASSERT_EQ(capture->StartREC(), 1);
  writeTakesMs = 18500;
  device.Deliver(3 * 44100);
  Sleep(100);
  ExpectQueries(1 + kSlack);
  EXPECT_LT(Time([&] { EXPECT_EQ(capture->StopREC(), -2); }), 1 + kSlack);
  EXPECT_LT(Time([&] { EXPECT_EQ(capture->Exit(), -2); }), 5 + kSlack);
  EXPECT_EQ(capture->ClsThreadDat(), 0) << "an Exit that has run out leaves all as it is";
  EXPECT_EQ(capture->Create(Pcm(44100, 2, 16), &device.id), nullptr);
  ExpectLeftBehind(thread, &device.id);
  ExpectStream(folder.File("take.wav"), 3 * 44100);
  CloseHandle(thread);
}

}  // namespace
