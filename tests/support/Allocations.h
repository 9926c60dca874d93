#pragma once
// Failing allocations of the C library. For programs with Allocations.cpp among their sources. With a
// sanitizer, which has its own allocator, they leave it out and define CMM_OWN_MEMORY.

namespace test {

/// Makes one allocation of the process fail, or all from that one on.
/// @param nth  1: the next one
void FailAllocation(long nth, bool andAllAfter);

/// Ends that. @return whether an allocation has failed
bool AllocateAgain();

#ifdef CMM_OWN_MEMORY
inline constexpr bool kAllocationsFail = false;
inline void FailAllocation(long, bool) {}
inline bool AllocateAgain() {
  return false;
}
#else
inline constexpr bool kAllocationsFail = true;

/// Says whether an allocation counts. Must not allocate.
/// @param caller an address in the code that has asked for memory
/// @param isNext whether it is the one to fail, if it counts
using AllocationFilter = bool (*)(const void* caller, bool isNext);
void FilterAllocations(AllocationFilter filter);

/// How many allocations have counted since FailAllocation.
long AllocationsMade();

/// How many blocks the process has and has not given back.
long AllocationsHeld();
#endif

}  // namespace test
