#include "platform/posix/sync.h"

#include <new>

#include "platform/posix/waits.h"

namespace platform::detail {

class Event final : public Waitable {
 public:
  Event(bool manualReset, bool set) : manualReset_(manualReset), set_(set) {}

  Acquired Acquire(ThreadRecord& /*thread*/) override {
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
    if (owner_) Unlink();
  }

  Acquired Acquire(ThreadRecord& thread) override {
    if (owner_ && owner_ != &thread) return Acquired::kNo;
    ++depth_;
    if (!owner_) {
      owner_ = &thread;
      nextOwned_ = thread.owned;
      thread.owned = this;
    }
    const bool abandoned = abandoned_;
    abandoned_ = false;
    return abandoned ? Acquired::kAbandoned : Acquired::kYes;
  }

  /// @return false when it is not @p thread's
  bool Release(ThreadRecord& thread) {
    if (owner_ != &thread) return false;
    if (--depth_ == 0) Unlink();
    return true;
  }

  void Abandon() {
    depth_ = 0;
    abandoned_ = true;
    Unlink();
  }

 private:
  /// Out of the owner's chain, which is short: a thread owns few mutexes at a time.
  void Unlink() {
    Mutex** link = &owner_->owned;
    while (*link != this) link = &(*link)->nextOwned_;
    *link = nextOwned_;
    owner_ = nullptr;
  }

  ThreadRecord* owner_ = nullptr;
  Mutex* nextOwned_ = nullptr;
  unsigned depth_ = 0;
  bool abandoned_ = false;
};

void AbandonMutexes(ThreadRecord& thread) {
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
    ThreadRecord& thread = CurrentThread();
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
