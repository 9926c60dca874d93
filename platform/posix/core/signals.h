#pragma once
// Signals and the layer's threads.

#include <pthread.h>

#include <csignal>

namespace platform::detail {

/// Blocks signals on this thread until it is destroyed. A thread started meanwhile inherits the mask: signals
/// are for the host's own threads. Faults are not blocked, so that the host's crash handler still gets them.
/// SIGXFSZ is: a file that has reached the size limit is an error of the write then, not the end of the
/// process.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS}) {
      sigdelset(&signals, fault);
    }
    pthread_sigmask(SIG_SETMASK, &signals, &before_);
  }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_;
};

}  // namespace platform::detail
