#pragma once
// Where the bytes of a capture buffer come from: the seam between the ring and the devices.

#include <chrono>

#include "platform/posix/dsound.h"

namespace platform::detail {

/// One opened device. The ring calls Configure before anything else, and Start and Stop in turn; Read runs on
/// the ring's worker thread, between a Start and its Stop alone. Nothing here throws.
class CaptureSource {
 public:
  virtual ~CaptureSource() = default;

  /// What GetCaps of the device shows.
  virtual DSCCAPS Caps() const = 0;

  /// Takes the format of the next captures; @p format is consistent PCM.
  /// @return DS_OK; DSERR_BADFORMAT: the device cannot, and may be asked for another one
  virtual HRESULT Configure(const WAVEFORMATEX& format) = 0;

  /// Begins to capture: what Read gives from now on was heard from now on.
  virtual HRESULT Start() = 0;
  virtual void Stop() = 0;

  /// Moves what has been captured, waiting for it at most @p patience. Allocates nothing.
  /// @param room bytes at @p to, whole blocks
  /// @return bytes moved, whole blocks; 0 when nothing came, or when the device is gone
  virtual DWORD Read(BYTE* to, DWORD room, std::chrono::milliseconds patience) = 0;

  /// Whether the device has failed for good since the last Start: Read gives nothing any more. On Read's
  /// thread.
  virtual bool Gone() const { return false; }

  /// Frames that the device itself has lost ahead of what Read gives next, by the clock; each is told once.
  /// On Read's thread.
  virtual std::uint64_t TakeLost() { return 0; }

  /// Ends a wait in Read at once; holds until the next Start: a Read gives what is there by now. Any thread.
  virtual void Wake() = 0;
};

}  // namespace platform::detail
