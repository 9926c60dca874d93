#pragma once
// The limits of capturing and playing.

#include <chrono>
#include <cstddef>

#include "platform/posix/types.h"

namespace platform::detail {

// The capture buffer.
inline constexpr DWORD kMostRingBytes = 0x0FFFFFFF;  // the published limit of a sound buffer
// The backlog holds so much sound, but no more than so many bytes.
inline constexpr std::chrono::seconds kBacklogTime{60};
inline constexpr std::size_t kMostBacklogBytes = std::size_t{64} << 20;
// How long the worker leaves itself to the source. A Wake ends the wait; this only bounds what a source may
// do.
inline constexpr std::chrono::milliseconds kReadPatience{500};

// Capture through ALSA.
// What the worker may oversleep: as much as the device has, so that a process that is stopped loses little.
inline constexpr std::chrono::seconds kCaptureBuffer{10};
// What a sound server hands over at a time: a recorder's segment. The part of one that a stop leaves with the
// server would be no whole segment either.
inline constexpr std::chrono::milliseconds kCapturePeriod{250};
// How often the device is asked: as often as a recorder's segments come. Waiting for a sound server's
// descriptor instead wakes the worker five times as often.
inline constexpr std::chrono::milliseconds kShortestInterval{1};
inline constexpr std::chrono::milliseconds kLongestInterval{250};
inline constexpr unsigned kLooksABuffer = 4;  // at the least

// Playing through ALSA.
inline constexpr std::chrono::seconds kLeastOutputBuffer{1};
inline constexpr std::chrono::seconds kMostOutputBuffer{10};
// A server may have as much as a period under way that it cannot take back when the sound is to stop.
inline constexpr std::chrono::milliseconds kOutputPeriod{50};

// The built-in capture device.
inline constexpr std::chrono::milliseconds kSignalTick{10};
inline constexpr std::chrono::seconds kSignalMostLate{60};  // beyond it the device has paused

}  // namespace platform::detail
