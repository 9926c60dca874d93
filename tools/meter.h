#pragma once
// The line that shows a running recording.

#include <chrono>
#include <cstdint>
#include <string>

#include "capture/CMMWAVCapture.h"

/// In place of a state: the thread holds its record for longer than a query waits, as when the disk stalls.
inline constexpr std::uint32_t kStateUnknown = 0xFFFFFFFF;

/// What the library says of a recording, as text: time, level and state. Always of the same length, but for
/// times of a hundred minutes and more.
std::string StatusText(CMMWAVCapture& capture, std::uint32_t state);

/// Shows the status: on a terminal as one line that renews itself, elsewhere as a plain line every ten
/// seconds. Sound that was lost gets a line of its own, at once.
class Meter {
 public:
  explicit Meter(CMMWAVCapture& capture);
  ~Meter();  ///< ends the line
  Meter(const Meter&) = delete;
  Meter& operator=(const Meter&) = delete;
  void Show(std::uint32_t state);
  /// How long to wait until the next look, in milliseconds.
  DWORD Interval() const { return live_ ? 100 : 250; }

 private:
  CMMWAVCapture& capture_;
  void ShowLoss();

  const bool live_;
  std::uint64_t told_ = 0;  // frames lost, as the user knows
  std::chrono::steady_clock::time_point nextPlain_;
};
