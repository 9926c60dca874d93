// The capture buffer over a source that gives exactly what the test tells it to.

#include <gtest/gtest.h>

#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "platform/capture_losses.h"
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
  bool gone = false;
  std::uint64_t lost = 0;  // frames
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
    // No end but Wake.
    script_.changed.wait(lock, [&] { return script_.woken || script_.toGive > 0 || script_.gone; });
    if (script_.woken) return 0;
    const DWORD bytes = std::min(room, script_.toGive);
    for (DWORD i = 0; i < bytes; ++i) to[i] = script_.next++;
    script_.toGive -= bytes;
    return bytes;
  }
  bool Gone() const override {
    const std::lock_guard lock(script_.lock);
    return script_.gone && script_.toGive == 0;
  }
  std::uint64_t TakeLost() override {
    const std::lock_guard lock(script_.lock);
    return std::exchange(script_.lost, 0);
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

/// Whether the event was signalled; it is not any more.
bool Taken(HANDLE event) {
  return WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
}

class RingTest : public testing::Test {
 protected:
  RingTest() {
    IDirectSoundCapture* device = nullptr;
    EXPECT_EQ(CaptureDevice::Create(std::make_unique<ScriptedSource>(&script_), &device), DS_OK);
    device_.reset(device);
    buffer_ = MakeBuffer(device, Pcm(1, 8000, 8), kRing);
    notify_ = Query<IDirectSoundNotify>(buffer_.get(), IID_IDirectSoundNotify);
    losses_ = Query<ICaptureLosses>(buffer_.get(), IID_ICaptureLosses);
    for (HANDLE& event : events_) event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  }
  ~RingTest() override {
    for (HANDLE event : events_) CloseHandle(event);
  }

  HRESULT Notify(const std::vector<DSBPOSITIONNOTIFY>& points) {
    return notify_->SetNotificationPositions(static_cast<DWORD>(points.size()), points.data());
  }
  /// As a recording program does it: one event, at the last byte of every segment. And one for the stop.
  void NotifySegments() {
    std::vector<DSBPOSITIONNOTIFY> points = {{DSBPN_OFFSETSTOP, events_[1]}};
    for (DWORD end = kSegment; end <= kRing; end += kSegment) points.push_back({end - 1, events_[0]});
    ASSERT_EQ(Notify(points), DS_OK);
  }
  void Start() { ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK); }
  void Stop() { ASSERT_EQ(buffer_->Stop(), DS_OK); }
  void Offer(DWORD bytes, DWORD lost = 0) {
    const std::lock_guard lock(script_.lock);
    script_.lost = lost;
    script_.toGive = bytes;
    script_.changed.notify_all();
  }
  /// Lets the device capture @p bytes and waits until the position has moved. Takes back no notification.
  void Give(DWORD bytes) {
    const DWORD expected = (Where() + bytes) % kRing;
    Offer(bytes);
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
  /// Lets the device lose some bytes and then capture @p bytes, and waits until the buffer has them all.
  void Feed(DWORD bytes, DWORD lost = 0) {
    const std::uint64_t wanted = Losses().waitingFrames + Losses().lostFrames + bytes + lost;
    Offer(bytes, lost);
    const auto taken = [&] { return Losses().waitingFrames + Losses().lostFrames == wanted; };
    for (int i = 0; i < 10000 && !taken(); ++i) std::this_thread::sleep_for(1ms);
    ASSERT_TRUE(taken());
  }
  CaptureLosses Losses() {
    CaptureLosses losses;
    losses_->GetLosses(&losses);
    return losses;
  }
  /// Goes, with what has been offered.
  void Go() {
    const std::lock_guard lock(script_.lock);
    script_.gone = true;
    script_.changed.notify_all();
  }
  /// What a drain up to the position reads, in whole segments; its bytes are appended.
  HRESULT Drain(std::vector<BYTE>* data) {
    DWORD position = 0;
    const HRESULT result = buffer_->GetCurrentPosition(nullptr, &position);
    const DWORD ready = (position + kRing - drained_) % kRing;
    if (result != DS_OK || ready < kSegment) return result;
    void* parts[2];
    DWORD sizes[2];
    buffer_->Lock(drained_, ready - ready % kSegment, &parts[0], &sizes[0], &parts[1], &sizes[1], 0);
    for (int i = 0; i < 2 && parts[i] != nullptr; ++i) {
      const auto* const from = static_cast<const BYTE*>(parts[i]);
      data->insert(data->end(), from, from + sizes[i]);
      buffer_->Unlock(parts[i], sizes[i], nullptr, 0);
      drained_ = (drained_ + sizes[i]) % kRing;
    }
    return result;
  }
  DWORD Status() {
    DWORD status = 99;
    EXPECT_EQ(buffer_->GetStatus(&status), DS_OK);
    return status;
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
  Com<ICaptureLosses> losses_;
  HANDLE events_[2];
  DWORD drained_ = 0;  // where Drain goes on
};

/// That the bytes count on, from @p first.
void ExpectStream(const std::vector<BYTE>& data, std::size_t begin, std::size_t end, std::size_t first) {
  ASSERT_GE(data.size(), end);
  for (std::size_t i = begin; i < end; ++i) ASSERT_EQ(data[i], static_cast<BYTE>(first + i - begin)) << i;
}

TEST_F(RingTest, SignalsAPointOnceItsByteIsBeforeThePositionOnEveryLap) {
  ASSERT_EQ(Notify({{0, events_[0]}, {kRing - 1, events_[1]}}), DS_OK);
  Start();
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
  Start();
  Give(kSegment + 1);
  ASSERT_TRUE(Taken(events_[0]));
  Give(2 * kSegment);  // the reader is held up between its wait and its look at the position
  EXPECT_EQ(Read(), 3 * kSegment + 1);
  EXPECT_FALSE(Taken(events_[0])) << "woken for data that it has taken";
  Give(kSegment);
  EXPECT_TRUE(Taken(events_[0])) << "the next segment wakes it as ever";
}

TEST_F(RingTest, AnEventThatAlsoTellsOfTheStopIsNotTakenBack) {
  ASSERT_EQ(Notify({{10, events_[0]}, {DSBPN_OFFSETSTOP, events_[0]}}), DS_OK);
  Start();
  Give(20);
  Stop();
  Read();
  EXPECT_TRUE(Taken(events_[0]));
}

TEST_F(RingTest, StopLeavesEverythingForALateDrainAndStartBeginsAnew) {
  NotifySegments();
  Start();
  Give(150);
  EXPECT_EQ(buffer_->Start(0), DS_OK) << "running already: nothing changes";
  EXPECT_EQ(Where(), 150u);
  EXPECT_EQ(Status(), DSCBSTATUS_CAPTURING | DSCBSTATUS_LOOPING);
  Stop();
  EXPECT_EQ(Status(), 0u);
  EXPECT_TRUE(Taken(events_[1]));

  const std::vector<BYTE> kept = Bytes();
  for (DWORD i = 0; i < 150; ++i) ASSERT_EQ(kept[i], i);
  Offer(200);  // more sound, but nobody listens
  std::this_thread::sleep_for(50ms);
  EXPECT_EQ(Bytes(), kept);
  EXPECT_TRUE(Taken(events_[0])) << "the drain that is due still comes";
  EXPECT_EQ(Read(), 150u);
  Stop();
  EXPECT_FALSE(Taken(events_[1])) << "it had stopped before";
  EXPECT_EQ(script_.stops, 1);

  Offer(0);
  Start();
  EXPECT_EQ(Where(), 0u);
  Give(kSegment);
  Stop();
  script_.startResult = DSERR_GENERIC;
  EXPECT_EQ(buffer_->Start(DSCBSTART_LOOPING), DSERR_GENERIC);
  EXPECT_EQ(Where(), kSegment) << "a start that fails changes nothing";
  EXPECT_EQ(Status(), 0u);
  script_.startResult = DS_OK;
  Start();
  EXPECT_FALSE(Taken(events_[0])) << "of the capture before";
  EXPECT_FALSE(Taken(events_[1]));
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
    Stop();
    EXPECT_EQ(script_.stops, run + 1);
    EXPECT_FALSE(Taken(events_[1]));
  }
}

TEST_F(RingTest, GoesRoundForAReaderThatNeverLocks) {
  NotifySegments();
  Start();
  int heard = 0;
  for (int piece = 0; piece < 30; ++piece) {
    Give(kSegment / 2);
    heard += Taken(events_[0]) ? 1 : 0;
  }
  EXPECT_EQ(heard, 15) << "woken on every lap";
  Stop();
  EXPECT_EQ(Losses().overruns, 0u);
  const std::vector<BYTE> ring = Bytes();
  EXPECT_EQ(ring[299], static_cast<BYTE>(3 * kRing + 299));
  EXPECT_EQ(ring[300], static_cast<BYTE>(2 * kRing + 300)) << "the oldest data is overwritten";
}

TEST_F(RingTest, WhatIsNotUnlockedStaysAndTheRestWaits) {
  NotifySegments();
  Start();
  Give(250);
  void* part = nullptr;
  DWORD size = 0;
  ASSERT_EQ(buffer_->Lock(0, 200, &part, &size, nullptr, nullptr, 0), DS_OK);
  const std::vector<BYTE> locked(static_cast<BYTE*>(part), static_cast<BYTE*>(part) + size);
  for (const DWORD bytes : {300u, 1u, 1000u, 57u}) Feed(bytes);  // in one piece or little by little
  EXPECT_EQ(Read(), kRing - 1) << "not round to the reader from behind";
  EXPECT_EQ(std::memcmp(part, locked.data(), size), 0);
  EXPECT_EQ(buffer_->Unlock(part, size, nullptr, 0), DS_OK);
  std::vector<BYTE> data = locked;
  drained_ = 200;
  while (Taken(events_[0])) ASSERT_EQ(Drain(&data), DS_OK);
  ASSERT_EQ(data.size(), 1600u);
  ExpectStream(data, 0, data.size(), 0);
  EXPECT_EQ(Losses().waitingFrames, 8u);
  EXPECT_EQ(Losses().overruns, 0u);
}

// A process may be stopped before its first drain.
TEST_F(RingTest, WaitsForAReaderThatHasNotWokenYet) {
  NotifySegments();
  Start();
  Feed(1000);
  Stop();
  std::vector<BYTE> data;
  while (Taken(events_[0])) ASSERT_EQ(Drain(&data), DS_OK);
  ASSERT_EQ(data.size(), 1000u);
  ExpectStream(data, 0, data.size(), 0);
  EXPECT_EQ(Drain(&data), DS_OK) << "a stop is no loss of the device";
}

TEST_F(RingTest, AFullBacklogLosesOneRingAtATimeAndTellsWhere) {
  constexpr std::uint64_t kBacklog = 60 * 8000;
  NotifySegments();
  Start();
  std::vector<BYTE> data;
  Give(kSegment + 1);
  ASSERT_EQ(Drain(&data), DS_OK);
  Feed(kRing, 5);
  CaptureLosses losses = Losses();
  EXPECT_EQ(losses.overruns, 1u);
  EXPECT_EQ(losses.lostFrames, 5u);
  EXPECT_TRUE(losses.estimated);
  Start();  // while it runs: nothing changes
  EXPECT_EQ(Losses().lostFrames, 5u);
  Stop();
  Start();
  EXPECT_EQ(Losses().overruns, 0u);
  drained_ = 0;
  data.clear();
  script_.next = 0;
  // The ring takes all but a block. What is over then drives out whole rings, whatever the pieces.
  Feed(kRing - 1);
  for (int piece = 0; piece < 10; ++piece) Feed(kBacklog / 10);
  EXPECT_EQ(Losses().overruns, 0u);
  Feed(1);
  Feed(2 * kRing);
  losses = Losses();
  EXPECT_EQ(losses.overruns, 1u) << "one gap";
  EXPECT_EQ(losses.lastLossAt, kRing - 1);
  EXPECT_EQ(losses.lastLossFrames, 3 * kRing);
  EXPECT_FALSE(losses.estimated);
  while (Taken(events_[0])) ASSERT_EQ(Drain(&data), DS_OK);
  ASSERT_EQ(data.size() + Losses().waitingFrames, kRing - 1 + kBacklog + 1 + 2 * kRing - 3 * kRing);
  ExpectStream(data, 0, kRing - 1, 0);
  ExpectStream(data, kRing - 1, data.size(), kRing - 1 + 3 * kRing);
}

TEST_F(RingTest, ADeviceThatIsGoneShowsOnceItsWholeSegmentsAreRead) {
  NotifySegments();
  for (int run = 0; run < 2; ++run) {  // the reader is known to lock in the second
    script_.gone = false;
    script_.next = 0;
    drained_ = 0;
    Start();
    Feed(2 * kRing + 30);
    Go();
    ASSERT_EQ(WaitForSingleObject(events_[1], 10000), WAIT_OBJECT_0) << "it has stopped";
    EXPECT_EQ(Status(), 0u);
    std::vector<BYTE> data;
    HRESULT result = DS_OK;
    while (result == DS_OK && WaitForSingleObject(events_[0], 10000) == WAIT_OBJECT_0) result = Drain(&data);
    EXPECT_EQ(result, DSERR_NODRIVER);
    EXPECT_EQ(Drain(&data), DSERR_NODRIVER) << "until the next start";
    ASSERT_EQ(data.size(), 2 * kRing);
    ExpectStream(data, 0, data.size(), 0);
    Stop();
    EXPECT_EQ(script_.stops, run + 1);
  }
}

TEST_F(RingTest, LockSplitsAtTheEnd) {
  void* parts[2];
  DWORD sizes[2];
  const auto lock = [&](DWORD offset, DWORD bytes) {
    return buffer_->Lock(offset, bytes, &parts[0], &sizes[0], &parts[1], &sizes[1], 0);
  };
  ASSERT_EQ(lock(300, 250), DS_OK);
  EXPECT_EQ(sizes[0], 100u);
  EXPECT_EQ(sizes[1], 150u);
  EXPECT_EQ(static_cast<BYTE*>(parts[1]) + 300, parts[0]);
  EXPECT_EQ(buffer_->Unlock(parts[0], sizes[0], nullptr, 0), DS_OK);
  EXPECT_EQ(buffer_->Unlock(parts[1], sizes[1], nullptr, 0), DS_OK);
  ASSERT_EQ(lock(300, 100), DS_OK);
  EXPECT_EQ(parts[1], nullptr);
  EXPECT_EQ(sizes[1], 0u);
}

TEST_F(RingTest, RefusesWrongArguments) {
  void* part = nullptr;
  DWORD size = 0;
  for (const auto& [offset, bytes] : {std::pair{kRing, 1u}, {0u, 0u}, {0u, kRing + 1}})
    EXPECT_EQ(buffer_->Lock(offset, bytes, &part, &size, nullptr, nullptr, 0), DSERR_INVALIDPARAM);
  ASSERT_EQ(buffer_->Lock(300, 100, &part, &size, nullptr, nullptr, 0), DS_OK);
  for (const auto& [foreign, bytes] : {std::pair<void*, DWORD>{part, 101}, {&part, 1}, {nullptr, 0}})
    EXPECT_EQ(buffer_->Unlock(foreign, bytes, nullptr, 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(Notify({{kRing, events_[0]}}), DSERR_INVALIDPARAM);
  EXPECT_EQ(Notify({{0, nullptr}}), DSERR_INVALIDPARAM);
  EXPECT_EQ(notify_->SetNotificationPositions(1, nullptr), DSERR_INVALIDPARAM);
  EXPECT_EQ(buffer_->Start(2), DSERR_INVALIDPARAM);
  Start();
  EXPECT_EQ(Notify({{0, events_[0]}}), DSERR_INVALIDCALL);
}

TEST_F(RingTest, InterfacesMayBeReleasedInAnyOrderAndWhileCapturing) {
  HRESULT result = DS_OK;
  EXPECT_EQ(MakeBuffer(device_.get(), Pcm(1, 8000, 8), kRing, &result), nullptr);
  EXPECT_EQ(result, DSERR_ALLOCATED) << "one buffer to a device";
  notify_.reset();
  losses_.reset();
  buffer_.reset();
  buffer_ = MakeBuffer(device_.get(), Pcm(1, 8000, 8), kRing);
  ASSERT_NE(buffer_, nullptr);
  device_.reset();
  Start();
  Give(10);
  notify_ = Query<IDirectSoundNotify>(buffer_.get(), IID_IDirectSoundNotify);
  EXPECT_EQ(Query<IUnknown>(buffer_.get(), IID_IUnknown), Query<IUnknown>(notify_.get(), IID_IUnknown));
  EXPECT_EQ(Query<IUnknown>(buffer_.get(), IID_IDirectSoundCapture), nullptr);
  buffer_.reset();
  EXPECT_TRUE(script_.alive);
  notify_.reset();
  EXPECT_FALSE(script_.alive);
  EXPECT_EQ(script_.starts, script_.stops);
}

TEST_F(RingTest, RefusesWrongDescriptions) {
  buffer_.reset();
  notify_.reset();
  losses_.reset();
  struct {
    WAVEFORMATEX format;
    DWORD bytes;
    HRESULT result;
  } wrong[] = {
      {Pcm(1, 8000, 16), 0, DSERR_INVALIDPARAM},
      {Pcm(1, 8000, 16), 3, DSERR_INVALIDPARAM},
      {Pcm(1, 8000, 16), 0x10000000, DSERR_INVALIDPARAM},
      {{2, 1, 8000, 16000, 2, 16, 0}, kRing, DSERR_BADFORMAT},
      {{1, 1, 8000, 16000, 4, 16, 0}, kRing, DSERR_BADFORMAT},
      {{1, 1, 8000, 1, 2, 16, 0}, kRing, DSERR_BADFORMAT},
      {Pcm(0, 8000, 16), kRing, DSERR_BADFORMAT},
      {Pcm(1, 0, 16), kRing, DSERR_BADFORMAT},
      {Pcm(1, 8000, 12), kRing, DSERR_BADFORMAT},
      {Pcm(1, 8000, 32), kRing, DSERR_BADFORMAT},
  };
  for (const auto& each : wrong) {
    HRESULT result = DS_OK;
    EXPECT_EQ(MakeBuffer(device_.get(), each.format, each.bytes, &result), nullptr);
    EXPECT_EQ(result, each.result);
  }
  EXPECT_NE(MakeBuffer(device_.get(), Pcm(1, 8000, 16), kRing), nullptr) << "no refusal has kept the device";
}

}  // namespace
