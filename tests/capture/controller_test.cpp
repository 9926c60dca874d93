// A complete recording through the controller, over a device that delivers on command.

#include <cerrno>
#include <tuple>

#include "capture/Messages.h"
#include "tests/capture/Recording.h"

namespace {

/// State and result code; 77: none.
using Status = std::pair<std::uint32_t, std::int32_t>;

/// Expects that nothing is waited for while it exists, with some tolerance for a busy machine.
struct AtOnce {
  const Clock::time_point begin = Clock::now();
  ~AtOnce() { EXPECT_LT(SecondsSince(begin), 0.7); }
};

class Controller : public testing::Test, protected Recording<FakeDevice> {
 protected:
  void Record(std::uint32_t bytes) {
    const std::uint32_t before = capture.GetSamples();
    device.Deliver(bytes);
    ASSERT_TRUE(Eventually([&] { return capture.GetSamples() == before + bytes; }));
  }
  Status StatusNow() {
    Status status(99, 77);
    capture.GetStateAs(&status.first, &status.second);
    return status;
  }
};

TEST_F(Controller, RecordsFromCreateToExit) {
  MessageLog log;
  Create();
  EXPECT_EQ(StatusNow(), Status(kStateReady, 1));
  EXPECT_EQ(Open(), 1);
  EXPECT_EQ(capture.StartREC(), 1);
  Record(3 * 44100);
  EXPECT_EQ(StatusNow(), Status(kStateCapturing, 1));
  EXPECT_DOUBLE_EQ(capture.GetPlayTime(), 0.75);
  std::int32_t level = 0;
  EXPECT_STREQ(capture.GetTimeString(&level), "00:00.75");
  EXPECT_NE(level, 0);
  device.points.clear();
  device.Deliver(44100);  // without a notification: the stop saves it
  EXPECT_EQ(capture.StopREC(), 1);
  EXPECT_EQ(capture.GetSamples(), 4u * 44100);
  EXPECT_EQ(capture.fileClose(), 1);
  ExpectEnd(1);
  ExpectStream(file, 4 * 44100);
  // The results of a run are readable without a thread.
  EXPECT_EQ(StateOf(capture), kStateNone);
  EXPECT_STREQ(capture.GetTimeString(&level), "00:01.00");
  EXPECT_EQ(level, 0);

  using namespace capture;
  std::vector<std::string> said;
  for (const Message& message : {kDeviceCreated, kRingCreated, kNotificationsSet, kThreadStarted, kFileOpened,
                                 kCaptureStarted, kCaptureStopped, kCaptureStopped, kFileClosed,
                                 // Exit stops once more and finds no file to close
                                 kCaptureStopped, kFileCloseFailed, kAllGivenBack, kExitAcknowledged}) {
    said.emplace_back(message.bytes);
  }
  std::erase_if(log.messages, [](const std::string& text) { return text.starts_with("Writing"); });
  EXPECT_EQ(log.messages, said);
}

TEST_F(Controller, RefusesAtOnceWhatTheStateDoesNotAllow) {
  const AtOnce atOnce;
  const auto commands = [&] {
    return std::vector{Open(""), capture.StartREC(), capture.fileClose(), capture.StopREC()};
  };
  EXPECT_EQ(commands(), std::vector({-3, -3, -3, -3}));
  EXPECT_EQ(capture.Exit(), -3);
  EXPECT_EQ(capture.GetTimeString(nullptr), nullptr);
  WAVEFORMATEX incomplete = Format(44100, 2, 16);
  incomplete.nBlockAlign = 0;
  EXPECT_EQ(capture.Create(incomplete, &device.id), nullptr);
  thread = capture.Create(Format(44100, 2, 16), nullptr, nullptr, &device.id);  // no name, no file
  EXPECT_EQ(capture.Create(Format(8000, 1, 8), &device.id), nullptr);
  EXPECT_EQ(capture.fileOpen(nullptr, nullptr), -3);
  EXPECT_EQ(commands(), std::vector({0, 0, 0, 0}));
  EXPECT_EQ(Open(), 1);
  EXPECT_EQ(Open("b.wav"), 0);
  EXPECT_EQ(commands(), std::vector({0, 1, 0, 1})) << "no file is closed that is recorded into";
  EXPECT_EQ(capture.GetFileName(), nullptr) << "but the name goes";
  EXPECT_EQ(capture.fileClose(), 1);
  ExpectEnd(1);
  ExpectStream(file, 0);
}

TEST_F(Controller, FailedActionsShowAsTimeOutAtOnceAndLeaveTheirResult) {
  Create();
  {
    const AtOnce atOnce;
    EXPECT_EQ(Open("missing/take.wav"), -2);
    EXPECT_EQ(StatusNow(), Status(kStateReady, 0));
    EXPECT_EQ(GetCaptureReport().fileError, ENOENT);
    EXPECT_EQ(Open(), 1);
    device.faults.start = DSERR_GENERIC;
    EXPECT_EQ(capture.StartREC(), 1);  // which does not tell
    for (const auto& [fault, code] : {std::pair(HRESULT{1}, 0), {DSERR_GENERIC, -11}, {HRESULT{-5}, 77}}) {
      device.faults.stop = fault;
      EXPECT_EQ(capture.StopREC(), -2);
      EXPECT_EQ(StatusNow(), Status(kStateCapturing, code));
    }
    EXPECT_EQ(GetCaptureReport().deviceResult, -5);
  }
  device.faults.start = S_OK;
  device.faults.stop = S_OK;
  device.faults.stopDelayMs = 1200;
  EXPECT_EQ(capture.StopREC(), -2);
  ASSERT_TRUE(Reaches(kStateFileOpen)) << "it still takes effect";
  device.faults.stopDelayMs = 0;
  device.faults.stop = DSERR_GENERIC;
  EXPECT_EQ(capture.StartREC(), 1);
  EXPECT_EQ(capture.StopREC(), -2) << "not the late reply's 1";
}

TEST_F(Controller, FailedStartUpTellsTheStep) {
  auto& faults = device.faults;
  const std::tuple<std::atomic<HRESULT>&, HRESULT, Status> kSteps[] = {
      {faults.open, DSERR_NODRIVER, {kStateDevice, -8}},
      {faults.ring, DSERR_BADFORMAT, {kStateRing, -12}},
      {faults.notifications, E_FAIL, {kStateNotification, -11}}};
  for (const auto& [fault, value, status] : kSteps) {
    fault = value;
    Create();
    fault = S_OK;
    EXPECT_EQ(StatusNow(), status);
    EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kStartFailed);
    EXPECT_EQ(GetCaptureReport().deviceResult, value);
    EXPECT_EQ(Open(), 0);
    ExpectEnd(-2);
    EXPECT_EQ(device.objects, 0u);
  }
}

