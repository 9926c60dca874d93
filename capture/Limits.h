#pragma once
// The limits of capture. Times are in milliseconds.

#include <chrono>
#include <cstdint>

#include "platform/platform.h"

namespace capture {

// The ring, in time of sound.
inline constexpr std::uint32_t kRingSegments = 4;
inline constexpr std::uint32_t kSegmentTime = 250;
inline constexpr std::uint32_t kRingTime = kRingSegments * kSegmentTime;
/// Bytes of a segment at the least, however slow the sound is.
inline constexpr std::uint32_t kSmallestSegment = 1024;
/// Of a ring, by which a device's position and the clock may disagree before a loss is seen in it.
inline constexpr double kClockTolerance = 0.25;

// The thread's loop: the longest of its waits, and the drains after which it looks at the commands first.
inline constexpr DWORD kTurn = 100;
inline constexpr std::uint32_t kDrainsInARow = kRingSegments;

// The controller's waits, as its interface names them.
inline constexpr DWORD kRecordWait = 1000;
inline constexpr DWORD kReplyWait = 1000;
inline constexpr DWORD kStartWait = 1000;
inline constexpr DWORD kExitWait = 5000;
/// What a destructor gives a thread that does not answer, before it leaves the run to it.
inline constexpr DWORD kAbandonWait = 2 * kExitWait;
/// How often a wait looks whether its answer can still come.
inline constexpr DWORD kLook = 10;

// How long a stop and the end of a run go on saving what has been captured, within the controller's waits.
inline constexpr DWORD kStopSaves = 800;
inline constexpr DWORD kExitSaves = 4000;

/// What the text of a time can show.
inline constexpr std::uint32_t kMinutesShown = 999;

/// Counts a limit down.
class Deadline {
 public:
  explicit Deadline(DWORD milliseconds) : end_(Clock::now() + std::chrono::milliseconds(milliseconds)) {}
  bool Over() const { return Clock::now() >= end_; }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point end_;
};

}  // namespace capture
