#pragma once
// The progress line of long work.

#include <chrono>
#include <string>

/// A bar, percent, and the time left as estimated from the time so far.
std::string ProgressText(double fraction, double elapsedSeconds);

/// Shows the progress on the terminal, once the work has taken a moment. Without a terminal it shows nothing.
class Progress {
 public:
  Progress();
  ~Progress();  ///< clears the line
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// @param fraction done, 0 to 1
  void Show(double fraction);

 private:
  using Clock = std::chrono::steady_clock;
  const bool live_;
  const Clock::time_point start_;
  Clock::time_point next_;
  bool shown_ = false;
};
