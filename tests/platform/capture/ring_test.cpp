// The capture buffer over a source that gives exactly what the test sets.

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <numeric>

#include "platform/capture_losses.h"
#include "platform/posix/capture/capture_ring.h"
#include "platform/posix/capture/limits.h"
#include "tests/support/CaptureObjects.h"
#include "tests/support/Threads.h"

namespace {

using namespace std::chrono_literals;
using platform::detail::CaptureDevice;
using platform::detail::CaptureSource;

/// What the test and the source share; it exists longer than the source.
struct Script {
  std::mutex lock;
  std::condition_variable changed;
  DWORD toGive = 0;   // only the source uses it until it is idle
  BYTE next = 0;      // the stream counts its bytes
  bool idle = false;  // the buffer has taken all that there was to give
  bool woken = false;
  bool exists = true;  // the source
  std::atomic<bool> failed = false;
  std::atomic<std::uint64_t> lost = 0;  // frames
  int stops = 0;

  template <class Flag>
  void Set(Flag& flag) {
    const std::lock_guard guard(lock);
    flag = true;
    changed.notify_all();
  }
};

class ScriptedSource final : public CaptureSource {
 public:
  explicit ScriptedSource(Script* script) : script_(*script) {}
  ~ScriptedSource() override { script_.exists = false; }
  DSCCAPS Caps() const override { return {sizeof(DSCCAPS), 0, 1, 1}; }
  HRESULT Configure(const WAVEFORMATEX& format) override {
    return format.wBitsPerSample <= 16 ? DS_OK : DSERR_BADFORMAT;
  }
  HRESULT Start() override {
    script_.woken = false;
    return DS_OK;
  }
  void Stop() override {
    ++script_.stops;
    script_.Set(script_.idle);
  }
  DWORD Read(BYTE* to, DWORD room, std::chrono::milliseconds) override {
    std::unique_lock lock(script_.lock);
    if (script_.toGive == 0) script_.idle = true;
    script_.changed.notify_all();
    // Without the timeout: only Wake ends it.
    script_.changed.wait(lock, [&] { return script_.woken || script_.toGive > 0 || script_.failed; });
    if (script_.woken) return 0;
    const DWORD bytes = std::min(room, script_.toGive);
    std::iota(to, to + bytes, script_.next);
    script_.next = static_cast<BYTE>(script_.next + bytes);
    script_.toGive -= bytes;
    return bytes;
  }
  bool HasFailed() const override { return script_.failed && script_.toGive == 0; }
  std::uint64_t TakeLost() override { return script_.lost.exchange(0); }
  void Wake() override { script_.Set(script_.woken); }

 private:
  Script& script_;
};

constexpr DWORD kRing = 400;
constexpr DWORD kSegment = 100;

/// @return true: the event was signalled; it is reset now
bool Taken(HANDLE event) {
  return WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
}

/// @return bytes @p begin to @p end - 1 of the source's stream
std::vector<BYTE> Stream(std::size_t begin, std::size_t end) {
  std::vector<BYTE> bytes(end - begin);
  std::iota(bytes.begin(), bytes.end(), static_cast<BYTE>(begin));
  return bytes;
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
  }

