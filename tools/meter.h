#pragma once
// The line that shows a running recording.

#include <chrono>
#include <cstdint>
#include <string>

#include "capture/CMMWAVCapture.h"

/// Instead of a state: the query timed out, as when the disk stalls.
inline constexpr std::uint32_t kStateUnknown = 0xFFFFFFFF;

/// What the library says of a recording, as text: time, level and state. Always of the same length, but for
/// times of a hundred minutes and more.
std::string StatusText(CMMWAVCapture& capture, std::uint32_t state);

/// Shows the status: on a terminal as one line that is rewritten, elsewhere as a new line every ten seconds.
/// Lost sound gets a line of its own, at once.
class Meter {
 public:
  explicit Meter(CMMWAVCapture& capture);
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

  CMMWAVCapture& capture_;
  const bool live_;
  std::uint64_t reportedLoss_ = 0;  // lost frames that the user has been told of
  std::chrono::steady_clock::time_point nextPlain_;
};
