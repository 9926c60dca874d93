#pragma once
// Values of CMMWav's openMode.

#include <cstdint>

inline constexpr std::uint32_t kClosed = 0;
inline constexpr std::uint32_t kReading = 1;
inline constexpr std::uint32_t kWriting = 2;
