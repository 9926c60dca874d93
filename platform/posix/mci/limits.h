#pragma once
// The limits of media control.

#include <chrono>
#include <cstdint>

#include "platform/posix/multimedia.h"

namespace platform::detail {

inline constexpr std::chrono::seconds kUsualBuffer{4};  // of the device, where the host names none

// A playback.
inline constexpr std::chrono::milliseconds kLook{
    200};  // how long a device may be gone before that is noticed
// What is left to the device's draining; how often it is asked.
inline constexpr std::chrono::milliseconds kLastDrain{10};
inline constexpr std::uint32_t kLastPart = 16;  // of the buffer, which a sound server may not account for

// A file.
inline constexpr DWORD kPieceBytes = 32768;
inline constexpr DWORD kLeastFormatBytes = 16;  // of PCM, where cbSize may be missing
inline constexpr DWORD kMostFormatBytes = sizeof(WAVEFORMATEX) + 65535;  // with the largest cbSize

}  // namespace platform::detail
