#pragma once
// The time limits of capture, in milliseconds.

#include <algorithm>
#include <chrono>

#include "platform/platform.h"

namespace capture {

// The controller's waits, as its interface names them.
inline constexpr DWORD kRecordWait = 1000;
inline constexpr DWORD kReplyWait = 1000;
inline constexpr DWORD kStartWait = 1000;
inline constexpr DWORD kExitWait = 5000;
/// What a destructor gives a thread that does not answer, before it leaves it behind.
inline constexpr DWORD kAbandonWait = 2 * kExitWait;

// How long a stop and the end of a run go on saving what has been captured, within the controller's waits.
inline constexpr DWORD kStopSaves = 800;
inline constexpr DWORD kExitSaves = 4000;

/// How often a wait looks whether its answer can still come.
inline constexpr DWORD kLook = 10;

/// Counts a limit down.
class Deadline {
 public:
  explicit Deadline(DWORD milliseconds) : end_(Clock::now() + std::chrono::milliseconds(milliseconds)) {}
  DWORD Left() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now()).count();
    return static_cast<DWORD>(std::max<decltype(left)>(left, 0));
  }
  bool Over() const { return Left() == 0; }

 private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point end_;
};

}  // namespace capture
