// The engine, call by call on the test's own thread, over a device that delivers on command.

#include <iconv.h>

#include <tuple>

#include "capture/CMMCapture.h"
#include "capture/Messages.h"
#include "tests/capture/Recording.h"
#include "tests/support/AllocationCounter.h"

namespace {

class Engine : public testing::Test {
 protected:
  ~Engine() override { End(); }

  /// @return the result of Init; after a 1 it captures into a file
  std::int32_t Init(const WAVEFORMATEX& format = Format(44100, 2, 16)) {
    End();
    dat.deviceGuid = &device.id;
    dat.segmentCount = 4;
    dat.commandCount = kCommandCount;
    dat.format = format;
    dat.fileName = file.data();
    dat.ownerEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    const std::int32_t result = engine.Init(&dat);
    EXPECT_TRUE(result != 1 || (engine.fOpen(&dat) == 1 && engine.StartREC() == 1));
    return result;
  }
  void End() {
    engine.fClose();
    engine.Free(0);
    EXPECT_EQ(device.objects, 0u);
    CloseHandle(dat.ownerEvent);
    dat = ThreadDAT{};
  }

  TempFolder folder;
  std::string file = folder.File("take.wav");
  FakeDevice device;
  CMMCapture engine;
  ThreadDAT dat{};
};

TEST_F(Engine, DrainsWholeSegmentsOfAQuarterSecondAndCrossesTheRingsEnd) {
  const std::tuple<WAVEFORMATEX, DWORD, std::uint32_t> kRings[] = {
      {Format(44100, 2, 16), 44100, 4},
      {Format(22050, 1, 16), 11024, 4},  // 11025 bytes a quarter
      {Format(1500, 1, 8), 1024, 1}};    // the smallest segment
  // delivered: segments, which a drain takes, and more bytes, which it leaves
  constexpr DWORD kDeliveries[][2] = {{0, 1000}, {3, 0}, {3, 0}, {1, -1000u}, {0, 0}, {2, 0}};
  for (const auto& [format, segment, segmentCount] : kRings) {
    ASSERT_EQ(Init(format), 1);
    EXPECT_EQ(device.RingBytes(), 4 * segment);
    ASSERT_EQ(device.points.size(), 4u);
    for (DWORD i = 0; i < 4; ++i) EXPECT_EQ(device.points[i].dwOffset, segment * (i + 1) - 1);
    EXPECT_EQ(dat.segmentCount, segmentCount);
    MessageLog log;
    for (const auto& [segments, more] : kDeliveries) {
      device.Deliver(segments * segment + more);
      std::uint32_t total = 5;
      EXPECT_EQ(engine.RecordData(&total), segments != 0 ? 0 : 1);
      EXPECT_EQ(total, 5 + segments * segment);
    }
    ASSERT_EQ(log.messages.size(), 4u) << "one for each drain that found something";
    EXPECT_TRUE(log.messages[3].ends_with(std::to_string(2 * segment) +
                                          " bytes to file from capture buffer starting at offset " +
                                          std::to_string(3 * segment) + "\n"));
    EXPECT_EQ(engine.fClose(), 1);
    ExpectStream(file, std::size_t{9} * segment);
  }
}

TEST_F(Engine, ALateDrainLeavesNoNotificationForWhatItTook) {
  int late = 2;  // segments that come just before a look at the position
  device.beforePosition = [&](FakeDevice& fake) {
    if (late-- > 0) fake.Deliver(44100);
  };
  ASSERT_EQ(Init(), 1);
  device.Deliver(44100);
  EXPECT_EQ(engine.MsgWait(1000), 0u);
  EXPECT_EQ(engine.Write(), 3 * 44100);
  EXPECT_EQ(engine.MsgWait(0), WAIT_TIMEOUT);
  device.Deliver(44100);
  EXPECT_EQ(engine.MsgWait(1000), 0u);
  EXPECT_EQ(engine.Write(), 44100);
}

TEST_F(Engine, LevelIsTheHighestSampleOfTheFirstPart) {
  ASSERT_EQ(Init(Format(4096, 1, 8)), 1);
  for (const int segments : {3, 2}) {  // the last before the ring's end, and a louder one after it
    device.Deliver(static_cast<std::uint32_t>(segments * 1024));
    EXPECT_EQ(engine.Write(), segments * 1024);
  }
  EXPECT_EQ(engine.GetMaxLevel(), 6 + 4095 / 64);
}

TEST_F(Engine, StartUpFailsWithoutAllItsEvents) {
  device.faults.ring = DSERR_BADFORMAT;  // the step after the events
  long blocks = 0;
  for (LimitBlocks(0); Init() == E_OUTOFMEMORY; LimitBlocks(++blocks)) continue;
  LimitBlocks(-1);
  EXPECT_GE(blocks, 1 + 2 * kCommandCount) << "one for each event";
}

TEST_F(Engine, CopiesMayBeFreedInAnyOrder) {
  ASSERT_EQ(Init(), 1);
  CMMCapture copy(engine);
  for (CMMCapture another(copy); device.objects > 0;) another.Free(0);
  EXPECT_EQ(copy.StopREC(), 0);
  EXPECT_EQ(engine.Write(), 0);
  EXPECT_EQ(copy.Free(0), 1);
}

TEST_F(Engine, RepliesLastAndTheEndOfARunIsToldToItsOwnerAlone) {
  ASSERT_EQ(Init(), 1);
  EXPECT_EQ(engine.SetRevEvent(kCommandStop), 1);
  const HANDLE reply = dat.replyEvents[kCommandStop];
  for (int wait = 0; wait < 2; ++wait) EXPECT_EQ(WaitForSingleObject(reply, 0), WAIT_OBJECT_0);
  EXPECT_EQ(engine.SetEvent(kCommandCount) + engine.SetRevEvent(kCommandCount), 0);

  engine.Free(0);
  EXPECT_EQ(engine.OwnerCall(), 1);  // the end of the run is still to be told
  const HANDLE earlier = std::exchange(dat.ownerEvent, nullptr);
  EXPECT_EQ(WaitForSingleObject(earlier, 0), WAIT_OBJECT_0);
  device.faults.open = DSERR_NODRIVER;
  EXPECT_EQ(Init(), DSERR_NODRIVER);
  EXPECT_EQ(engine.OwnerCall(), 0) << "this run has not taken an owner";
  CloseHandle(earlier);
}

// By the system's own converter, which knows nothing of this library.
TEST(Messages, BytesSpellTheTextBesideThem) {
  const iconv_t converter = iconv_open("UTF-8", "CP932");
  for (const capture::Message& message : capture::kMessages) {
    char text[200] = {};
    char *from = const_cast<char*>(message.bytes), *to = text;
    std::size_t fromLeft = std::char_traits<char>::length(from), toLeft = sizeof text;
    iconv(converter, &from, &fromLeft, &to, &toLeft);
    EXPECT_STREQ(text, reinterpret_cast<const char*>(message.text));
  }
  iconv_close(converter);
}

}  // namespace
