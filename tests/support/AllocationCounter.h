#pragma once
// The C++ heap of a test program, counted and cut off. For programs with AllocationCounter.cpp among their
// sources.

/// Blocks that the process has taken so far.
long BlocksTaken();

/// Those of them that have not been given back.
long BlocksHeld();

/// Lets the heap give this many more blocks, and none after them. Negative: no limit.
void LimitBlocks(long left);
