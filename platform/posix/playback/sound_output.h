#pragma once
// The interface between media control and a system's output devices.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/posix/mci.h"

namespace platform::detail {

/// An opened device, in the format that it was opened for. One thread at a time. It begins to play with the
/// first Write. No call throws.
class SoundOutput {
 public:
  /// Silences what has not been heard yet, and closes the device.
  virtual ~SoundOutput() = default;

  /// @return size of the device's buffer in frames; above 0
  virtual std::uint32_t BufferFrames() const = 0;

  /// Writes as many frames as there is room for, without waiting.
  /// @return frames written
  /// @return -1: the device has failed for good
  virtual std::int64_t Write(const BYTE* frames, std::size_t count) = 0;

  /// @return frames in the device's buffer
  /// @return -1: the device has failed for good
  virtual std::int64_t Queued() = 0;

  /// @return frames written and not heard yet, by the device's own count or estimate
  /// @return -1: the device has failed for good
  virtual std::int64_t Delay() = 0;

  /// Has the device play what it has to the end; nothing may be written any more. It may wait for the end.
  /// @return true: done, or the device has failed
  /// @return false: not yet; call it again
  virtual bool Drain() = 0;
};

/// Sets the output that OpenOutput opens. Any thread.
/// @param name the sound system's own; null: its default
/// @return false: there is no sound system, or memory is short
bool SetOutputName(const char* name) noexcept;

/// Opens the output of SetOutputName, or the system's default one, for a PCM format. Any thread.
/// @param buffer length of the device's buffer: kLeastOutputBuffer to kMostOutputBuffer, or as near as it can
/// @param output receives the device; untouched on failure
/// @return 0: open
/// @return MCIERR_WAVE_OUTPUTSINUSE: another program has it
/// @return MCIERR_WAVE_OUTPUTSUNSUITABLE: there is none, or none for this format
/// @return MCIERR_OUT_OF_MEMORY
MCIERROR OpenOutput(const WAVEFORMATEX& format, std::chrono::seconds buffer,
                    std::unique_ptr<SoundOutput>* output);

}  // namespace platform::detail
