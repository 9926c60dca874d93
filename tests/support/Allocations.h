#pragma once
// The C library's memory, cut off. For programs with Allocations.cpp among their sources, which go without
// sanitizers: those have a memory of their own.

namespace test {

/// Has one allocation of the process fail, or all from that one on.
/// @param nth  1: the next one
void FailAllocation(long nth, bool andAllBehind);

/// Ends that. @return whether an allocation has failed
bool AllocateAgain();

}  // namespace test
