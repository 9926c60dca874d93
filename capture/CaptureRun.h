#pragma once
// A run of the capture thread, from Create to the end of Exit: what its controller and its thread share.

#include <atomic>
#include <memory>

#include "capture/ThreadDAT.h"

namespace capture {

/// The record that the thread works on, guarded by its mutex, and what else the two sides need. Controller
/// and thread both own the run, and the last of them closes its handles: so a controller can be destroyed
/// while the thread hangs in a device or a disk. The controller shows a record of its own, which Refresh
/// updates.
struct CaptureRun : ThreadDAT {
  /// Begins a run, with mutex and owner event; either is null when the system gave none.
  /// @return the run; null while another run lives, or when memory is short
  static std::shared_ptr<CaptureRun> Begin(const WAVEFORMATEX& captureFormat, const GUID* guid) noexcept;
  /// Hands the thread its share of the run, once.
  /// @param threadDat as the thread was given it
  /// @return the run; null when @p threadDat is not the present one
  static std::shared_ptr<CaptureRun> OfThread(ThreadDAT* threadDat) noexcept;

  CaptureRun(const WAVEFORMATEX& captureFormat, const GUID* guid);
  CaptureRun(const CaptureRun&) = delete;
  CaptureRun& operator=(const CaptureRun&) = delete;
  ~CaptureRun();

  /// Ends the run: another one can begin. The thread's last step before it releases mutex and run; the record
  /// has its last state by then.
  void End() noexcept;
  /// After the end the record does not change any more.
  bool HasEnded() const noexcept;

  /// Asks the thread to end, however far it has come: by the command event, and by a flag that the thread
  /// checks before each wait, in case the events do not exist yet or the mutex cannot be had in time.
  /// @param milliseconds the longest wait for the mutex
  void RequestExit(DWORD milliseconds) noexcept;

  std::atomic<bool> exitRequested{false};
  /// Commands of each kind that have been carried out, or have failed.
  std::atomic<std::uint32_t> answered[kCommandCount] = {};
  /// The characters of fileName and pathName; the controller shares the block.
  std::shared_ptr<char[]> names;

 private:
  std::shared_ptr<CaptureRun> threadsReference_;  // until the thread takes it
};

/// Whether any run of the process has not ended.
bool IsAnyRunAlive() noexcept;

/// Copies what the thread writes from its record to the controller's. Under the mutex, or after the run's
/// end.
void Refresh(ThreadDAT& shown, const ThreadDAT& record) noexcept;

}  // namespace capture
