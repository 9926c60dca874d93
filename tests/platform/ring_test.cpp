// The capture buffer over a source that gives exactly what the test tells it to.

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "platform/posix/devices/capture_ring.h"
#include "tests/support/Recorder.h"

namespace {

using namespace std::chrono_literals;
using platform::detail::CaptureDevice;
using platform::detail::CaptureSource;

/// What the test and the source share; it outlives the source.
struct Script {
  std::mutex lock;
  std::condition_variable changed;
  DWORD toGive = 0;
  BYTE next = 0;  // the stream counts its bytes
  bool woken = false;
  bool alive = true;
  HRESULT startResult = DS_OK;
  int starts = 0;
  int stops = 0;
};

class ScriptedSource final : public CaptureSource {
 public:
  explicit ScriptedSource(Script* script) : script_(*script) {}
  ~ScriptedSource() override { script_.alive = false; }
  DSCCAPS Caps() const override { return {sizeof(DSCCAPS), 0, 1, 1}; }
  HRESULT Configure(const WAVEFORMATEX& format) override {
    return format.wBitsPerSample == 8 || format.wBitsPerSample == 16 ? DS_OK : DSERR_BADFORMAT;
  }
  HRESULT Start() override {
    ++script_.starts;
    script_.woken = false;
    return script_.startResult;
  }
  void Stop() override { ++script_.stops; }
  DWORD Read(BYTE* to, DWORD room, std::chrono::milliseconds) override {
    std::unique_lock lock(script_.lock);
    script_.changed.wait(lock, [&] { return script_.woken || script_.toGive > 0; });  // no end but Wake
    if (script_.woken) return 0;
    const DWORD bytes = std::min(room, script_.toGive);
    for (DWORD i = 0; i < bytes; ++i) to[i] = script_.next++;
    script_.toGive -= bytes;
    return bytes;
  }
  void Wake() override {
    const std::lock_guard lock(script_.lock);
    script_.woken = true;
    script_.changed.notify_all();
  }

 private:
  Script& script_;
};

constexpr DWORD kRing = 400;
constexpr DWORD kSegment = 100;

class RingTest : public testing::Test {
 protected:
  RingTest() {
    IDirectSoundCapture* device = nullptr;
    EXPECT_EQ(CaptureDevice::Create(std::make_unique<ScriptedSource>(&script_), &device), DS_OK);
    device_.reset(device);
    buffer_ = MakeBuffer(device, Pcm(1, 8000, 8), kRing);
    void* notify = nullptr;
    EXPECT_EQ(buffer_->QueryInterface(IID_IDirectSoundNotify, &notify), S_OK);
    notify_.reset(static_cast<IDirectSoundNotify*>(notify));
    for (HANDLE& event : events_) event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  }
  ~RingTest() override {
    for (HANDLE event : events_) CloseHandle(event);
  }

  /// Lets the device capture @p bytes and waits until the position has moved. Takes back no notification.
  void Give(DWORD bytes) {
    const DWORD expected = (Where() + bytes) % kRing;
    {
      const std::lock_guard lock(script_.lock);
      script_.toGive = bytes;
      script_.changed.notify_all();
    }
    for (int i = 0; i < 10000 && Where() != expected; ++i) std::this_thread::sleep_for(1ms);
    ASSERT_EQ(Where(), expected);
  }
  DWORD Where() {
    DWORD capture = 0;
    buffer_->GetCurrentPosition(&capture, nullptr);
    return capture;
  }
  DWORD Read() {
    DWORD read = 0;
    EXPECT_EQ(buffer_->GetCurrentPosition(nullptr, &read), DS_OK);
    return read;
  }
  DWORD Status() {
    DWORD status = 99;
    EXPECT_EQ(buffer_->GetStatus(&status), DS_OK);
    return status;
  }
  /// Whether the event was signalled; it is not any more.
  bool Taken(HANDLE event) { return WaitForSingleObject(event, 0) == WAIT_OBJECT_0; }
  /// The notifications of a recording: one event, at the last byte of every segment. And one for the stop.
  void NotifySegments() {
    DSBPOSITIONNOTIFY points[5] = {
        {0, nullptr}, {0, nullptr}, {0, nullptr}, {0, nullptr}, {DSBPN_OFFSETSTOP, events_[1]}};
    for (DWORD i = 0; i < 4; ++i) points[i] = {kSegment * (i + 1) - 1, events_[0]};
    ASSERT_EQ(notify_->SetNotificationPositions(5, points), DS_OK);
  }
  std::vector<BYTE> Bytes() {
    void* part = nullptr;
    DWORD size = 0;
    EXPECT_EQ(buffer_->Lock(0, kRing, &part, &size, nullptr, nullptr, 0), DS_OK);
    const auto* const from = static_cast<const BYTE*>(part);
    return {from, from + size};
  }

