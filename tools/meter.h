#pragma once
// The line that shows a running recording.

#include <chrono>
#include <cstdint>
#include <string>

#include "capture/CMMWAVCapture.h"
#include "tools/take.h"

/// Instead of a state: the query timed out, as when the disk stalls.
inline constexpr std::uint32_t kStateUnknown = 0xFFFFFFFF;

/// Shows time, level and state of a recording, its highest level of the last three seconds as a mark on the bar,
/// and whether anything has been clipped: on a terminal as one line that is rewritten, elsewhere as a new line every ten seconds.
/// Lost sound gets a line of its own, at once.
class Meter {
 public:
  /// @param levels read at every Show
  Meter(CMMWAVCapture& capture, TakeLevels& levels);
  ~Meter();  ///< ends the line
  Meter(const Meter&) = delete;
  Meter& operator=(const Meter&) = delete;
  void Show(std::uint32_t state);
  /// Shows a line that stays.
  void Say(const std::string& text);
  /// How long to wait until the next Show.
  DWORD IntervalMs() const { return live_ ? kTerminalIntervalMs : kPlainIntervalMs; }

 private:
  static constexpr DWORD kTerminalIntervalMs = 100;  // between two refreshes of the line
  static constexpr DWORD kPlainIntervalMs = 250;     // elsewhere: between two looks for lost sound

  void ShowLoss();
  double HeldPeak();
  std::string StatusText(std::uint32_t state, double held);

  CMMWAVCapture& capture_;
  TakeLevels& levels_;
  const bool live_;
  std::uint64_t reportedLoss_ = 0;  // lost frames that the user has been told of
  std::chrono::steady_clock::time_point nextPlain_;
  double held_ = 0;  // the highest peak, since heldSince_
  std::chrono::steady_clock::time_point heldSince_;
};
