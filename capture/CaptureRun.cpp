#include "capture/CaptureRun.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <new>

#include "capture/Limits.h"
#include "capture/RecordLock.h"
#include "capture/SharedText.h"

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

/// Out of the list. Under the lock.
std::unique_ptr<CaptureRun> TakeOut(CaptureRun** link) {
  std::unique_ptr<CaptureRun> run(*link);
  if (run != nullptr) *link = run->next;
  return run;
}

bool IsAlive(const CaptureRun& run) {
  return !run.Gone();
}

}  // namespace

CaptureRun::~CaptureRun() {
  DropText(record.fileName);
  DropText(record.pathName);
}

void Follow(ThreadDAT& shown, const ThreadDAT& record) noexcept {
  shown.threadCount = record.threadCount;
  shown.state = record.state;
  shown.recordedBytes = record.recordedBytes;
  shown.segmentCount = record.segmentCount;
  std::copy(std::begin(record.commandEvents), std::end(record.commandEvents), shown.commandEvents);
  std::copy(std::begin(record.replyEvents), std::end(record.replyEvents), shown.replyEvents);
  shown.result = record.result;
  shown.maxLevel = record.maxLevel;
}

CaptureRun* BeginRun(const ThreadDAT* owner) noexcept {
  std::unique_ptr<CaptureRun> run(new (std::nothrow) CaptureRun(owner));
  if (run == nullptr) return nullptr;
  while (true) {
    {
      ListLock lock;
      const CaptureRun* living = *Seek(IsAlive);
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

CaptureRun* FindRun(const ThreadDAT* owner) noexcept {
  return SeekLocked([owner](const CaptureRun& run) { return run.owner == owner; });
}

CaptureRun* FindRunOfThread(const ThreadDAT* record) noexcept {
  return SeekLocked([record](const CaptureRun& run) { return &run.record == record; });
}

void EndRun(const ThreadDAT* owner) noexcept {
  std::unique_ptr<CaptureRun> ended;
  const ListLock lock;
  ended = TakeOut(Seek([owner](const CaptureRun& run) { return run.owner == owner; }));
}

bool IsAnyRunAlive(bool ask) noexcept {
  const ListLock lock;
  CaptureRun* const living = *Seek(IsAlive);
  if (living != nullptr && ask) living->exitRequested.store(true, std::memory_order_release);
  return living != nullptr;
}

void MarkGone(CaptureRun& run) noexcept {
  std::unique_ptr<CaptureRun> left;
  {
    const ListLock lock;
    if (run.owner == nullptr)
      left = TakeOut(Seek([&run](const CaptureRun& other) { return &other == &run; }));
    run.phase.store(CaptureRun::Phase::kGone, std::memory_order_release);
  }
  if (left == nullptr) return;
  CloseHandle(left->record.ownerEvent);
  CloseHandle(left->record.mutex);
}

bool LeaveBehind(CaptureRun& run) noexcept {
  const ListLock lock;
  if (run.Gone()) return false;
  run.owner = nullptr;
  return true;
}

void RequestExit(CaptureRun& run, DWORD milliseconds) noexcept {
  run.exitRequested.store(true, std::memory_order_release);
  ThreadDAT& record = run.record;
  const RecordLock lock(record.mutex, milliseconds);
  if (lock.TimedOut()) return;
  // The events live in these states and no others, and they cannot go while the record is held.
  const bool eventsLive =
      record.state == kStateCapturing || record.state == kStateFileOpen || record.state == kStateReady;
  if (eventsLive) SetEvent(record.commandEvents[kCommandExit]);
}

}  // namespace capture
