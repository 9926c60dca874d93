// The engine, call by call on the test's own thread, over a device that delivers on command.

#include "capture/CMMCapture.h"
#include "capture/Messages.h"
#include "tests/capture/CaptureTools.h"
#include "tests/capture/ExpectStream.h"
#include "tests/support/AllocationCounter.h"

namespace {

class Engine : public testing::Test {
 protected:
  ~Engine() override {
    engine.Free(0);
    CloseHandle(dat.ownerEvent);
  }

  std::int32_t Init(const WAVEFORMATEX& format) {
    dat = ThreadDAT{};
    dat.deviceGuid = &device.id;
    dat.segmentCount = 4;
    dat.commandCount = kCommandCount;
    dat.format = format;
    dat.ownerEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    return engine.Init(&dat);
  }

  void OpenAndStart() {
    file = folder.File("take.wav");
    dat.fileName = file.data();
    ASSERT_EQ(engine.fOpen(&dat), 1);
    ASSERT_EQ(engine.StartREC(), 1);
  }

  TempFolder folder;
  FakeDevice device;
  CMMCapture engine;
  ThreadDAT dat{};
  std::string file;
};

TEST_F(Engine, RingHasFourQuarterSecondSegmentsOfWholeBlocks) {
  struct {
    WAVEFORMATEX format;
    DWORD segment;
    std::uint32_t segmentCount;
  } const kCases[] = {{Pcm(44100, 2, 16), 44100, 4},
                      {Pcm(22050, 1, 16), 11024, 4},  // 11025 bytes a quarter
                      {Pcm(1500, 1, 8), 1024, 1}};    // the smallest segment
  for (const auto& c : kCases) {
    ASSERT_EQ(Init(c.format), 1);
    EXPECT_EQ(device.ringBytes, 4 * c.segment);
    EXPECT_EQ(device.descSize, sizeof(void*) == 4 ? 20u : 24u);
    ASSERT_EQ(device.points.size(), 4u);
    EXPECT_NE(device.points[0].hEventNotify, nullptr);
    for (DWORD i = 0; i < 4; ++i) {
      EXPECT_EQ(device.points[i].dwOffset, c.segment * (i + 1) - 1);
      EXPECT_EQ(device.points[i].hEventNotify, device.points[0].hEventNotify);
    }
    EXPECT_EQ(dat.segmentCount, c.segmentCount);
    EXPECT_EQ(dat.threadCount, 10);
    EXPECT_EQ(dat.state, kStateNotification);

    OpenAndStart();
    for (const DWORD segments : {3u, 2u, 1u}) {
      device.Deliver(segments * c.segment);
      EXPECT_EQ(engine.Write(), static_cast<std::int32_t>(segments * c.segment));
    }
    EXPECT_EQ(engine.fClose(), 1);
    ExpectStream(file, std::size_t{6} * c.segment);
    engine.Free(0);
    EXPECT_EQ(device.objects, 0);
    CloseHandle(dat.ownerEvent);
  }
}

TEST_F(Engine, DrainTakesWholeSegmentsAndCrossesTheRingsEnd) {
  MessageLog log;
  ASSERT_EQ(Init(Pcm(44100, 2, 16)), 1);
  OpenAndStart();
  log.Fetch();

  device.Deliver(44099);
  std::uint32_t total = 5;
  EXPECT_EQ(engine.RecordData(&total), 1);
  EXPECT_EQ(total, 5u);
  EXPECT_TRUE(log.Fetch().empty());

  device.Deliver(132300 - 44099);
  EXPECT_EQ(engine.RecordData(&total), 0);
  EXPECT_EQ(total, 5u + 132300);
  device.Deliver(132310);
  EXPECT_EQ(engine.Write(), 132300);
  const std::vector<std::string> drains = {
      "Writing 132300 bytes to file from capture buffer starting at offset 0\n",
      "Writing 132300 bytes to file from capture buffer starting at offset 132300\n"};
  EXPECT_EQ(log.Fetch(), drains);

  device.Deliver(88200 - 10);  // up to the ring's very end: one part, and the offset begins anew
  EXPECT_EQ(engine.Write(), 88200);
  EXPECT_EQ(engine.Write(), 0);
  device.Deliver(44100);
  EXPECT_EQ(engine.Write(), 44100);
  EXPECT_EQ(log.Fetch().back(), "Writing 44100 bytes to file from capture buffer starting at offset 0\n");
  EXPECT_EQ(engine.fClose(), 1);
  ExpectStream(file, 132300 * 2 + 88200 + 44100);
}

// The services promise no such thing as the layer does, so a late drain has to do it by itself.
TEST_F(Engine, ALateDrainLeavesNoNotificationForWhatItTook) {
  device.withdraws = false;
  ASSERT_EQ(Init(Pcm(44100, 2, 16)), 1);
  OpenAndStart();
  device.Deliver(44100);
  EXPECT_EQ(engine.MsgWait(1000), 0u);
  int late = 2;  // segments that come just ahead of a look at the position
  device.beforePosition = [&](FakeDevice& fake) {
    if (late-- > 0) fake.Deliver(44100);
  };
  EXPECT_EQ(engine.Write(), 3 * 44100);
  EXPECT_EQ(engine.MsgWait(0), static_cast<std::uint32_t>(WAIT_TIMEOUT));
  device.Deliver(44100);
  EXPECT_EQ(engine.MsgWait(1000), 0u);
  EXPECT_EQ(engine.Write(), 44100);
}

TEST_F(Engine, LevelIsTheHighestSampleOfTheFirstPart) {
  const std::int16_t negative[] = {-300, -20, -400};
  engine.GetMax16(negative, sizeof negative);
  EXPECT_EQ(engine.GetMaxLevel(), -20);
  engine.GetMax16(negative, 1);
  EXPECT_EQ(engine.GetMaxLevel(), -300);
  const std::uint8_t bytes[] = {100, 127, 200, 3};
  engine.GetMax8(bytes, 4);
  EXPECT_EQ(engine.GetMaxLevel(), 200);
  engine.GetMax8(bytes, 0);
  EXPECT_EQ(engine.GetMaxLevel(), 100);

  ASSERT_EQ(Init(Pcm(8192, 1, 8)), 1);  // segments of 2048 bytes
  OpenAndStart();
  device.Deliver(6144 + 37);
  EXPECT_EQ(engine.Write(), 6144);
  device.Deliver(4096);
  EXPECT_EQ(engine.Write(), 4096);  // 2048 before the ring's end and 2048 behind
  int highest = 0;
  for (std::uint64_t k = 6144; k < 8192; ++k) highest = std::max<int>(highest, FakeDevice::Byte(k));
  EXPECT_EQ(engine.GetMaxLevel(), highest);
}

TEST_F(Engine, PlatformFailuresLeaveTheReadPosition) {
  EXPECT_EQ(engine.StartREC(), 0);
  EXPECT_EQ(engine.StopREC(), 0);
  EXPECT_EQ(engine.Write(), 0);
  ASSERT_EQ(Init(Pcm(8192, 1, 8)), 1);
  OpenAndStart();
  device.Deliver(4096);
  device.faults.position = E_FAIL;
  std::uint32_t total = 0;
  EXPECT_EQ(engine.RecordData(&total), E_FAIL);
  EXPECT_EQ(total, 0u);
  device.faults.position = S_OK;
  EXPECT_EQ(engine.Write(), 4096);

  MessageLog log;
  for (const auto& [fault, result] : {std::pair{HRESULT{1}, 0}, {DSERR_GENERIC, DSERR_GENERIC}, {S_OK, 1}}) {
    device.faults.stop = fault;
    EXPECT_EQ(engine.StopREC(), result);
  }
  device.faults.start = DSERR_GENERIC;
  EXPECT_EQ(engine.StartREC(), 1);
  using namespace capture;
  const std::vector<std::string> said = {kCaptureNotStopped.bytes, kCaptureNotStopped.bytes,
                                         kCaptureStopped.bytes, kCaptureNotStarted.bytes};
  EXPECT_EQ(log.Fetch(), said);
}

TEST_F(Engine, StartUpStopsAtTheStepThatFails) {
  MessageLog log;
  const auto attempt = [&](std::atomic<HRESULT>& fault, HRESULT value, std::uint32_t state) {
    fault = value;
    EXPECT_EQ(Init(Pcm(44100, 2, 16)), value);
    EXPECT_EQ(dat.state, state);
    fault = S_OK;
    engine.Free(0);
    EXPECT_EQ(device.objects, 0);
    CloseHandle(dat.ownerEvent);
    const auto said = log.Fetch();
    return said[said.size() - 2];  // the last is that of Free
  };
  using namespace capture;
  EXPECT_EQ(attempt(device.faults.open, DSERR_ALLOCATED, kStateDevice), kDeviceFailed.bytes);
  EXPECT_EQ(attempt(device.faults.ring, DSERR_BADFORMAT, kStateRing), kRingFailed.bytes);
  EXPECT_EQ(attempt(device.faults.query, E_NOINTERFACE, kStateNotification), kNotificationsFailed.bytes);
  EXPECT_EQ(attempt(device.faults.notifications, E_INVALIDARG, kStateNotification),
            kNotificationsFailed.bytes);
}

TEST_F(Engine, StartUpFailsWithoutAllItsEvents) {
  bool complete = false;
  for (long blocks = 0; !complete; ++blocks) {
    dat = ThreadDAT{};
    dat.deviceGuid = &platform::kSignalDevice;
    dat.segmentCount = 4;
    dat.commandCount = kCommandCount;
    dat.format = Pcm(44100, 2, 16);
    LimitBlocks(blocks);
    const std::int32_t result = engine.Init(&dat);
    LimitBlocks(-1);
    complete = result == 1;
    EXPECT_TRUE(complete || result == E_OUTOFMEMORY) << blocks << ": " << result;
    for (const HANDLE reply : dat.replyEvents) EXPECT_TRUE(!complete || reply != nullptr) << blocks;
    engine.Free(0);
  }
}

TEST_F(Engine, CopiesMayBeFreedInAnyOrder) {
  ASSERT_EQ(Init(Pcm(44100, 2, 16)), 1);
  OpenAndStart();
  for (CMMCapture copy(engine); device.objects > 0;) copy.Free(0);
  CMMCapture assigned;
  assigned = engine;
  EXPECT_EQ(engine.Free(0), 1);
  EXPECT_EQ(assigned.Free(0), 1);
}

TEST_F(Engine, NeverSignalsTheOwnerOfAnEarlierRun) {
  ASSERT_EQ(Init(Pcm(44100, 2, 16)), 1);
  EXPECT_EQ(engine.OwnerCall(), 1);
  EXPECT_EQ(WaitForSingleObject(dat.ownerEvent, 0), WAIT_OBJECT_0);
  engine.Free(0);
  EXPECT_EQ(engine.OwnerCall(), 1);  // the end of the run is still to be told
  CloseHandle(dat.ownerEvent);

  device.faults.open = DSERR_NODRIVER;
  EXPECT_EQ(Init(Pcm(44100, 2, 16)), DSERR_NODRIVER);
  EXPECT_EQ(engine.OwnerCall(), 0);
}

TEST_F(Engine, EventsFollowTheCommandIndices) {
  ASSERT_EQ(Init(Pcm(44100, 2, 16)), 1);
  EXPECT_EQ(engine.MsgWait(0), WAIT_TIMEOUT);
  EXPECT_EQ(engine.SetEvent(kCommandStop), 1);
  EXPECT_EQ(engine.MsgWait(0), 1u + kCommandStop);
  ::SetEvent(dat.commandEvents[kCommandExit]);
  EXPECT_EQ(engine.MsgWait(0), 1u + kCommandExit);
  engine.StartREC();
  device.Deliver(44100);
  EXPECT_EQ(engine.MsgWait(0), 0u);  // the notification goes first, once
  EXPECT_EQ(engine.ResetEvent(kCommandExit), 1);
  EXPECT_EQ(engine.MsgWait(0), 1u + kCommandStop);
  EXPECT_EQ(engine.SetRevEvent(kCommandStop), 1);
  EXPECT_EQ(WaitForSingleObject(dat.replyEvents[kCommandStop], 0), WAIT_OBJECT_0);
  EXPECT_EQ(engine.ResetRevEvent(kCommandStop), 1);
  EXPECT_EQ(WaitForSingleObject(dat.replyEvents[kCommandStop], 0), WAIT_TIMEOUT);
  EXPECT_EQ(engine.SetEvent(kCommandCount), 0);
  EXPECT_EQ(engine.SetRevEvent(kCommandCount), 0);
}

}  // namespace