  HRESULT Notify(const std::vector<DSBPOSITIONNOTIFY>& points) {
    return notify_->SetNotificationPositions(static_cast<DWORD>(points.size()), points.data());
  }
  /// As a recording program does: one event for the last byte of every segment, another one for the stop.
  void StartWithSegments(DWORD flags = DSCBSTART_LOOPING) {
    std::vector<DSBPOSITIONNOTIFY> points = {{DSBPN_OFFSETSTOP, stop_}};
    for (DWORD end = kSegment; end <= kRing; end += kSegment) points.push_back({end - 1, data_});
    ASSERT_EQ(Notify(points), DS_OK);
    ASSERT_EQ(buffer_->Start(flags), DS_OK);
    drained_ = 0;
    heard_.clear();
  }
  /// Lets the device lose some frames and then capture @p bytes, and waits until the buffer has them all.
  void Feed(DWORD bytes, DWORD lost = 0) {
    std::unique_lock lock(script_.lock);
    script_.lost = lost;
    script_.toGive = bytes;
    script_.idle = false;
    script_.changed.notify_all();
    ASSERT_TRUE(script_.changed.wait_for(lock, 10s, [&] { return script_.idle; }));
  }
  HRESULT Read() { return buffer_->GetCurrentPosition(nullptr, &position_); }
  CaptureLosses Losses() {
    CaptureLosses losses;
    losses_->GetLosses(&losses);
    return losses;
  }
  HRESULT Lock(DWORD offset, DWORD bytes) {
    return buffer_->Lock(offset, bytes, &parts_[0], &sizes_[0], &parts_[1], &sizes_[1], 0);
  }
  /// Reads the full segments up to the position.
  HRESULT Drain() {
    const HRESULT result = Read();
    const DWORD ready = (position_ + kRing - drained_) % kRing;
    if (result != DS_OK || ready < kSegment) return result;
    EXPECT_EQ(Lock(drained_, ready - ready % kSegment), DS_OK);
    for (int i = 0; i < 2 && parts_[i] != nullptr; ++i) {
      const auto* const from = static_cast<const BYTE*>(parts_[i]);
      heard_.insert(heard_.end(), from, from + sizes_[i]);
      EXPECT_EQ(buffer_->Unlock(parts_[i], sizes_[i], nullptr, 0), DS_OK);
      drained_ = (drained_ + sizes_[i]) % kRing;
    }
    return result;
  }
  void DrainAll() {
    while (Taken(data_)) ASSERT_EQ(Drain(), DS_OK);
  }

  Script script_;
  Com<IDirectSoundCapture> device_;
  Com<IDirectSoundCaptureBuffer> buffer_;
  Com<IDirectSoundNotify> notify_;
  Com<ICaptureLosses> losses_;
  const test::Handle data_{CreateEventA(nullptr, FALSE, FALSE, nullptr)};
  const test::Handle stop_{CreateEventA(nullptr, FALSE, FALSE, nullptr)};
  void* parts_[2];
  DWORD sizes_[2];
  DWORD position_ = 0;       // as last read
  DWORD drained_ = 0;        // where Drain goes on
  std::vector<BYTE> heard_;  // what it has read
};

TEST_F(RingTest, ReadingThePositionWithdrawsWhatItCoversButNoStop) {
  StartWithSegments();
  Feed(kSegment + 1);
  ASSERT_TRUE(Taken(data_));
  Feed(2 * kSegment);  // comes after the reader's wait, before it reads the position
  Read();
  EXPECT_EQ(position_, 3 * kSegment + 1);
  EXPECT_FALSE(Taken(data_)) << "not woken for data that it has taken";
  Feed(kSegment);
  EXPECT_TRUE(Taken(data_)) << "the next segment wakes it";
  buffer_->Stop();

  ASSERT_EQ(Notify({{10, data_}, {DSBPN_OFFSETSTOP, data_}}), DS_OK);
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  Feed(20);
  buffer_->Stop();
  Read();
  EXPECT_TRUE(Taken(data_));
}

TEST_F(RingTest, StopLeavesEverythingForALateDrainAndStartBeginsAnew) {
  StartWithSegments();
  Feed(150);
  EXPECT_EQ(buffer_->Start(0), DS_OK) << "running already, nothing changes";
  for (const bool signals : {true, false}) {  // once
    EXPECT_EQ(buffer_->Stop(), DS_OK);
    EXPECT_EQ(Taken(stop_), signals);
  }
  EXPECT_EQ(script_.stops, 1);
  ASSERT_TRUE(Taken(data_)) << "the drain that is due still comes";
  EXPECT_EQ(Drain(), DS_OK);
  EXPECT_EQ(heard_, Stream(0, kSegment));

  buffer_->Start(DSCBSTART_LOOPING);
  Feed(kSegment);
  buffer_->Stop();
  buffer_->Start(DSCBSTART_LOOPING);
  EXPECT_FALSE(Taken(data_) || Taken(stop_)) << "of the capture before";
}

