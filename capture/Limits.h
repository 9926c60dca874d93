#pragma once
// The sizes and times of capture, all in one file: ring, waits, saving, texts.

#include <chrono>
#include <cstdint>

#include "platform/platform.h"

namespace capture {

// The ring's length, as time of sound: CMMCapture::positions has room for five segments.
inline constexpr std::uint32_t kRingSegments = 4;
inline constexpr std::uint32_t kSegmentMs = 250;
inline constexpr std::uint32_t kRingMs = kRingSegments * kSegmentMs;
/// A segment has at least so many bytes, however low the byte rate is.
inline constexpr std::uint32_t kSmallestSegmentBytes = 1024;
/// Where a device does not count its losses: a loss is seen when clock and position differ by a ring less
/// this part of one.
inline constexpr double kClockToleranceRings = 0.25;

// The thread's loop.
/// Its longest wait.
inline constexpr DWORD kLoopWaitMs = 100;
/// After so many drains in a row it serves a waiting command first.
inline constexpr std::uint32_t kDrainsInARow = kRingSegments;

// The time limits of the controller's calls, which CMMWAVCapture.h promises.
/// For the record's mutex.
inline constexpr DWORD kMutexWaitMs = 1000;
/// For the reply to a command.
inline constexpr DWORD kReplyWaitMs = 1000;
/// For the start of the thread.
inline constexpr DWORD kStartWaitMs = 1000;
/// For the end of the thread, in Exit and when the process ends.
inline constexpr DWORD kExitWaitMs = 5000;
/// The same in the destructor, which then leaves the run to a thread that hangs.
inline constexpr DWORD kAbandonWaitMs = 2 * kExitWaitMs;
/// How often such a wait checks whether its answer can still come.
inline constexpr DWORD kPollMs = 10;

// How long captured sound is still saved to a slow disk: within the limits above.
/// At a stop, and once more before the file is closed.
inline constexpr DWORD kStopSaveMs = 800;
/// At Exit.
inline constexpr DWORD kExitSaveMs = 4000;
static_assert(kStopSaveMs < kReplyWaitMs && kExitSaveMs < kExitWaitMs, "the answer must come in time");

/// The most minutes that GetTimeString shows.
inline constexpr std::uint32_t kMostMinutesShown = 999;

/// A point in time, so many milliseconds from now.
class Deadline {
 public:
  explicit Deadline(DWORD milliseconds) : end_(Clock::now() + std::chrono::milliseconds(milliseconds)) {}
  bool Over() const { return Clock::now() >= end_; }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point end_;
};

}  // namespace capture
