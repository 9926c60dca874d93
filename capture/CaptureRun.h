#pragma once
// A run of the capture thread, from Create to the end of Exit: what its controller and its thread share.

#include <atomic>
#include <memory>

#include "capture/ThreadDAT.h"

namespace capture {

/// The record that the thread works on, guarded by its mutex, and what else the two sides need. Controller
/// and thread both own the run, and the last of them closes its handles: a controller that is destroyed while
/// the thread hangs in a device or a disk takes nothing from it. The controller's own record follows this one.
struct CaptureRun : ThreadDAT {
  /// Opens a run with mutex and owner event, which are null when memory is short.
  /// @return null at once while the thread of another run lives, or when memory is short
  static std::shared_ptr<CaptureRun> Begin(const WAVEFORMATEX& captureFormat, const GUID* guid) noexcept;
  /// @return the run whose thread has been given @p threadDat, for that thread to own; null for any other
  static std::shared_ptr<CaptureRun> OfThread(ThreadDAT* threadDat) noexcept;

  CaptureRun(const WAVEFORMATEX& captureFormat, const GUID* guid);
  CaptureRun(const CaptureRun&) = delete;
  CaptureRun& operator=(const CaptureRun&) = delete;
  ~CaptureRun();

  /// The thread's last act, but for letting go of mutex and run. Under the mutex, after the last state has
  /// been stored: who has seen that state can begin another run.
  void End() noexcept;
  /// Once it has ended, the record changes no more.
  bool HasEnded() const noexcept;

  /// Asks the thread to end, however far it has come: by the command event where the events exist, and by a
  /// flag that the thread looks at before each wait, for where they do not exist yet or the record cannot be
  /// had in time.
  void RequestExit(DWORD milliseconds) noexcept;

  std::atomic<bool> exitRequested{false};
  /// Commands of each kind that have been carried out, or have failed.
  std::atomic<std::uint32_t> answered[kCommandCount] = {};
  /// The characters of fileName and pathName. The controller has a part in the same block.
  std::shared_ptr<char[]> names;

 private:
  std::shared_ptr<CaptureRun> threadsPart_;  // until the thread has taken it
};

/// Whether the thread of any run lives.
bool IsAnyRunAlive() noexcept;

/// Brings a controller's record up to date with what the thread has written. With the mutex held, or at the
/// run's end.
void Refresh(ThreadDAT& shown, const ThreadDAT& record) noexcept;

}  // namespace capture