TEST_F(RingTest, WithoutLoopingCaptureEndsAtTheRingsEnd) {
  StartWithSegments(0);
  Feed(kRing - 1);
  EXPECT_FALSE(Taken(stop_));
  Feed(1);
  EXPECT_EQ(WaitForSingleObject(stop_, 10000), WAIT_OBJECT_0);
  EXPECT_EQ(script_.stops, 1);
}

TEST_F(RingTest, OverwritesTheOldestDataForAReaderThatNeverLocks) {
  StartWithSegments();
  for (int segment = 0; segment < 15; ++segment) {
    for (const bool ends : {false, true}) {
      Feed(ends ? 1 : kSegment - 1);
      EXPECT_EQ(Taken(data_), ends) << "woken by the last byte of every segment";
    }
  }
  EXPECT_EQ(Losses().overruns, 0u);
  ASSERT_EQ(Lock(0, kRing), DS_OK);
  const auto* const ring = static_cast<const BYTE*>(parts_[0]);
  EXPECT_EQ(ring[299], static_cast<BYTE>(3 * kRing + 299));
  EXPECT_EQ(ring[300], static_cast<BYTE>(2 * kRing + 300)) << "the oldest data is overwritten";
}

TEST_F(RingTest, WhatIsNotUnlockedIsNotOverwrittenAndTheRestWaits) {
  StartWithSegments();
  Feed(250);
  ASSERT_EQ(Lock(0, 200), DS_OK);
  const auto* const part = static_cast<const BYTE*>(parts_[0]);
  for (const DWORD bytes : {300u, 1u, 1000u, 57u}) Feed(bytes);  // in long and short pieces
  Read();
  EXPECT_EQ(position_, kRing - 1) << "one block before what is not unlocked";
  heard_.assign(part, part + 200);
  EXPECT_EQ(buffer_->Unlock(parts_[0], 200, nullptr, 0), DS_OK);
  drained_ = 200;
  DrainAll();
  EXPECT_EQ(heard_, Stream(0, 1600));
  EXPECT_EQ(Losses().waitingFrames, 8u);
  EXPECT_EQ(Losses().overruns, 0u);
}

TEST_F(RingTest, AFullBacklogLosesOneRingAtATimeAndReportsWhere) {
  constexpr DWORD kBacklog = platform::detail::kBacklogTime.count() * 8000;
  StartWithSegments();
  Feed(kSegment, 5);
  EXPECT_EQ(Losses().lostFrames, 5u);
  EXPECT_TRUE(Losses().estimated);
  buffer_->Stop();
  StartWithSegments();
  // The ring takes all but a block. Every excess of the backlog then discards a ring's length.
  script_.next = 0;
  Feed(kRing - 1);
  for (int piece = 0; piece < 10; ++piece) Feed(kBacklog / 10);
  EXPECT_EQ(Losses().overruns, 0u);
  Feed(1);
  Feed(2 * kRing);
  const CaptureLosses losses = Losses();
  EXPECT_EQ(losses.overruns, 1u) << "one gap";
  EXPECT_EQ(losses.lastLossAt, kRing - 1);
  EXPECT_EQ(losses.lastLossFrames, 3 * kRing);
  EXPECT_FALSE(losses.estimated);
  DrainAll();
  ASSERT_EQ(heard_.size() + Losses().waitingFrames, kBacklog);
  std::vector<BYTE> expected = Stream(0, kRing - 1);
  for (BYTE next = Stream(4 * kRing - 1, 4 * kRing)[0]; expected.size() < heard_.size(); ++next)
    expected.push_back(next);
  EXPECT_EQ(heard_, expected);
}

