#include "platform/posix/mci/playback.h"

#include <algorithm>
#include <chrono>

#include "platform/posix/signals.h"

namespace platform::detail {
namespace {

constexpr double kDrainSeconds = 0.02;   // what is left to the device's draining; how often it is asked
constexpr std::uint32_t kLastPart = 16;  // of the buffer, which a sound server may not account for

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
  return from_ + heard_;
}

void Playback::Run() {
  if (WriteFile()) AwaitEnd();
  const std::int64_t pending = std::max<std::int64_t>(output_->Pending(), 0);
  heard_ = given_ - std::min(given_, static_cast<std::uint64_t>(pending));
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
void Playback::AwaitEnd() {
  const std::int64_t lastPart = output_->BufferFrames() / kLastPart;
  for (auto held = output_->Held(); held > lastPart; held = output_->Held()) {
    if (!Rest(static_cast<double>(held - lastPart / 2))) return;
  }
  const double asked = kDrainSeconds * reader_->Format().nSamplesPerSec;
  if (!Rest(static_cast<double>(output_->Pending()) - asked)) return;
  while (!output_->Drain() && Rest(asked)) continue;
}

/// Sleeps for as long as so many frames sound.
/// @return false as soon as the playback is to stop
bool Playback::Rest(double frames) {
  const auto time = std::chrono::duration<double>(frames / reader_->Format().nSamplesPerSec);
  std::unique_lock lock(lock_);
  return !wake_.wait_for(lock, time, [this] { return stop_; });
}

}  // namespace platform::detail
