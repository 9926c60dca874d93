// A whole recording through the controller, over a device that delivers on command.

#include "capture/CMMWAVCapture.h"
#include "capture/CaptureReport.h"
#include "capture/Messages.h"
#include "tests/capture/CaptureTools.h"
#include "tests/capture/ExpectStream.h"

namespace {

const WAVEFORMATEX kFormat = Pcm(44100, 2, 16);

class Controller : public testing::Test {
 protected:
  void CreateAndOpen() {
    thread = capture.Create(kFormat, "take.wav", folder.Path().c_str(), &device.id);
    ASSERT_NE(thread, nullptr);
    ASSERT_EQ(StateOf(capture), kStateFileOpen);
  }

  void Record(std::uint32_t bytes) {
    ASSERT_EQ(capture.StartREC(), 1);
    const std::uint32_t before = capture.GetSamples();
    device.Deliver(bytes);
    ASSERT_TRUE(Eventually([&] { return capture.GetSamples() == before + bytes; }));
  }

  ~Controller() override { CloseHandle(thread); }

  TempFolder folder;
  FakeDevice device;
  CMMWAVCapture capture;
  HANDLE thread = nullptr;
};

TEST_F(Controller, RecordsFromCreateToExit) {
  MessageLog log;
  thread = capture.Create(kFormat, &device.id);
  ASSERT_NE(thread, nullptr);
  EXPECT_EQ(StatusAsOf(capture).state, kStateReady);
  EXPECT_EQ(StatusAsOf(capture).code, 1);

  EXPECT_EQ(capture.fileOpen("take.wav", (folder.Path().string() + "\\").c_str()), 1);
  EXPECT_STREQ(capture.GetFileName(), "take.wav");
  Record(3 * 44100);
  EXPECT_EQ(StateOf(capture), kStateCapturing);
  EXPECT_DOUBLE_EQ(capture.GetPlayTime(), 0.75);
  std::int32_t level = 0;
  EXPECT_STREQ(capture.GetTimeString(&level), "00:00.75");
  EXPECT_NE(level, 0);
  EXPECT_EQ(capture.StopREC(), 1);
  EXPECT_FALSE(device.capturing);
  EXPECT_EQ(capture.fileClose(), 1);
  EXPECT_EQ(capture.GetFileName(), nullptr);
  EXPECT_EQ(StateOf(capture), kStateReady);
  EXPECT_EQ(capture.Exit(), 1);

  ExpectStream(folder.File("take.wav"), 3 * 44100);

  // What a run leaves is readable without a thread.
  EXPECT_EQ(StateOf(capture), kStateNone);
  EXPECT_EQ(capture.GetSamples(), 3u * 44100);
  EXPECT_STREQ(capture.GetTimeString(&level), "00:00.75");
  EXPECT_EQ(level, 0);
  EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
  EXPECT_EQ(device.objects, 0);

  using namespace capture;
  const std::vector<std::string> said = {kDeviceCreated.bytes, kRingCreated.bytes, kNotificationsSet.bytes,
                                         kThreadStarted.bytes, kFileOpened.bytes, kCaptureStarted.bytes,
                                         // one drain or more
                                         kCaptureStopped.bytes, kCaptureStopped.bytes, kFileClosed.bytes,
                                         // Exit stops once more and finds no file to close
                                         kCaptureStopped.bytes, kFileCloseFailed.bytes, kAllGivenBack.bytes,
                                         kExitAcknowledged.bytes};
  auto heard = log.Fetch();
  std::erase_if(heard, [](const std::string& text) { return text.starts_with("Writing"); });
  EXPECT_EQ(heard, said);
}

TEST_F(Controller, RefusesWhatTheStateDoesNotAllow) {
  EXPECT_EQ(capture.StartREC(), -3);
  EXPECT_EQ(capture.StopREC(), -3);
  EXPECT_EQ(capture.fileOpen("", nullptr), -3);
  EXPECT_EQ(capture.fileClose(), -3);
  EXPECT_EQ(capture.Exit(), -3);
  EXPECT_EQ(capture.GetTimeString(nullptr), nullptr);
  EXPECT_EQ(StateOf(capture), kStateNone);
  for (auto field : {&WAVEFORMATEX::wFormatTag, &WAVEFORMATEX::nChannels, &WAVEFORMATEX::nBlockAlign,
                     &WAVEFORMATEX::wBitsPerSample}) {
    WAVEFORMATEX incomplete = kFormat;
    incomplete.*field = 0;
    EXPECT_EQ(capture.Create(incomplete, &device.id), nullptr);
  }

  thread = capture.Create(kFormat, nullptr, nullptr, &device.id);  // without a name there is no file
  ASSERT_NE(thread, nullptr);
  EXPECT_EQ(StateOf(capture), kStateReady);
  EXPECT_EQ(capture.Create(kFormat, &device.id), nullptr);
  EXPECT_EQ(capture.ClsThreadDat(), 0);
  EXPECT_EQ(capture.StartREC(), 0);
  EXPECT_EQ(capture.StopREC(), 0);
  EXPECT_EQ(capture.fileClose(), 0);
  EXPECT_EQ(capture.fileOpen("", nullptr), 0);
  EXPECT_EQ(capture.fileOpen(nullptr, nullptr), -3);
  EXPECT_EQ(capture.fileOpen("a.wav", folder.Path().c_str()), 1);
  EXPECT_EQ(capture.fileOpen("b.wav", folder.Path().c_str()), 0);
  EXPECT_STREQ(capture.GetFileName(), "a.wav");
  EXPECT_EQ(capture.StartREC(), 1);
  EXPECT_EQ(capture.fileClose(), 0);  // still recording; the names go all the same
  EXPECT_EQ(capture.GetFileName(), nullptr);
  EXPECT_EQ(StateOf(capture), kStateCapturing);
  EXPECT_EQ(capture.StopREC(), 1);
  EXPECT_EQ(capture.fileClose(), 1);
  EXPECT_EQ(capture.Exit(), 1);
  EXPECT_EQ(capture.Exit(), -3);
  ExpectStream(folder.File("a.wav"), 0);
}

TEST_F(Controller, FailedActionsShowAsTimeOutAndLeaveTheirResult) {
  thread = capture.Create(kFormat, &device.id);
  EXPECT_EQ(capture.fileOpen("take.wav", folder.File("missing").c_str()), -2);
  EXPECT_EQ(StatusAsOf(capture).state, kStateReady);
  EXPECT_EQ(StatusAsOf(capture).code, 0);
  EXPECT_STREQ(capture.GetFileName(), "take.wav");
  EXPECT_EQ(capture.fileOpen("take2.wav", folder.Path().c_str()), 1);
  EXPECT_STREQ(capture.GetFileName(), "take2.wav");

  EXPECT_EQ(capture.StartREC(), 1);
  device.faults.stop = platform::detail::Result(0x88780032u);
  EXPECT_EQ(capture.StopREC(), -2);
  EXPECT_EQ(StateOf(capture), kStateCapturing);
  EXPECT_EQ(StatusOf(capture).code, device.faults.stop);
  EXPECT_EQ(cmm::GetCaptureReport().deviceResult, device.faults.stop);
  EXPECT_EQ(StatusAsOf(capture).code, 77);  // a result without a code
  device.faults.stop = S_OK;
  EXPECT_EQ(capture.StopREC(), 1);
  EXPECT_EQ(capture.Exit(), 1);
}

TEST_F(Controller, LateReplyIsNotTakenForTheNextCommands) {
  CreateAndOpen();
  ASSERT_EQ(capture.StartREC(), 1);
  device.faults.stopDelayMs = 2500;
  EXPECT_EQ(capture.StopREC(), -2);
  EXPECT_TRUE(Eventually([&] { return StateOf(capture) == kStateFileOpen; }));  // it still took effect
  device.faults.stopDelayMs = 0;
  ASSERT_EQ(capture.StartREC(), 1);
  device.faults.stop = DSERR_GENERIC;
  EXPECT_EQ(capture.StopREC(), -2);  // not the late reply's 1
  EXPECT_EQ(StateOf(capture), kStateCapturing);
  device.faults.stop = S_OK;
  EXPECT_EQ(capture.Exit(), 1);
}

TEST_F(Controller, FailedStartUpTellsTheStep) {
  struct {
    std::atomic<HRESULT>& fault;
    HRESULT value;
    std::uint32_t state;
    std::int32_t code;
    const capture::Message& said;
  } const kSteps[] = {{device.faults.open, DSERR_NODRIVER, kStateDevice, -8, capture::kThreadFailed},
                      {device.faults.ring, DSERR_BADFORMAT, kStateRing, -12, capture::kThreadStarted}};
  for (const auto& step : kSteps) {
    MessageLog log;
    step.fault = step.value;
    const HANDLE started = capture.Create(kFormat, &device.id);
    EXPECT_NE(started, nullptr);
    EXPECT_EQ(StatusAsOf(capture).state, step.state);
    EXPECT_EQ(StatusAsOf(capture).code, step.code);
    EXPECT_EQ(log.Fetch().back(), step.said.bytes);
    EXPECT_EQ(device.objects, 0);
    EXPECT_EQ(capture.StartREC(), 0);
    EXPECT_EQ(capture.Create(kFormat, &device.id), nullptr);
    EXPECT_EQ(capture.Exit(), -2);
    EXPECT_EQ(capture.Exit(), -3);
    CloseHandle(started);
    step.fault = S_OK;
  }
  CreateAndOpen();
  EXPECT_EQ(capture.Exit(), 1);
}

TEST_F(Controller, ExitReachesAThreadThatIsStillStarting) {
  device.faults.openDelayMs = 2000;
  thread = capture.Create(kFormat, &device.id);
  ASSERT_NE(thread, nullptr);
  EXPECT_NE(WaitForSingleObject(thread, 0), WAIT_OBJECT_0);
  EXPECT_EQ(capture.Exit(), 1);
  EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
  EXPECT_EQ(device.objects, 0);
}

// A device may move its position first and signal a little later, when a drain has taken that segment along.
TEST_F(Controller, ALateNotificationDoesNotEndTheRun) {
  CreateAndOpen();
  Record(2 * 44100);  // one signal for two: the other's may still come
  const auto signal = [&] { SetEvent(device.points[0].hEventNotify); };
  signal();
  Sleep(50);
  EXPECT_EQ(StateOf(capture), kStateCapturing);
  device.Deliver(44100);
  ASSERT_TRUE(Eventually([&] { return capture.GetSamples() == 3 * 44100; }));
  signal();
  ASSERT_TRUE(Eventually([&] { return StateOf(capture) == kStateNone; })) << "a signal for nothing at all";
  EXPECT_EQ(cmm::GetCaptureReport().end, cmm::CaptureEnd::kDeviceFailed);
  ExpectStream(folder.File("take.wav"), 3 * 44100);
  EXPECT_EQ(capture.Exit(), -2);
}

TEST_F(Controller, OfADeviceThatDoesNotCountTheClockTellsLosses) {
  CreateAndOpen();
  Record(44100);
  Sleep(2250);  // two rings go by, as the clock has it
  device.Deliver(44100);
  ASSERT_TRUE(Eventually([&] { return capture.GetSamples() == 2 * 44100; }));
  EXPECT_EQ(capture.StopREC(), 1);
  Sleep(1600);  // no sound passes that nobody captures
  EXPECT_EQ(capture.fileClose(), 1);
  const cmm::CaptureReport report = cmm::GetCaptureReport();
  EXPECT_EQ(report.overruns, 1u);
  EXPECT_TRUE(report.lossIsEstimate);
  EXPECT_EQ(report.lostFrames, 2u * 44100);
  EXPECT_EQ(report.lastLossAt, 11025u);
  EXPECT_EQ(capture.Exit(), 1);
}

TEST_F(Controller, DrainOfNoByteEndsTheRunAndFinishesTheFile) {
  CreateAndOpen();
  Record(44100);
  device.faults.position = E_FAIL;
  device.Deliver(44100);
  ASSERT_TRUE(Eventually([&] { return StateOf(capture) == kStateNone; }));
  EXPECT_EQ(StatusOf(capture).code, 1);
  ExpectStream(folder.File("take.wav"), 44100);
  EXPECT_EQ(capture.StopREC(), 0);

  // Another controller need not wait for this one's Exit.
  device.faults.position = S_OK;
  CMMWAVCapture other;
  const HANDLE otherThread = other.Create(kFormat, &device.id);
  EXPECT_NE(otherThread, nullptr);
  EXPECT_EQ(StateOf(other), kStateReady);
  EXPECT_EQ(capture.Exit(), -2);
  EXPECT_EQ(StateOf(other), kStateReady);
  EXPECT_EQ(other.Exit(), 1);
  CloseHandle(otherThread);
}

TEST_F(Controller, FurtherControllersHaveRecordsOfTheirOwn) {
  for (int i = 0; i < 3; ++i) {
    CMMWAVCapture first;
    CMMWAVCapture second;
    const HANDLE running = first.Create(kFormat, "first.wav", folder.Path().c_str(), &device.id);
    ASSERT_EQ(first.StartREC(), 1);
    EXPECT_EQ(second.Create(Pcm(8000, 1, 8), &device.id), nullptr);
    EXPECT_EQ(second.GetSampleRate(), 0u);
    EXPECT_EQ(second.Exit(), -3);
    device.Deliver(2 * 44100);
    EXPECT_TRUE(Eventually([&] { return first.GetSamples() == 2 * 44100; }));
    EXPECT_EQ(first.Exit(), 1);
    CloseHandle(running);
    const HANDLE next = second.Create(Pcm(8000, 1, 8), &device.id);
    EXPECT_NE(next, nullptr);
    EXPECT_EQ(second.GetSampleRate(), 8000u);
    EXPECT_EQ(StateOf(second), kStateReady);
    CloseHandle(next);  // and the destructor ends it
  }
  EXPECT_EQ(device.objects, 0);
}

TEST_F(Controller, CopiesShareAndNeverEndTheirSourcesRun) {
  CreateAndOpen();
  Record(44100);
  {
    CMMWAVCapture copy(capture);
    EXPECT_EQ(copy.GetFileName(), capture.GetFileName());
    EXPECT_EQ(copy.GetSamples(), 44100u);
    EXPECT_EQ(copy.Create(kFormat, &device.id), nullptr);
    EXPECT_EQ(copy.StopREC(), -3);
    EXPECT_EQ(copy.Exit(), -3);
  }
  CMMWAVCapture survivor;
  survivor = capture;
  EXPECT_EQ(StateOf(capture), kStateCapturing);
  EXPECT_EQ(capture.StopREC(), 1);
  EXPECT_EQ(capture.fileClose(), 1);
  EXPECT_STREQ(survivor.GetFileName(), "take.wav");
  EXPECT_EQ(capture.Exit(), 1);
  EXPECT_EQ(StateOf(survivor), kStateCapturing);  // as it was when the copy was made
  EXPECT_EQ(survivor.Exit(), -3);
  CloseHandle(thread);
  thread = survivor.Create(kFormat, &device.id);  // it is free now for a run of its own
  EXPECT_NE(thread, nullptr);
  survivor = capture;  // which ends that run
  EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
}

TEST_F(Controller, CountsAndTimesRestOnTheBytesRecorded) {
  WAVEFORMATEX odd = Pcm(22050, 1, 8);
  odd.nBlockAlign = 4;
  odd.cbSize = 7;
  thread = capture.Create(odd, &device.id);
  WAVEFORMATEX info{};
  EXPECT_EQ(capture.GetFileInfo(&info), 1);
  EXPECT_EQ(info.cbSize, 7);
  EXPECT_EQ(capture.GetDirverID(), &device.id);
  EXPECT_EQ(capture.GetChannels(), 1u);
  EXPECT_EQ(capture.GetSampleSizeInBits(), 8u);
  EXPECT_EQ(capture.GetSampleToByte(0x40000001u), 4u);
  EXPECT_EQ(capture.GetTimeToByte(1), 22048u);
  const std::pair<std::uint32_t, const char*> times[] = {{22050 * 65 + 5513, "01:05.25"},
                                                         {22050 * 60, "01:00.00"},
                                                         {22050 * 6000, "100:00.00"},
                                                         {22050 * 59999 + 22049, "999:59.99"},
                                                         {22050 * 70000, "999:59.99"}};
  for (const auto& [bytes, text] : times) {
    EXPECT_EQ(capture.SetSamples(bytes), 1);
    EXPECT_STREQ(capture.GetTimeString(nullptr), text);
  }
  EXPECT_EQ(capture.Exit(), 1);
}

}  // namespace
