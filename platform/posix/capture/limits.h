#pragma once
// The limits of a capture buffer and of the built-in device.

#include <chrono>
#include <cstddef>

#include "platform/posix/types.h"

namespace platform::detail {

// The capture buffer.
inline constexpr DWORD kMostRingBytes = 0x0FFFFFFF;  // the published limit of a sound buffer
// The length of the backlog, and its size at the most.
inline constexpr std::chrono::seconds kBacklogTime{60};
inline constexpr std::size_t kMostBacklogBytes = std::size_t{64} << 20;
// How long one read of the source may wait. Wake ends it earlier.
inline constexpr std::chrono::milliseconds kReadTimeout{500};

// The built-in capture device.
inline constexpr std::chrono::milliseconds kSignalTick{10};
inline constexpr std::chrono::seconds kSignalMaxLateness{60};  // after that the device has paused

}  // namespace platform::detail
