#pragma once
// The limits of media control: of a playback, and of the file that it plays.

#include <chrono>
#include <cstdint>

#include "platform/posix/multimedia.h"

namespace platform::detail {

// The device's buffer: where the host names no length, and the least and most that it gets.
inline constexpr std::chrono::seconds kUsualBuffer{4};
inline constexpr std::chrono::seconds kLeastOutputBuffer{1};
inline constexpr std::chrono::seconds kMostOutputBuffer{10};

// How long a device may be gone before that is noticed.
inline constexpr std::chrono::milliseconds kLook{200};
// What is left to the device's draining; how often it is asked.
inline constexpr std::chrono::milliseconds kLastDrain{10};
inline constexpr std::uint32_t kLastPart = 16;  // of the buffer, which a sound server may not account for

// A file.
inline constexpr DWORD kPieceBytes = 32768;
inline constexpr DWORD kLeastFormatBytes = 16;  // of PCM, where cbSize may be missing
inline constexpr DWORD kMostFormatBytes = sizeof(WAVEFORMATEX) + 65535;  // with the largest cbSize

}  // namespace platform::detail
