// Waiting for objects, and the queue of those who wait.
#include "platform/posix/core/waits.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <span>

#include "platform/posix/core/never_destroyed.h"
#include "platform/posix/sync.h"

namespace platform::detail {
namespace {

using Objects = std::span<const std::shared_ptr<Waitable>>;

constexpr DWORD kNotServed = WAIT_TIMEOUT;

class Waiter;

struct WaitQueue {
  std::mutex lock;  // of this queue and of all states
  Waiter* first = nullptr;
  Waiter* last = nullptr;
};

/// A wait in progress, on the stack of the thread that waits. All of it is guarded by the lock.
class Waiter {
 public:
  Waiter(ThreadState& thread, Objects objects) : thread_(thread), objects_(objects) {}
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;
  ~Waiter() { Leave(); }

  /// Takes the first object that is signalled. @return true: there was one
  bool TryAcquire() {
    for (std::size_t i = 0; i < objects_.size(); ++i) {
      const Acquired acquired = objects_[i]->Acquire(thread_);
      if (acquired == Acquired::kNo) continue;
      result_ = (acquired == Acquired::kYes ? WAIT_OBJECT_0 : WAIT_ABANDONED_0) + static_cast<DWORD>(i);
      return true;
    }
    return false;
  }

  DWORD Wait(std::unique_lock<std::mutex>& lock, DWORD milliseconds) {
    // The limit counts from the call, so the clock is read first.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    Enter();
    const auto served = [this] { return result_ != kNotServed; };
    if (milliseconds == INFINITE) {
      wake_.wait(lock, served);
    } else {
      wake_.wait_until(lock, deadline, served);
    }
    return result_;
  }

  /// Gives every waiter the object that it waits for, if one is signalled.
  static void Serve(WaitQueue& queue) {
    for (Waiter* waiter = queue.first; waiter;) {
      Waiter* const next = waiter->next_;
      if (waiter->TryAcquire()) {
        waiter->Leave();
        waiter->wake_.notify_one();  // under the lock: the waiter still exists
      }
      waiter = next;
    }
  }

  DWORD Result() const { return result_; }

 private:
  void Enter() {
    auto& queue = NeverDestroyed<WaitQueue>();
    previous_ = queue.last;
    (previous_ ? previous_->next_ : queue.first) = this;
    queue.last = this;
    queued_ = true;
  }

  void Leave() {
    if (!queued_) return;
    auto& queue = NeverDestroyed<WaitQueue>();
    (previous_ ? previous_->next_ : queue.first) = next_;
    (next_ ? next_->previous_ : queue.last) = previous_;
    queued_ = false;
  }

  ThreadState& thread_;
  Objects objects_;
  DWORD result_ = kNotServed;
  std::condition_variable wake_;
  Waiter* next_ = nullptr;
  Waiter* previous_ = nullptr;
  bool queued_ = false;
};

DWORD Wait(Objects objects, DWORD milliseconds) {
  ThreadState& thread = CurrentThread();
  auto lock = LockStates();
  Waiter waiter(thread, objects);
  if (waiter.TryAcquire() || milliseconds == 0) return waiter.Result();
  return waiter.Wait(lock, milliseconds);
}

}  // namespace

std::unique_lock<std::mutex> LockStates() {
  return std::unique_lock(NeverDestroyed<WaitQueue>().lock);
}

void ServeWaiters() {
  Waiter::Serve(NeverDestroyed<WaitQueue>());
}

}  // namespace platform::detail

using namespace platform::detail;

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
  const auto object = FindObject<Waitable>(handle);
  return object ? Wait({&object, 1}, milliseconds) : WAIT_FAILED;
}

DWORD MsgWaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll, DWORD milliseconds,
                                DWORD /*wakeMask: there is no input*/) {
  // The published limit counts the message queue as one object.
  if (waitAll || count >= MAXIMUM_WAIT_OBJECTS || (count != 0 && !handles)) return WAIT_FAILED;
  if (count == 0 && milliseconds == INFINITE) return WAIT_FAILED;  // it could never end
  std::array<std::shared_ptr<Waitable>, MAXIMUM_WAIT_OBJECTS> objects;
  for (DWORD i = 0; i < count; ++i) {
    objects[i] = FindObject<Waitable>(handles[i]);
    if (!objects[i]) return WAIT_FAILED;
  }
  return Wait({objects.data(), count}, milliseconds);
}
