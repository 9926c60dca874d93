#pragma once
// What a process holds. For programs with AllocationCounter.cpp among their sources.

#include <malloc.h>

#include <cstddef>
#include <filesystem>
#include <iterator>

#include "tests/support/AllocationCounter.h"

struct Holdings {
  long blocks;        // of the C++ heap
  std::size_t bytes;  // of the whole heap
  std::ptrdiff_t files;
  std::ptrdiff_t threads;
};

inline Holdings HoldingsNow() {
  const auto entries = [](const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
  };
  const auto heap = mallinfo2();
  return {BlocksHeld(), heap.uordblks + heap.hblkhd, entries("/proc/self/fd"), entries("/proc/self/task")};
}

/// Whether @p now is more than @p before: blocks, files or threads.
inline bool HoldsMore(const Holdings& now, const Holdings& before) {
  return now.blocks > before.blocks || now.files > before.files || now.threads > before.threads;
}
