#include "capture/CaptureRun.h"

#include <memory>
#include <new>

#include "capture/RecordLock.h"

namespace capture {
namespace {

/// Guards the list of runs, for a few instructions at a time.
class ListLock {
 public:
  ListLock() {
    while (flag_.test_and_set(std::memory_order_acquire)) Sleep(0);
  }
  ~ListLock() { flag_.clear(std::memory_order_release); }
  ListLock(const ListLock&) = delete;
  ListLock& operator=(const ListLock&) = delete;

 private:
  static constinit inline std::atomic_flag flag_ = ATOMIC_FLAG_INIT;
};

constinit CaptureRun* runs = nullptr;

/// The first run in the list for which @p test holds. Under the lock.
template <class Test>
CaptureRun** Seek(Test test) {
  CaptureRun** link = &runs;
  while (*link != nullptr && !test(**link)) link = &(*link)->next;
  return link;
}

template <class Test>
CaptureRun* SeekLocked(Test test) {
  ListLock lock;
  return *Seek(test);
}

}  // namespace

CaptureRun* BeginRun(ThreadDAT* record) noexcept {
  std::unique_ptr<CaptureRun> run(new (std::nothrow) CaptureRun(record));
  if (run == nullptr) return nullptr;
  while (true) {
    {
      ListLock lock;
      const CaptureRun* living = *Seek([](const CaptureRun& other) { return !other.Gone(); });
      if (living == nullptr) {
        run->next = runs;
        return runs = run.release();
      }
      if (living->phase.load(std::memory_order_acquire) == CaptureRun::Phase::kAlive) return nullptr;
    }
    // The host has seen state 0, and the thread has a last signal to give: no reason to refuse.
    Sleep(1);
  }
}

CaptureRun* FindRun(const ThreadDAT* record) noexcept {
  return SeekLocked([record](const CaptureRun& run) { return run.record == record; });
}

CaptureRun* LivingRun() noexcept {
  return SeekLocked([](const CaptureRun& run) { return !run.Gone(); });
}

void EndRun(const ThreadDAT* record) noexcept {
  ListLock lock;
  CaptureRun** link = Seek([record](const CaptureRun& run) { return run.record == record; });
  const std::unique_ptr<CaptureRun> ended(*link);
  if (ended != nullptr) *link = ended->next;
}

void RequestExit(CaptureRun& run) noexcept {
  run.exitRequested.store(true, std::memory_order_release);
  ThreadDAT& record = *run.record;
  const RecordLock lock(record.mutex, kRecordWait);
  if (lock.TimedOut()) return;
  // The events live in these states and no others, and they cannot go while the record is held.
  const bool eventsLive =
      record.state == kStateCapturing || record.state == kStateFileOpen || record.state == kStateReady;
  if (eventsLive) SetEvent(record.commandEvents[kCommandExit]);
}

}  // namespace capture
