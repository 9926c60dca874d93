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
#endif

}  // namespace test
