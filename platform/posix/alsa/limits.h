#pragma once
// What is asked of ALSA's devices: how much they hold, and how often they are looked at.

#include <chrono>

namespace platform::detail {

// Capture.
// The device's buffer: as long as a stopped process may sleep without losing sound.
inline constexpr std::chrono::seconds kCaptureBuffer{10};
// What a sound server hands over at a time: a recorder's segment. A stop leaves at most one of these with the
// server.
inline constexpr std::chrono::milliseconds kCapturePeriod{250};
// How often the device is asked: as often as a recorder's segments come. Waiting for a sound server's
// descriptor instead wakes the worker five times as often.
inline constexpr std::chrono::milliseconds kShortestInterval{1};
inline constexpr std::chrono::milliseconds kLongestInterval{250};
inline constexpr unsigned kLooksABuffer = 4;  // at the least

// Output.
// A server may have as much as a period under way that it cannot take back when the sound is to stop.
inline constexpr std::chrono::milliseconds kOutputPeriod{50};

}  // namespace platform::detail