TEST_F(RingTest, AFailedDeviceIsReportedOnceItsFullSegmentsAreRead) {
  for (int run = 1; run <= 2; ++run) {  // in the second the reader has locked before
    script_.failed = false;
    script_.next = 0;
    StartWithSegments();
    Feed(2 * kRing + 30);
    script_.Set(script_.failed);
    ASSERT_EQ(WaitForSingleObject(stop_, 10000), WAIT_OBJECT_0) << "the capture has stopped";
    HRESULT result = DS_OK;
    while (result == DS_OK && WaitForSingleObject(data_, 10000) == WAIT_OBJECT_0) result = Drain();
    EXPECT_EQ(result, DSERR_NODRIVER);
    EXPECT_EQ(Drain(), DSERR_NODRIVER) << "until the next start";
    EXPECT_EQ(heard_, Stream(0, 2 * kRing));
    EXPECT_EQ(buffer_->Stop(), DS_OK);
    EXPECT_EQ(script_.stops, run);
  }
}

TEST_F(RingTest, AFailedDeviceIsReportedAtTheSecondReadOfAReaderWithoutPoints) {
  ASSERT_EQ(Notify({{DSBPN_OFFSETSTOP, stop_}}), DS_OK);
  ASSERT_EQ(buffer_->Start(DSCBSTART_LOOPING), DS_OK);
  Feed(10);
  script_.Set(script_.failed);
  ASSERT_EQ(WaitForSingleObject(stop_, 10000), WAIT_OBJECT_0);
  EXPECT_EQ(Read(), DS_OK);
  EXPECT_EQ(Read(), DSERR_NODRIVER);
}

TEST_F(RingTest, LockSplitsAtTheEndAndWrongArgumentsAreRefused) {
  ASSERT_EQ(Lock(300, 250), DS_OK);
  EXPECT_EQ(sizes_[0], 100u);
  EXPECT_EQ(sizes_[1], 150u);
  EXPECT_EQ(static_cast<BYTE*>(parts_[1]) + 300, parts_[0]);
  EXPECT_EQ(buffer_->Unlock(parts_[0], 100, parts_[1], 150), DS_OK);
  ASSERT_EQ(Lock(300, 100), DS_OK);
  EXPECT_EQ(parts_[1], nullptr);
  EXPECT_EQ(buffer_->Unlock(parts_[0], 101, nullptr, 0), DSERR_INVALIDPARAM);
  EXPECT_EQ(buffer_->Unlock(&script_, 1, nullptr, 0), DSERR_INVALIDPARAM);
  for (const auto& [offset, bytes] : {std::pair{kRing, 1u}, {0u, 0u}, {0u, kRing + 1}})
    EXPECT_EQ(Lock(offset, bytes), DSERR_INVALIDPARAM);
  EXPECT_EQ(Notify({{kRing, data_}}), DSERR_INVALIDPARAM);
  StartWithSegments();
  EXPECT_EQ(Notify({{0, data_}}), DSERR_INVALIDCALL);
}

TEST_F(RingTest, IsTheDevicesOnlyOneAndExistsAsLongAsAnyOfItsInterfaces) {
  const auto made = [this](WORD bits, DWORD bytes) {
    HRESULT result = DS_OK;
    MakeBuffer(device_.get(), Pcm(1, 8000, bits), bytes, &result);
    return result;
  };
  EXPECT_EQ(made(16, kRing), DSERR_ALLOCATED);
  losses_.reset();
  StartWithSegments();
  EXPECT_EQ(Query<IUnknown>(buffer_.get(), IID_IUnknown), Query<IUnknown>(notify_.get(), IID_IUnknown));
  EXPECT_EQ(Query<IUnknown>(buffer_.get(), IID_IDirectSoundCapture), nullptr);
  buffer_.reset();
  EXPECT_EQ(script_.stops, 0);
  notify_.reset();
  EXPECT_EQ(script_.stops, 1);
  for (const DWORD bytes : {0u, 3u, 0x10000000u}) EXPECT_EQ(made(16, bytes), DSERR_INVALIDPARAM);
  for (const WORD bits : {WORD{12}, WORD{32}}) EXPECT_EQ(made(bits, kRing), DSERR_BADFORMAT);
  EXPECT_EQ(made(16, kRing), DS_OK) << "a refusal leaves the device free";
  EXPECT_TRUE(script_.exists);
  device_.reset();
  EXPECT_FALSE(script_.exists);
}

}  // namespace
