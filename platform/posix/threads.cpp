#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>
#include <thread>

#include "platform/posix/signals.h"
#include "platform/posix/sync.h"
#include "platform/posix/waits.h"

namespace platform::detail {
namespace {

class Thread final : public Waitable {
 public:
  Acquired Acquire(ThreadRecord& /*thread*/) override { return ended_ ? Acquired::kYes : Acquired::kNo; }
  void End() { ended_ = true; }

 private:
  bool ended_ = false;
};

// Two parts, since the record is used up to the end, by the other one's destructor and, on the main thread,
// by what the host runs at exit.
constinit thread_local ThreadRecord threadRecord;

/// What happens when a thread ends, in whatever way.
struct ThreadEnd {
  std::shared_ptr<Thread> thread;  // of a thread that _beginthreadex has started

  ~ThreadEnd() {
    const auto lock = LockStates();
    AbandonMutexes(threadRecord);
    if (thread) thread->End();
    ServeWaiters();
  }
};

ThreadEnd& CurrentThreadEnd() {
  thread_local ThreadEnd end;
  return end;
}

/// Attributes of a thread that nobody joins.
class DetachedAttributes {
 public:
  DetachedAttributes() : made_(pthread_attr_init(&attributes_) == 0) {
    if (made_) pthread_attr_setdetachstate(&attributes_, PTHREAD_CREATE_DETACHED);
  }
  DetachedAttributes(const DetachedAttributes&) = delete;
  DetachedAttributes& operator=(const DetachedAttributes&) = delete;
  ~DetachedAttributes() {
    if (made_) pthread_attr_destroy(&attributes_);
  }

  /// @return null when the system has none to give
  pthread_attr_t* Get() { return made_ ? &attributes_ : nullptr; }

 private:
  pthread_attr_t attributes_;
  bool made_;
};

struct Start {
  unsigned(__stdcall* routine)(void*);
  void* argument;
  std::shared_ptr<Thread> thread;
};

// Lets the forced unwinding of a thread's end pass.
extern "C" void* RunThread(void* given) {
  auto start = std::unique_ptr<Start>(static_cast<Start*>(given));
  const auto routine = start->routine;
  void* const argument = start->argument;
  // Made before any other thread-local object of this thread, so it goes as the last of them: who sees the
  // thread ended finds nothing of it running.
  CurrentThreadEnd().thread = std::move(start->thread);
  start.reset();
  routine(argument);
  return nullptr;
}

bool StartThread(std::unique_ptr<Start> start, std::size_t stackSize) {
  // The system's own need of a stack is part of the size.
  constexpr std::size_t kLeastStack = std::size_t{64} << 10;
  DetachedAttributes attributes;
  if (!attributes.Get()) return false;
  if (stackSize != 0 && pthread_attr_setstacksize(attributes.Get(), std::max(stackSize, kLeastStack)) != 0) {
    return false;
  }
  const SignalsBlocked blocked;
  pthread_t id;
  if (pthread_create(&id, attributes.Get(), RunThread, start.get()) != 0) return false;
  static_cast<void>(start.release());  // the thread's now
  return true;
}

}  // namespace

ThreadRecord& CurrentThread() {
  CurrentThreadEnd();
  return threadRecord;
}

}  // namespace platform::detail

using namespace platform::detail;

std::uintptr_t _beginthreadex(void* security, unsigned stackSize, unsigned(__stdcall* start)(void*),
                              void* argument, unsigned flags, unsigned* id) try {
  static constinit std::atomic<unsigned> lastId{0};
  if (security || flags != 0 || !start) return 0;
  auto block = std::make_unique<Start>(Start{start, argument, std::make_shared<Thread>()});
  HANDLE handle = OpenHandle(block->thread);
  if (!handle) return 0;
  const unsigned number = ++lastId;
  if (id) *id = number;  // before the thread can look at it
  if (!StartThread(std::move(block), stackSize)) {
    CloseHandle(handle);
    return 0;
  }
  return reinterpret_cast<std::uintptr_t>(handle);
} catch (const std::bad_alloc&) {
  return 0;
}

void _endthreadex(unsigned /*code: nothing asks for it*/) {
  pthread_exit(nullptr);
}

void Sleep(DWORD milliseconds) {
  if (milliseconds == 0) {
    std::this_thread::yield();
  } else {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  }
}

HRESULT CoInitialize(LPVOID reserved) {
  if (reserved) return E_INVALIDARG;
  return CurrentThread().comEntries++ == 0 ? S_OK : S_FALSE;
}

void CoUninitialize() {
  unsigned& entries = CurrentThread().comEntries;
  if (entries != 0) --entries;
}
