// The thread that plays a file.
#include "platform/posix/playback/playback.h"

#include <algorithm>
#include <chrono>

#include "platform/posix/core/signals.h"
#include "platform/posix/playback/limits.h"

namespace platform::detail {
namespace {

using Clock = std::chrono::steady_clock;

}  // namespace

Playback::Playback(WaveReader* reader, std::unique_ptr<SoundOutput> output, std::uint64_t from)
    : reader_(reader), output_(std::move(output)), from_(from) {
  const SignalsBlocked blocked;
  worker_ = std::thread(&Playback::Run, this);
}

Playback::~Playback() {
  Stop();
}

std::uint64_t Playback::Stop() {
  {
    const std::lock_guard lock(lock_);
    stop_ = true;
  }
  wake_.notify_one();
  if (worker_.joinable()) worker_.join();
  return Position();
}

void Playback::Run() {
  if (WriteFile() && AwaitEnd()) {
    heard_ = written_;
  } else {
    UpdateHeard();
  }
  output_.reset();
  running_ = false;
}

bool Playback::WriteFile() {
  const std::size_t block = reader_->Format().nBlockAlign;
  std::uint64_t skip = from_;
  for (auto piece = reader_->Next(); !piece.empty(); piece = reader_->Next()) {
    const std::uint64_t skipped = std::min<std::uint64_t>(skip, piece.size() / block);
    skip -= skipped;
    if (!WriteAll(piece.subspan(static_cast<std::size_t>(skipped) * block))) return false;
  }
  return true;
}

/// @return false: stopped, or the device has failed
bool Playback::WriteAll(std::span<const BYTE> frames) {
  const std::size_t block = reader_->Format().nBlockAlign;
  for (;;) {
    const std::int64_t taken = output_->Write(frames.data(), frames.size() / block);
    if (taken < 0) return false;
    written_ += static_cast<std::uint64_t>(taken);
    frames = frames.subspan(static_cast<std::size_t>(taken) * block);
    if (frames.empty()) return WaitWhilePlaying(0);
    if (!WaitWhilePlaying(output_->BufferFrames() / 2.0)) return false;
  }
}

/// First by what is queued in the buffer, which shows whether the device plays at all; then by its delay,
/// until kDrainTime is left. With a sound server the delay is an estimate, and never less than the server's
/// own.
/// @return false: stopped, or the device has failed
bool Playback::AwaitEnd() {
  const std::int64_t nearEnd = output_->BufferFrames() / kNearEndDivisor;
  std::int64_t queued = output_->Queued();
  for (; queued > nearEnd; queued = output_->Queued()) {
    if (!WaitWhilePlaying(static_cast<double>(queued) - static_cast<double>(nearEnd) / 2)) return false;
  }
  const std::int64_t delay = output_->Delay();
  if (queued < 0 || delay < 0) return false;
  const double drainFrames =
      std::chrono::duration<double>(kDrainTime).count() * reader_->Format().nSamplesPerSec;
  if (!WaitWhilePlaying(static_cast<double>(delay) - drainFrames)) return false;
  while (!output_->Drain()) {
    if (!WaitWhilePlaying(drainFrames)) return false;
  }
  return true;
}

/// Waits for as long as so many frames play, and checks the device every kDeviceCheckInterval.
/// @return false: the playback is to stop, at once; or the device has failed, at the next check
bool Playback::WaitWhilePlaying(double frames) {
  const std::chrono::duration<double> time(frames / reader_->Format().nSamplesPerSec);
  const auto end = Clock::now() + std::chrono::ceil<Clock::duration>(time);
  for (;;) {
    const auto check = std::min(end, Clock::now() + kDeviceCheckInterval);
    {
      std::unique_lock lock(lock_);
      if (wake_.wait_until(lock, check, [this] { return stop_; })) return false;
    }
    if (check == end) return true;
    if (!UpdateHeard()) return false;
  }
}

/// @return false: the device has failed; heard_ is unchanged
bool Playback::UpdateHeard() {
  const std::int64_t delay = output_->Delay();
  if (delay < 0) return false;
  heard_ = written_ - std::min(written_, static_cast<std::uint64_t>(delay));
  return true;
}

}  // namespace platform::detail
