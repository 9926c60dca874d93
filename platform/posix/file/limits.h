#pragma once
// The limits of positions in files.

#include <cstdint>

namespace platform::detail {

// Positions have 32 bits, and the last value is the published mark of failure.
inline constexpr std::int64_t kEndOfPositions = std::int64_t{1} << 32;
inline constexpr std::int64_t kLastPosition = kEndOfPositions - 2;

}  // namespace platform::detail
