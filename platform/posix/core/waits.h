#pragma once
// The objects that a thread can wait for, and the queue of waiting threads.
//
// There is one queue, first come, first served. Whoever changes an object serves the queue before releasing
// the lock: each waiter whose object is signalled now gets it and is woken. So a set event reaches all who
// waited for it, even if it is reset at once, and a busy thread that takes a mutex again and again cannot
// starve another one.

#include <mutex>

#include "platform/posix/core/handles.h"

namespace platform::detail {

class Mutex;

/// The layer's data of one thread. It has no destructor, so it may be used until the thread has ended.
struct ThreadState {
  Mutex* owned = nullptr;  // list of the mutexes it owns; guarded by the lock of all states
  unsigned comEntries = 0;
  std::uint64_t number = 0;  // of this thread; never used again in the process
  bool isWatched = false;    // its end will be noticed, and its mutexes abandoned then
};

/// @return the calling thread's data. The first call arranges that the thread's mutexes are abandoned at its
///         end. When memory is too short for that, as it may be on a thread of the host's own, the next call
///         tries again; a mutex that such a thread does not release stays owned
ThreadState& CurrentThread();

enum class Acquired { kNo, kYes, kAbandoned };

/// An object that is signalled or not. All states have one lock. The last reference must not be dropped while
/// that lock is held: the destructor of a mutex takes it.
class Waitable : public Object {
 public:
  /// Takes the object for @p thread if it is signalled. Called with the lock held; allocates nothing.
  /// @return whether the object was taken; kAbandoned: taken, and its last owner has ended without releasing
  ///         it
  virtual Acquired Acquire(ThreadState& thread) = 0;
};

/// The lock of all waitable states.
[[nodiscard]] std::unique_lock<std::mutex> LockStates();

/// Gives signalled objects to those who wait. To be called, with the lock held, when an object may have
/// become signalled.
void ServeWaiters();

/// Abandons the mutexes of a thread that ends. To be called with the lock held.
void AbandonMutexes(ThreadState& thread);

}  // namespace platform::detail
