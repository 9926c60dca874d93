// The clock of the built-in capture device.
#include "platform/posix/capture/signal_source.h"

#include <algorithm>
#include <new>

#include "platform/posix/capture/limits.h"

namespace platform::detail {
namespace {

/// @return frames in @p time. Seconds and their fraction are multiplied apart, so that no product overflows
///         for years
std::uint64_t FramesIn(std::chrono::nanoseconds time, std::uint64_t rate) {
  const auto nanos = static_cast<std::uint64_t>(time.count());
  constexpr std::uint64_t kSecond = 1'000'000'000;
  return nanos / kSecond * rate + nanos % kSecond * rate / kSecond;
}

}  // namespace

DSCCAPS SignalSource::Caps() const {
  constexpr DWORD kAllTwelve = 0xFFF;  // 11025, 22050 and 44100 Hz, mono and stereo, 8 and 16 bits
  return {sizeof(DSCCAPS), 0, kAllTwelve, 2};
}

HRESULT SignalSource::Configure(const WAVEFORMATEX& format) try {
  if (format.wBitsPerSample != 8 && format.wBitsPerSample != 16) return DSERR_BADFORMAT;
  voice_.emplace(format);
  rate_ = format.nSamplesPerSec;
  block_ = format.nBlockAlign;
  return DS_OK;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

HRESULT SignalSource::Start() {
  voice_->Restart();
  begin_ = nextTick_ = Clock::now();
  delivered_ = ready_ = 0;
  const std::lock_guard lock(lock_);
  woken_ = false;
  return DS_OK;
}

void SignalSource::Wake() {
  {
    const std::lock_guard lock(lock_);
    woken_ = true;
  }
  wake_.notify_one();
}

DWORD SignalSource::Read(BYTE* to, DWORD room, std::chrono::milliseconds timeout) {
  if (ready_ == 0 && WaitForTick(timeout)) Tick(Clock::now());
  const std::uint64_t frames = std::min<std::uint64_t>(ready_, room / block_);
  voice_->Next(to, frames);
  ready_ -= frames;
  delivered_ += frames;
  return static_cast<DWORD>(frames * block_);
}

/// @return false: woken, or the time is over before the tick
bool SignalSource::WaitForTick(std::chrono::milliseconds timeout) {
  const auto limit = Clock::now() + timeout;
  std::unique_lock lock(lock_);
  // A wait until a point in time, not for a duration: ticks do not drift.
  return !wake_.wait_until(lock, std::min(nextTick_, limit), [this] { return woken_; }) && nextTick_ <= limit;
}

void SignalSource::Tick(Clock::time_point now) {
  nextTick_ = begin_ + ((now - begin_) / kSignalTick + 1) * kSignalTick;
  std::uint64_t due = FramesIn(now - begin_, rate_) - delivered_;
  constexpr auto mostLate = static_cast<std::uint64_t>(kSignalMaxLateness.count());
  if (due > mostLate * rate_) {
    const std::uint64_t paused = due / rate_ - mostLate;
    begin_ += std::chrono::seconds(paused);
    due -= paused * rate_;
  }
  ready_ = due;
}

}  // namespace platform::detail
