#pragma once
// Where a playback's sound goes: the seam between media control and the devices.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/posix/mci.h"

namespace platform::detail {

/// An opened device, in the format that it was opened for. One thread at a time. It begins to sound with the
/// first Write. Nothing here throws.
class SoundOutput {
 public:
  /// Silences what has not been heard yet, and frees the device.
  virtual ~SoundOutput() = default;

  /// How much the device holds, in frames; above 0.
  virtual std::uint32_t BufferFrames() const = 0;

  /// Hands over as many frames as there is room for, without waiting.
  /// @return frames taken; -1 when the device has failed for good
  virtual std::int64_t Write(const BYTE* frames, std::size_t count) = 0;

  /// @return frames that the device has not taken out of its buffer; -1 when it has failed for good
  virtual std::int64_t Held() = 0;

  /// @return frames handed over and not heard yet, as far as the device knows; -1 when the device has failed
  /// for good
  virtual std::int64_t Pending() = 0;

  /// Asks the device to play what it has to the end; nothing may be written any more.
  /// @return whether that has been done, or the device has failed; to be asked again otherwise. It may also
  ///         have waited for the end.
  virtual bool Drain() = 0;
};

/// Opens the system's default output for a PCM format.
/// @param buffer how much sound the device shall hold; as much as it can, from kLeastOutputBuffer up to
///               kMostOutputBuffer
/// @return 0; MCIERR_WAVE_OUTPUTSINUSE, MCIERR_WAVE_OUTPUTSUNSUITABLE or MCIERR_OUT_OF_MEMORY, and @p output
///         is null
MCIERROR OpenDefaultOutput(const WAVEFORMATEX& format, std::chrono::seconds buffer,
                           std::unique_ptr<SoundOutput>* output);

}  // namespace platform::detail
