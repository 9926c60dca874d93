#pragma once
// The line that shows a running recording.

#include <chrono>
#include <cstdint>
#include <string>

#include "capture/CMMWAVCapture.h"

/// What the library says of a recording, as text: time, level and state. Always of the same length, but for
/// times of a hundred minutes and more.
std::string StatusText(CMMWAVCapture& capture, std::uint32_t state);

/// Shows the status: on a terminal as one line that renews itself, elsewhere as a plain line every ten
/// seconds.
class Meter {
 public:
  explicit Meter(CMMWAVCapture& capture);
  ~Meter();  ///< ends the line
  Meter(const Meter&) = delete;
  Meter& operator=(const Meter&) = delete;
  void Show(std::uint32_t state);

 private:
  CMMWAVCapture& capture_;
  const bool live_;
  std::chrono::steady_clock::time_point nextPlain_;
};
