#pragma once
// The controller's hold on the record.

#include "platform/platform.h"

namespace capture {

/// Holds the record's mutex, waiting at most a given time for it. Without a mutex (no run) there is nothing
/// to hold. Only a time-out counts as not having it: any other answer goes on as if it were held.
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
