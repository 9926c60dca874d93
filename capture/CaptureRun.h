#pragma once
// What the process knows of the runs of the capture thread. A run goes from Create to the end of Exit. It
// belongs to the controller that began it, and a copy of that controller has no run. At most one run has a
// living thread.

#include <atomic>

#include "capture/ThreadDAT.h"

namespace capture {

struct CaptureRun {
  enum class Phase {
    kAlive,
    kEnding,  // the thread has let go of the record but for the mutex and the owner event
    kGone,    // the thread touches nothing of the run any more
  };

  explicit CaptureRun(const ThreadDAT* dat) : owner(dat) {}
  CaptureRun(const CaptureRun&) = delete;
  CaptureRun& operator=(const CaptureRun&) = delete;
  /// Gives up the run's part in the names.
  ~CaptureRun();
  bool Gone() const { return phase.load(std::memory_order_acquire) == Phase::kGone; }

  /// The record that the thread works on, guarded by its mutex; the controller's own follows it. It is here
  /// so that it outlives a controller that is destroyed while the thread hangs in a device or a disk.
  ThreadDAT record{};
  const ThreadDAT* owner;  // the controller's record; null once that has left the run behind
  std::atomic<Phase> phase{Phase::kAlive};
  std::atomic<bool> exitRequested{false};
  /// Commands of each kind that have been carried out, or have failed.
  std::atomic<std::uint32_t> answered[kCommandCount] = {};
  CaptureRun* next = nullptr;
};

/// Brings a controller's record up to date with what the thread has written. With the mutex held, or without
/// a thread.
void Follow(ThreadDAT& shown, const ThreadDAT& record) noexcept;

/// Opens a run for the controller's record. Null at once while the thread of another run lives, or when
/// memory is short.
CaptureRun* BeginRun(const ThreadDAT* owner) noexcept;
/// @return the run of a controller's record; null when there is none
CaptureRun* FindRun(const ThreadDAT* owner) noexcept;
/// @return the run whose thread works on @p record; null when there is none
CaptureRun* FindRunOfThread(const ThreadDAT* record) noexcept;
/// Forgets the run of a controller's record; its thread must be gone, or never have started.
void EndRun(const ThreadDAT* owner) noexcept;
/// Whether there is a run whose thread lives. It is asked to end if @p ask.
bool IsAnyRunAlive(bool ask) noexcept;

/// The thread's last act: nothing of the run is touched any more. A run that was left behind is cleared up.
void MarkGone(CaptureRun& run) noexcept;
/// Leaves a run whose thread does not answer to that thread, with all that it touches: handles, names,
/// record.
/// @return false when the thread is gone after all: the run is the caller's still
bool LeaveBehind(CaptureRun& run) noexcept;

/// Asks the thread of @p run to end, however far it has come: by the command event where the events exist,
/// and by a flag that the thread looks at before each wait, for where they do not exist yet or the record
/// cannot be had in time.
void RequestExit(CaptureRun& run, DWORD milliseconds) noexcept;

}  // namespace capture
