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
    heard_ = given_;
  } else {
    NoteHeard();
  }
  output_.reset();
  running_ = false;
}

bool Playback::WriteFile() {
  const std::size_t block = reader_->Format().nBlockAlign;
  std::uint64_t skip = from_;
  for (auto piece = reader_->Next(); !piece.empty(); piece = reader_->Next()) {
    const std::uint64_t leftOut = std::min<std::uint64_t>(skip, piece.size() / block);
    skip -= leftOut;
    if (!WriteAll(piece.subspan(static_cast<std::size_t>(leftOut) * block))) return false;
  }
  return true;
}

/// @return false when stopped, or the device has failed
bool Playback::WriteAll(std::span<const BYTE> frames) {
  const std::size_t block = reader_->Format().nBlockAlign;
  for (;;) {
    const std::int64_t taken = output_->Write(frames.data(), frames.size() / block);
    if (taken < 0) return false;
    given_ += static_cast<std::uint64_t>(taken);
    frames = frames.subspan(static_cast<std::size_t>(taken) * block);
    if (frames.empty()) return Rest(0);
    if (!Rest(output_->BufferFrames() / 2.0)) return false;
  }
}

/// What the buffer holds tells whether the device moves at all, and what is pending how long the last of it
/// takes: with a sound server that is an estimate, and never less than the server's own delay.
/// @return false when stopped, or the device has failed
bool Playback::AwaitEnd() {
  const std::int64_t lastPart = output_->BufferFrames() / kLastPart;
  std::int64_t held = output_->Held();
  for (; held > lastPart; held = output_->Held()) {
    if (!Rest(static_cast<double>(held) - static_cast<double>(lastPart) / 2)) return false;
  }
  const std::int64_t pending = output_->Pending();
  if (held < 0 || pending < 0) return false;
  const double asked = std::chrono::duration<double>(kLastDrain).count() * reader_->Format().nSamplesPerSec;
  if (!Rest(static_cast<double>(pending) - asked)) return false;
  while (!output_->Drain()) {
    if (!Rest(asked)) return false;
  }
  return true;
}

/// Sleeps for as long as so many frames sound, and looks at the device now and then.
/// @return false as soon as the playback is to stop, and soon after the device has failed
bool Playback::Rest(double frames) {
  const std::chrono::duration<double> time(frames / reader_->Format().nSamplesPerSec);
  const auto end = Clock::now() + std::chrono::ceil<Clock::duration>(time);
  for (;;) {
    const auto look = std::min(end, Clock::now() + kLook);
    {
      std::unique_lock lock(lock_);
      if (wake_.wait_until(lock, look, [this] { return stop_; })) return false;
    }
    if (look == end) return true;
    if (!NoteHeard()) return false;
  }
}

/// @return false when the device has failed; what has been heard stays as it was known then
bool Playback::NoteHeard() {
  const std::int64_t pending = output_->Pending();
  if (pending < 0) return false;
  heard_ = given_ - std::min(given_, static_cast<std::uint64_t>(pending));
  return true;
}

}  // namespace platform::detail
