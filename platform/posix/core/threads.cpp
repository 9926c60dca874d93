// Threads: their start, their end, and each thread's entries to COM.
#include <execinfo.h>
#include <pthread.h>
#include <semaphore.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

#include "platform/posix/core/limits.h"
#include "platform/posix/core/signals.h"
#include "platform/posix/core/waits.h"
#include "platform/posix/sync.h"

namespace platform::detail {
namespace {

class Thread final : public Waitable {
 public:
  Thread() { sem_init(&started_, 0, 0); }
  ~Thread() override { sem_destroy(&started_); }

  Acquired Acquire(ThreadState& /*thread*/) override { return ended_ ? Acquired::kYes : Acquired::kNo; }
  void End() { ended_ = true; }

  /// Reports to the starting thread whether it runs: it does not when its end would not be noticed.
  void ReportStart(bool runs) {
    runs_ = runs;
    sem_post(&started_);
  }
  bool AwaitStart() {
    while (sem_wait(&started_) != 0) continue;  // a signal
    return runs_;
  }

 private:
  bool ended_ = false;
  bool runs_ = false;
  sem_t started_;
};

struct Start {
  unsigned(__stdcall* routine)(void*);
  void* argument;
  std::shared_ptr<Thread> thread;
};

/// What is to be done when a thread ends, in whatever way. It has no destructor: to register one the C
/// library allocates, and ends the process when memory is short. The end is noticed by a key's destructor
/// instead.
struct ThreadEnd {
  enum class Watch { kNone, kSet, kEnded } watch = Watch::kNone;
  int round = 0;           // of the keys' destructors
  Start* start = nullptr;  // of a thread that _beginthreadex has started; owned
};

// Both are used until the thread has ended: by the key's destructor and, on the main thread, by what the host
// runs at exit. The TLS model gives the thread these variables even if the host has loaded the library late,
// so that no access allocates.
[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadState threadState;
[[gnu::tls_model("initial-exec")]] constinit thread_local ThreadEnd threadEnd;

constinit std::mutex keyMutex;  // guards the creation of the key
constinit bool haveEndKey = false;
constinit pthread_key_t endKey = 0;

// The last round is left to runtimes that watch all threads, as sanitizers do.
constexpr int kEndingRound = PTHREAD_DESTRUCTOR_ITERATIONS - 1;

/// The destructor of the key. It runs after the destructors of all thread-local objects. Keys' destructors
/// have no order among each other, but run in rounds as long as one of them sets its key again. The first
/// round is left to the host's, which may still release a mutex. From the second on, mutexes still owned are
/// abandoned. In kEndingRound the thread is signalled as ended: nothing of it runs any more.
extern "C" void EndThread(void* value) {
  auto& end = *static_cast<ThreadEnd*>(value);
  ++end.round;
  const bool ends = end.round == kEndingRound || pthread_setspecific(endKey, &end) != 0;
  if (end.round == 1 && !ends) return;
  const std::unique_ptr<Start> start(ends ? std::exchange(end.start, nullptr) : nullptr);
  const auto lock = LockStates();
  AbandonMutexes(threadState);
  if (ends) {
    end.watch = ThreadEnd::Watch::kEnded;
    threadState.isWatched = false;
  }
  if (start) start->thread->End();
  ServeWaiters();
}

bool MakeEndKey() {
  const std::lock_guard lock(keyMutex);
  if (!haveEndKey) haveEndKey = pthread_key_create(&endKey, EndThread) == 0;
  return haveEndKey;
}

/// Arranges that the end of the calling thread is noticed. @return false: keys or memory are short
bool WatchThread() {
  ThreadEnd& end = threadEnd;
  if (end.watch == ThreadEnd::Watch::kNone && MakeEndKey() && pthread_setspecific(endKey, &end) == 0) {
    end.watch = ThreadEnd::Watch::kSet;
    threadState.isWatched = true;
  }
  return threadState.isWatched;
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

  /// @return null: memory is short
  pthread_attr_t* Get() { return made_ ? &attributes_ : nullptr; }

 private:
  pthread_attr_t attributes_;
  bool made_;
};

// Not noexcept: pthread_exit unwinds through it.
extern "C" void* RunThread(void* given) {
  auto start = std::unique_ptr<Start>(static_cast<Start*>(given));
  const bool runs = WatchThread();
  start->thread->ReportStart(runs);
  if (!runs) return nullptr;
  threadEnd.start = start.release();
  threadEnd.start->routine(threadEnd.start->argument);
  return nullptr;
}

/// The C library loads its unwinder when the first thread ends by pthread_exit, and ends the process when
/// memory is short then. A backtrace loads it too, and only fails.
bool LoadUnwinder() {
  void* frame = nullptr;
  return backtrace(&frame, 1) == 1;
}

bool StartThread(std::unique_ptr<Start> start, std::size_t stackSize) {
  DetachedAttributes attributes;
  if (!attributes.Get() || !LoadUnwinder()) return false;
  if (stackSize != 0 &&
      pthread_attr_setstacksize(attributes.Get(), std::max(stackSize, kLeastStackBytes)) != 0) {
    return false;
  }
  const SignalsBlocked blocked;
  pthread_t id;
  if (pthread_create(&id, attributes.Get(), RunThread, start.get()) != 0) return false;
  static_cast<void>(start.release());  // the thread's now
  return true;
}

}  // namespace

ThreadState& CurrentThread() {
  static constinit std::atomic<std::uint64_t> lastNumber{0};
  if (threadState.number == 0) threadState.number = ++lastNumber;
  WatchThread();
  return threadState;
}

}  // namespace platform::detail

using namespace platform::detail;

std::uintptr_t _beginthreadex(void* security, unsigned stackSize, unsigned(__stdcall* start)(void*),
                              void* argument, unsigned flags, unsigned* id) try {
  static constinit std::atomic<unsigned> lastId{0};
  if (security || flags != 0 || !start) return 0;
  const auto thread = std::make_shared<Thread>();
  auto block = std::make_unique<Start>(Start{start, argument, thread});
  HANDLE handle = OpenHandle(thread);
  if (!handle) return 0;
  const unsigned number = ++lastId;
  if (id) *id = number;  // before the thread can read it
  if (!StartThread(std::move(block), stackSize) || !thread->AwaitStart()) {
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
