#pragma once
// The limits of files, handles, memory and threads.

#include <cstddef>
#include <cstdint>

namespace platform::detail {

// Positions in files have 32 bits, and the last is the published mark of failure.
inline constexpr std::int64_t kEndOfPositions = std::int64_t{1} << 32;
inline constexpr std::int64_t kLastPosition = kEndOfPositions - 2;

// A handle is a count of openings above an index of so many bits.
inline constexpr unsigned kHandleIndexBits = 16;
inline constexpr std::uintptr_t kHandleIndexMask = (std::uintptr_t{1} << kHandleIndexBits) - 1;

inline constexpr std::size_t kMostBlockBytes = (std::size_t{1} << 31) - 1;  // of a heap
inline constexpr std::size_t kLeastStackBytes = std::size_t{64} << 10;  // the system's own need is part of it

}  // namespace platform::detail
