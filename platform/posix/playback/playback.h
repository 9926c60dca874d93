#pragma once
// The playback of a file on a sound device.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <thread>

#include "platform/posix/playback/sound_output.h"
#include "platform/posix/playback/wave_reader.h"

namespace platform::detail {

/// Plays what a reader gives, on a thread of its own, until its end or the destructor.
///
/// The thread fills the device's buffer and writes again when half of that has been heard, whatever the
/// device's period is. In between, every kDeviceCheckInterval, it asks how far the device has come and
/// whether it has failed. Only the last kDrainTime is left to the device's drain: that is exact about the
/// end, but with a sound server it is a wait that nothing interrupts.
class Playback {
 public:
  /// Starts playing. Throws std::bad_alloc, std::system_error.
  /// @param reader rewound; used by nobody else while this object exists
  /// @param from   frames to leave out at the beginning
  Playback(WaveReader* reader, std::unique_ptr<SoundOutput> output, std::uint64_t from);
  /// Stops as Stop does.
  ~Playback();
  Playback(const Playback&) = delete;
  Playback& operator=(const Playback&) = delete;

  /// @return false: the end has been heard, or the device has failed; the device is closed
  bool Running() const { return running_; }

  /// @return frames heard since the file's beginning, by the latest check; all of them once the end has been
  ///         heard
  std::uint64_t Position() const { return from_ + heard_; }

  /// Silences what has not been heard and closes the device. @return Position
  std::uint64_t Stop();

 private:
  void Run();
  bool WriteFile();
  bool WriteAll(std::span<const BYTE> frames);
  bool AwaitEnd();
  bool WaitWhilePlaying(double frames);
  bool UpdateHeard();

  WaveReader* const reader_;
  std::unique_ptr<SoundOutput> output_;
  const std::uint64_t from_;
  std::uint64_t written_ = 0;             // frames written to the device
  std::atomic<std::uint64_t> heard_ = 0;  // of these, heard
  std::atomic<bool> running_ = true;

  std::mutex lock_;
  std::condition_variable wake_;
  bool stop_ = false;  // guarded by lock_
  std::thread worker_;
};

}  // namespace platform::detail
