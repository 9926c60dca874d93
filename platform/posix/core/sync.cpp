// Events and mutexes.
#include "platform/posix/sync.h"

#include <new>

#include "platform/posix/core/waits.h"

namespace platform::detail {

class Event final : public Waitable {
 public:
  Event(bool manualReset, bool set) : manualReset_(manualReset), set_(set) {}

  Acquired Acquire(ThreadState& /*thread*/) override {
    if (!set_) return Acquired::kNo;
    set_ = manualReset_;
    return Acquired::kYes;
  }

  void Set(bool set) { set_ = set; }

 private:
  const bool manualReset_;
  bool set_;
};

class Mutex final : public Waitable {
 public:
  ~Mutex() override {
    const auto lock = LockStates();
    if (owner_ != 0) Free();
  }

  Acquired Acquire(ThreadState& thread) override {
    if (owner_ != 0 && owner_ != thread.number) return Acquired::kNo;
    ++depth_;
    if (owner_ == 0) {
      owner_ = thread.number;
      if (thread.isWatched) Link(thread);
    }
    const bool abandoned = abandoned_;
    abandoned_ = false;
    return abandoned ? Acquired::kAbandoned : Acquired::kYes;
  }

  /// @return false: @p thread does not own it
  bool Release(ThreadState& thread) {
    if (owner_ != thread.number) return false;
    if (--depth_ == 0) Free();
    return true;
  }

  void Abandon() {
    depth_ = 0;
    abandoned_ = true;
    Free();
  }

 private:
  void Link(ThreadState& thread) {
    linkedTo_ = &thread;
    nextOwned_ = thread.owned;
    thread.owned = this;
  }

  /// Also removes it from its owner's list, which is short: a thread owns few mutexes at a time.
  void Free() {
    owner_ = 0;
    if (linkedTo_ == nullptr) return;
    Mutex** link = &linkedTo_->owned;
    while (*link != this) link = &(*link)->nextOwned_;
    *link = nextOwned_;
    linkedTo_ = nullptr;
  }

  std::uint64_t owner_ = 0;          // the thread's number; 0: free
  ThreadState* linkedTo_ = nullptr;  // the owner's; null when the owner's end is not noticed
  Mutex* nextOwned_ = nullptr;
  unsigned depth_ = 0;
  bool abandoned_ = false;
};

void AbandonMutexes(ThreadState& thread) {
  while (thread.owned) thread.owned->Abandon();
}

namespace {

BOOL ChangeEvent(HANDLE handle, bool set) {
  const auto event = FindObject<Event>(handle);
  if (!event) return FALSE;
  const auto lock = LockStates();
  event->Set(set);
  if (set) ServeWaiters();
  return TRUE;
}

}  // namespace
}  // namespace platform::detail

using namespace platform::detail;

HANDLE CreateEventA(LPSECURITY_ATTRIBUTES security, BOOL manualReset, BOOL initialState, LPCSTR name) try {
  if (security || name) return nullptr;
  return OpenHandle(std::make_shared<Event>(manualReset != FALSE, initialState != FALSE));
} catch (const std::bad_alloc&) {
  return nullptr;
}

BOOL SetEvent(HANDLE event) {
  return ChangeEvent(event, true);
}
BOOL ResetEvent(HANDLE event) {
  return ChangeEvent(event, false);
}

HANDLE CreateMutexA(LPSECURITY_ATTRIBUTES security, BOOL initialOwner, LPCSTR name) try {
  if (security || name) return nullptr;
  const auto mutex = std::make_shared<Mutex>();
  if (initialOwner) {
    ThreadState& thread = CurrentThread();
    const auto lock = LockStates();
    mutex->Acquire(thread);
  }
  return OpenHandle(mutex);
} catch (const std::bad_alloc&) {
  return nullptr;
}

BOOL ReleaseMutex(HANDLE handle) {
  const auto mutex = FindObject<Mutex>(handle);
  if (!mutex) return FALSE;
  const auto lock = LockStates();
  if (!mutex->Release(CurrentThread())) return FALSE;
  ServeWaiters();
  return TRUE;
}
