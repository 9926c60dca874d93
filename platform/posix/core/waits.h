#pragma once
// What a thread can wait for, and the queue of those that do.
//
// Waiting threads stand in one queue, first come, first served. Whoever changes an object serves the queue
// before the lock is released: each waiter whose object is signalled now is given it and is woken. So a set
// event reaches all who waited for it, even if it is reset at once, and a busy thread that takes a mutex
// again and again cannot starve another one.

#include <mutex>

#include "platform/posix/core/handles.h"

namespace platform::detail {

class Mutex;

/// What the layer keeps for each thread. Without a destructor, so it is there up to the thread's very end.
struct ThreadRecord {
  Mutex* owned = nullptr;  // first of the mutexes it owns, chained; guarded by the lock of all states
  unsigned comEntries = 0;
  std::uint64_t number = 0;  // no other thread of the process has it, ever
  bool isWatched = false;    // its end will be noticed: what is in the chain does not outlive it
};

/// The calling thread's record. The first call arranges that the thread's mutexes are abandoned at its end.
/// A thread of the host's own may have no memory for that: it owns mutexes all the same, and the next call
/// tries again; a mutex that such a thread leaves behind stays owned.
ThreadRecord& CurrentThread();

enum class Acquired { kNo, kYes, kAbandoned };

/// An object that is signalled or not. All states have one lock. The last reference must not be dropped while
/// that lock is held: a mutex takes it when it goes.
class Waitable : public Object {
 public:
  /// Takes the object for @p thread if it is signalled. Called with the lock held; allocates nothing.
  virtual Acquired Acquire(ThreadRecord& thread) = 0;
};

/// The lock of all waitable states.
[[nodiscard]] std::unique_lock<std::mutex> LockStates();

/// To be called, with the lock held, after objects may have become signalled.
void ServeWaiters();

/// Frees, with the lock held, the mutexes of a thread that ends.
void AbandonMutexes(ThreadRecord& thread);

}  // namespace platform::detail
