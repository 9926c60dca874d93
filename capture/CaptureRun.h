#pragma once
// What the process knows of the runs of the capture thread. A run goes from Create to the end of Exit and
// belongs to the controller whose record it works on; so a copy of a controller, which has a record of its
// own, has no run. At most one run has a living thread.

#include <atomic>

#include "capture/ThreadDAT.h"

namespace capture {

/// Limits of the controller's waits, in milliseconds.
inline constexpr DWORD kRecordWait = 1000;
inline constexpr DWORD kReplyWait = 1000;
inline constexpr DWORD kStartWait = 1000;
inline constexpr DWORD kExitWait = 5000;

struct CaptureRun {
  enum class Phase {
    kAlive,
    kEnding,  // the thread has let go of the record but for the mutex and the owner event
    kGone,    // the thread touches nothing of the run any more
  };

  explicit CaptureRun(ThreadDAT* dat) : record(dat) {}
  bool Gone() const { return phase.load(std::memory_order_acquire) == Phase::kGone; }

  ThreadDAT* const record;
  std::atomic<Phase> phase{Phase::kAlive};
  std::atomic<bool> exitRequested{false};
  CaptureRun* next = nullptr;
};

/// Opens a run for @p record. Null at once while the thread of another run lives, or when memory is short.
CaptureRun* BeginRun(ThreadDAT* record) noexcept;
/// @return the run that works on @p record; null when there is none
CaptureRun* FindRun(const ThreadDAT* record) noexcept;
/// Forgets the run of @p record; its thread must be gone, or never have started.
void EndRun(const ThreadDAT* record) noexcept;
/// @return the run whose thread lives; null when there is none
CaptureRun* LivingRun() noexcept;

/// Asks the thread of @p run to end, however far it has come: by the command event where the events exist,
/// and by a flag that the thread looks at before each wait, for where they do not exist yet or the record
/// cannot be had.
void RequestExit(CaptureRun& run) noexcept;

}  // namespace capture