TEST_F(Controller, ADeviceThatIsSlowToOpenHoldsUpEachCallForASecond) {
  device.faults.openDelayMs = 2500;
  Create();
  EXPECT_EQ(StateOf(capture), 99u);
  ExpectEnd(1);  // it reaches a thread that is still starting
}

// A device may move its position first and signal a little later, when a drain has already taken that
// segment.
TEST_F(Controller, ALateNotificationDoesNotEndTheRun) {
  Start();
  device.points.erase(device.points.begin());
  Record(2 * 44100);  // one signal for two: the other's may still come
  SetEvent(device.points[0].hEventNotify);
  Sleep(50);
  EXPECT_EQ(StateOf(capture), kStateCapturing);
  Record(44100);
  SetEvent(device.points[0].hEventNotify);
  ASSERT_TRUE(Reaches(kStateNone)) << "a signal for nothing at all";
  EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kDeviceFailed);
  ExpectStream(file, 3 * 44100);
}

TEST_F(Controller, OfADeviceThatDoesNotCountTheClockTellsLosses) {
  Start();
  Record(44100);
  Sleep(1250);  // a ring goes by, as the clock has it
  Record(44100);
  EXPECT_EQ(capture.StopREC(), 1);
  Sleep(900);  // after the stop the clock counts no loss
  EXPECT_EQ(capture.fileClose(), 1);
  const cmm::CaptureReport report = GetCaptureReport();
  EXPECT_EQ(report.overruns, 1u);
  EXPECT_TRUE(report.lossIsEstimate);
  EXPECT_EQ(report.lostFrames, 44100u);
  EXPECT_EQ(report.lastLossAt, 11025u);
}

TEST_F(Controller, DrainOfNoByteEndsTheRunAndFinishesTheFile) {
  for (auto* fault : {&device.faults.position, &device.faults.lock}) {
    Start();
    Record(44100);
    *fault = E_FAIL;
    device.Deliver(44100);
    ASSERT_TRUE(Reaches(kStateNone));
    *fault = S_OK;
    EXPECT_EQ(GetCaptureReport().end, CaptureEnd::kDeviceFailed);
    EXPECT_EQ(GetCaptureReport().deviceResult, E_FAIL);
    ExpectStream(file, 44100);
    // Another controller need not wait for this one's Exit.
    CMMWAVCapture other;
    EXPECT_TRUE(CloseHandle(other.Create(Format(8000, 1, 8), &device.id)));
    ExpectEnd(-2);
  }
}

TEST_F(Controller, CopiesShareAndNeverEndTheirSourcesRun) {
  Start();
  CMMWAVCapture copy(capture);
  EXPECT_EQ(copy.Create(Format(8000, 1, 8), &device.id), nullptr);
  EXPECT_EQ(copy.StopREC(), -3);
  EXPECT_EQ(capture.StopREC(), 1);
  EXPECT_EQ(capture.fileClose(), 1);
  EXPECT_STREQ(copy.GetFileName(), "take.wav");
  ExpectEnd(1);
  EXPECT_EQ(StateOf(copy), kStateCapturing);  // as it was when the copy was made
  EXPECT_EQ(copy.Exit(), -3);
  EXPECT_EQ(CloseHandle(copy.Create(Format(8000, 1, 8), &device.id)), TRUE) << "it is free";
  copy = capture;  // which ends that run
  EXPECT_EQ(device.objects, 0u);
}

TEST_F(Controller, CountsAndTimesRestOnTheBytesRecorded) {
  WAVEFORMATEX odd = Format(22050, 1, 8);
  odd.nBlockAlign = 4;
  Create(odd);
  EXPECT_EQ(capture.GetSampleToByte(0x40000001u), 4u);
  EXPECT_EQ(capture.GetTimeToByte(1), 22048u);
  const std::pair<std::uint32_t, const char*> times[] = {
      {22050 * 65 + 5513, "01:05.25"}, {22050 * 6000, "100:00.00"}, {22050 * 60000, "999:59.99"}};
  for (const auto& [bytes, text] : times) {
    EXPECT_EQ(capture.SetSamples(bytes), 1);
    EXPECT_STREQ(capture.GetTimeString(nullptr), text);
  }
}

}  // namespace
