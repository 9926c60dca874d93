#pragma once
// Ending early without leaving half a file behind.

#include <csignal>

/// 1 once a signal has asked the program to end. Set by the signals that CatchStopSignals has caught.
inline volatile std::sig_atomic_t stopWanted = 0;

/// A file that reaches the system's size limit is a failed write, not the program's end; all other signals
/// that are meant to end it ask it to.
inline void CatchStopSignals() {
  const auto onSignal = [](int) { stopWanted = 1; };
  std::signal(SIGINT, onSignal);
  std::signal(SIGTERM, onSignal);
#ifdef SIGHUP
  std::signal(SIGHUP, onSignal);
#endif
#ifdef SIGXFSZ
  std::signal(SIGXFSZ, SIG_IGN);
#endif
}
