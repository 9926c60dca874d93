#pragma once
// The interface between the capture buffer and a system's devices, which supply its bytes.

#include <chrono>

#include "platform/posix/dsound.h"

namespace platform::detail {

/// One opened device. The ring calls Configure first, then Start and Stop in turn. Read is called on the
/// ring's worker thread, and only between a Start and its Stop. No call throws.
class CaptureSource {
 public:
  virtual ~CaptureSource() = default;

  /// @return what GetCaps of the device gives
  virtual DSCCAPS Caps() const = 0;

  /// Sets the format of the next captures; @p format is consistent PCM.
  /// @return DS_OK: set
  /// @return DSERR_BADFORMAT: the device does not have it; another one may be tried
  /// @return DSERR_OUTOFMEMORY
  virtual HRESULT Configure(const WAVEFORMATEX& format) = 0;

  /// Begins to capture: Read gives no sound from before.
  /// @return DS_OK: begun
  /// @return DSERR_GENERIC: the device does not start
  virtual HRESULT Start() = 0;
  /// Ends the capture.
  virtual void Stop() = 0;

  /// Moves what has been captured, and waits for it at most @p timeout. Allocates nothing.
  /// @param room bytes at @p to, whole blocks
  /// @return bytes moved, whole blocks; 0 when there were none within the time, or when the device has failed
  virtual DWORD Read(BYTE* to, DWORD room, std::chrono::milliseconds timeout) = 0;

  /// @return true: the device has failed for good since the last Start; Read gives nothing any more. On
  ///         Read's thread
  virtual bool HasFailed() const { return false; }

  /// @return frames that the device itself has lost since the last call, before what Read gives next;
  ///         estimated by a clock. On Read's thread
  virtual std::uint64_t TakeLost() { return 0; }

  /// Ends a wait in Read at once. Until the next Start, Read does not wait. Any thread.
  virtual void Wake() = 0;
};

}  // namespace platform::detail
