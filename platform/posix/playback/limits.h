#pragma once
// The limits of media control: of a playback, and of the file that it plays.

#include <chrono>
#include <cstdint>

#include "platform/posix/multimedia.h"

namespace platform::detail {

// The device's buffer: where the host names no length, and the least and most that it gets.
inline constexpr std::chrono::seconds kDefaultOutputBuffer{4};
inline constexpr std::chrono::seconds kLeastOutputBuffer{1};
inline constexpr std::chrono::seconds kMostOutputBuffer{10};

// How often a playback asks its device how far it has come, and so whether it has failed.
inline constexpr std::chrono::milliseconds kDeviceCheckInterval{200};
// The last part of the sound, which the device's drain plays to its end; how often the drain is repeated.
inline constexpr std::chrono::milliseconds kDrainTime{10};
// The end is near with this part of the buffer queued, 1 / 16: a sound server may not count the rest.
inline constexpr std::uint32_t kNearEndDivisor = 16;

// A file.
inline constexpr DWORD kPieceBytes = 32768;
inline constexpr DWORD kLeastFormatBytes = 16;  // of PCM, where cbSize may be missing
inline constexpr DWORD kMostFormatBytes = sizeof(WAVEFORMATEX) + 65535;  // with the largest cbSize

}  // namespace platform::detail
