#pragma once
// The lock of the record's mutex.

#include "platform/platform.h"

namespace capture {

/// Holds the record's mutex, after a wait of at most a given time. A null mutex (no run) needs no lock. Only
/// a time-out counts as a failure: after any other result of the wait the mutex counts as held.
class RecordLock {
 public:
  RecordLock(HANDLE mutex, DWORD milliseconds)
      : mutex_(mutex),
        timedOut_(mutex != nullptr && WaitForSingleObject(mutex, milliseconds) == WAIT_TIMEOUT) {}
  ~RecordLock() {
    if (mutex_ != nullptr && !timedOut_) ReleaseMutex(mutex_);
  }
  RecordLock(const RecordLock&) = delete;
  RecordLock& operator=(const RecordLock&) = delete;

  bool TimedOut() const { return timedOut_; }

 private:
  HANDLE mutex_;
  bool timedOut_;
};

}  // namespace capture