  Script script_;
  Com<IDirectSoundCapture> device_;
  Com<IDirectSoundCaptureBuffer> buffer_;
  Com<IDirectSoundNotify> notify_;
  HANDLE events_[2];
};

TEST_F(RingTest, SignalsAPointOnceItsByteIsBeforeThePositionOnEveryLap) {
  const DSBPOSITIONNOTIFY points[] = {{0, events_[0]}, {kRing - 1, events_[1]}};
  ASSERT_EQ(notify_->SetNotificationPositions(2, points), DS_OK);
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  for (int lap = 0; lap < 3; ++lap) {
    EXPECT_FALSE(Taken(events_[0]));
    Give(1);
    EXPECT_TRUE(Taken(events_[0]));
    Give(kRing - 2);
    EXPECT_FALSE(Taken(events_[0]));
    EXPECT_FALSE(Taken(events_[1]));
    Give(1);
    EXPECT_TRUE(Taken(events_[1]));
  }
}

TEST_F(RingTest, ReadingThePositionTakesBackWhatItCovers) {
  NotifySegments();
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  Give(kSegment + 1);
  ASSERT_TRUE(Taken(events_[0]));
  Give(2 * kSegment);  // the reader is held up between its wait and its look at the position
  EXPECT_EQ(Read(), 3 * kSegment + 1);
  EXPECT_FALSE(Taken(events_[0])) << "woken for data that it has taken";
  Give(kSegment);
  EXPECT_TRUE(Taken(events_[0])) << "the next segment wakes it as ever";
}

TEST_F(RingTest, AnEventThatAlsoTellsOfTheStopIsNotTakenBack) {
  const DSBPOSITIONNOTIFY points[] = {{10, events_[0]}, {DSBPN_OFFSETSTOP, events_[0]}};
  ASSERT_EQ(notify_->SetNotificationPositions(2, points), DS_OK);
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  Give(20);
  ASSERT_EQ(buffer_->Stop(), DS_OK);
  Read();
  EXPECT_TRUE(Taken(events_[0]));
}

TEST_F(RingTest, StopLeavesEverythingForALateDrainAndStartBeginsAnew) {
  NotifySegments();
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  EXPECT_EQ(Status(), DSCBSTATUS_CAPTURING | DSCBSTATUS_LOOPING);
  Give(150);
  EXPECT_EQ(buffer_->Start(0), DS_OK) << "running already: nothing changes";
  EXPECT_EQ(Where(), 150u);
  EXPECT_EQ(Status(), DSCBSTATUS_CAPTURING | DSCBSTATUS_LOOPING);
  ASSERT_EQ(buffer_->Stop(), DS_OK);
  EXPECT_EQ(Status(), 0u);
  EXPECT_TRUE(Taken(events_[1]));

  const std::vector<BYTE> kept = Bytes();
  for (DWORD i = 0; i < 150; ++i) ASSERT_EQ(kept[i], i);
  {
    const std::lock_guard lock(script_.lock);
    script_.toGive = 200;  // more sound, but nobody listens
    script_.changed.notify_all();
  }
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(Bytes(), kept);
  EXPECT_TRUE(Taken(events_[0])) << "the drain that is due still comes";
  EXPECT_EQ(Read(), 150u);
  EXPECT_EQ(buffer_->Stop(), DS_OK);
  EXPECT_FALSE(Taken(events_[1])) << "it had stopped before";
  EXPECT_EQ(script_.stops, 1);

  script_.toGive = 0;
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  EXPECT_EQ(Where(), 0u);
  Give(kSegment);
  ASSERT_EQ(buffer_->Stop(), DS_OK);
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  EXPECT_FALSE(Taken(events_[0])) << "of the capture before";
  EXPECT_FALSE(Taken(events_[1]));
}

TEST_F(RingTest, AFailedStartChangesNothing) {
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  Give(30);
  ASSERT_EQ(buffer_->Stop(), DS_OK);
  script_.startResult = DSERR_GENERIC;
  EXPECT_EQ(buffer_->Start(DSCBSTART_LOOPING), DSERR_GENERIC);
  EXPECT_EQ(Where(), 30u);
  EXPECT_EQ(Status(), 0u);
  EXPECT_EQ(buffer_->Start(2), DSERR_INVALIDPARAM);
}

TEST_F(RingTest, WithoutLoopingCaptureEndsAtTheRingsEnd) {
  NotifySegments();
  for (int run = 0; run < 2; ++run) {
    ASSERT_EQ(buffer_->Start(0), DS_OK);
    Give(kRing - 1);
    EXPECT_EQ(Status(), DSCBSTATUS_CAPTURING);
    Give(1);
    EXPECT_EQ(WaitForSingleObject(events_[1], 10000), WAIT_OBJECT_0);
    EXPECT_EQ(Status(), 0u);
    EXPECT_EQ(buffer_->Stop(), DS_OK);
    EXPECT_EQ(script_.stops, run + 1);
    EXPECT_FALSE(Taken(events_[1]));
  }
}

TEST_F(RingTest, TheOldestDataIsOverwritten) {
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  Give(kRing - 50);
  Give(100);
  ASSERT_EQ(buffer_->Stop(), DS_OK);
  EXPECT_EQ(Bytes()[49], static_cast<BYTE>(kRing + 49));
  EXPECT_EQ(Bytes()[50], 50);
}

TEST_F(RingTest, LockSplitsAtTheEndAndUnlockKnowsItsOwn) {
  void* part1 = nullptr;
  void* part2 = nullptr;
  DWORD bytes1 = 0;
  DWORD bytes2 = 0;
  ASSERT_EQ(buffer_->Lock(300, 250, &part1, &bytes1, &part2, &bytes2, 0), DS_OK);
  EXPECT_EQ(bytes1, 100u);
  EXPECT_EQ(bytes2, 150u);
  EXPECT_EQ(static_cast<BYTE*>(part2) + 300, part1);
  EXPECT_EQ(buffer_->Unlock(part1, bytes1, nullptr, 0), DS_OK);
  EXPECT_EQ(buffer_->Unlock(part2, bytes2, nullptr, 0), DS_OK);
  EXPECT_EQ(buffer_->Unlock(part1, 101, nullptr, 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(buffer_->Unlock(&part1, 1, nullptr, 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(buffer_->Unlock(nullptr, 0, nullptr, 0), DSERR_INVALIDPARAM);
  ASSERT_EQ(buffer_->Lock(300, 100, &part1, &bytes1, &part2, &bytes2, 0), DS_OK);
  EXPECT_EQ(part2, nullptr);
  EXPECT_EQ(bytes2, 0u);
  for (const auto& [offset, bytes] : {std::pair{kRing, 1u}, {0u, 0u}, {0u, kRing + 1}})
    EXPECT_EQ(buffer_->Lock(offset, bytes, &part1, &bytes1, &part2, &bytes2, 0), DSERR_INVALIDPARAM);
}

TEST_F(RingTest, RefusesWrongNotificationPoints) {
  const DSBPOSITIONNOTIFY beyond = {kRing, events_[0]};
  const DSBPOSITIONNOTIFY nobody = {0, nullptr};
  const DSBPOSITIONNOTIFY good = {0, events_[0]};
  EXPECT_EQ(notify_->SetNotificationPositions(1, &beyond), DSERR_INVALIDPARAM);
  EXPECT_EQ(notify_->SetNotificationPositions(1, &nobody), DSERR_INVALIDPARAM);
  EXPECT_EQ(notify_->SetNotificationPositions(1, nullptr), DSERR_INVALIDPARAM);
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  EXPECT_EQ(notify_->SetNotificationPositions(1, &good), DSERR_INVALIDCALL);
}

TEST_F(RingTest, InterfacesMayBeReleasedInAnyOrderAndWhileCapturing) {
  HRESULT result = DS_OK;
  EXPECT_EQ(MakeBuffer(device_.get(), Pcm(1, 8000, 8), kRing, &result), nullptr);
  EXPECT_EQ(result, DSERR_ALLOCATED) << "one buffer to a device";
  notify_.reset();
  buffer_.reset();
  buffer_ = MakeBuffer(device_.get(), Pcm(1, 8000, 8), kRing);
  ASSERT_NE(buffer_, nullptr);
  device_.reset();
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  Give(10);
  void* unknown1 = nullptr;
  void* unknown2 = nullptr;
  void* notify = nullptr;
  ASSERT_EQ(buffer_->QueryInterface(IID_IUnknown, &unknown1), S_OK);
  ASSERT_EQ(buffer_->QueryInterface(IID_IDirectSoundNotify, &notify), S_OK);
  notify_.reset(static_cast<IDirectSoundNotify*>(notify));
  ASSERT_EQ(notify_->QueryInterface(IID_IUnknown, &unknown2), S_OK);
  EXPECT_EQ(unknown1, unknown2) << "one object, one identity";
  EXPECT_EQ(buffer_->QueryInterface(IID_IDirectSoundCapture, &notify), E_NOINTERFACE);
  EXPECT_EQ(notify, nullptr);
  EXPECT_EQ(buffer_->Release(), 3u);
  EXPECT_EQ(buffer_->Release(), 2u);
  buffer_.reset();
  EXPECT_TRUE(script_.alive);
  notify_.reset();
  EXPECT_FALSE(script_.alive);
  EXPECT_EQ(script_.starts, script_.stops);
}

TEST_F(RingTest, RefusesWrongDescriptions) {
  buffer_.reset();
  notify_.reset();
  HRESULT result = DS_OK;
  for (const DWORD bytes : {0u, 3u, 0x10000000u}) {
    EXPECT_EQ(MakeBuffer(device_.get(), Pcm(1, 8000, 16), bytes, &result), nullptr);
    EXPECT_EQ(result, DSERR_INVALIDPARAM) << bytes;
  }
  WAVEFORMATEX wrong[] = {Pcm(1, 8000, 16), Pcm(1, 8000, 16), Pcm(1, 8000, 16), Pcm(0, 8000, 16),
                          Pcm(1, 0, 16),    Pcm(1, 8000, 12), Pcm(1, 8000, 32)};
  wrong[0].wFormatTag = 2;
  wrong[1].nBlockAlign = 4;
  wrong[2].nAvgBytesPerSec = 1;
  for (const WAVEFORMATEX& format : wrong) {
    EXPECT_EQ(MakeBuffer(device_.get(), format, kRing, &result), nullptr);
    EXPECT_EQ(result, DSERR_BADFORMAT);
  }
  EXPECT_NE(MakeBuffer(device_.get(), Pcm(1, 8000, 16), kRing), nullptr) << "no refusal has kept the device";
}

}  // namespace
