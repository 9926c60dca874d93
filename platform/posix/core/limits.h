#pragma once
// The limits of handles, heaps and threads.

#include <cstddef>
#include <cstdint>

namespace platform::detail {

// A handle has its index in so many lower bits, and a count of openings in the others.
inline constexpr unsigned kHandleIndexBits = 16;
inline constexpr std::uintptr_t kHandleIndexMask = (std::uintptr_t{1} << kHandleIndexBits) - 1;

inline constexpr std::size_t kMostBlockBytes = (std::size_t{1} << 31) - 1;  // of a heap
inline constexpr std::size_t kLeastStackBytes = std::size_t{64} << 10;      // with what the system uses

}  // namespace platform::detail
