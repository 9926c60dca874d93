#pragma once
// The settings of ALSA's devices: their buffers, and how often they are read.

#include <chrono>

namespace platform::detail {

// Capture.
// The device's buffer: for so long a stopped process loses no sound.
inline constexpr std::chrono::seconds kCaptureBuffer{10};
// What a sound server delivers at a time: a recorder's segment. At a stop, the server may still have one.
inline constexpr std::chrono::milliseconds kCapturePeriod{250};
// How often the device is read: as often as a recorder's segments come. Waiting for a sound server's
// descriptor instead wakes the worker five times as often.
inline constexpr std::chrono::milliseconds kShortestInterval{1};
inline constexpr std::chrono::milliseconds kLongestInterval{250};
inline constexpr unsigned kReadsPerBuffer = 4;  // at the least

// Output.
// A sound server may already have a period that cannot be withdrawn when the sound is to stop.
inline constexpr std::chrono::milliseconds kOutputPeriod{50};

}  // namespace platform::detail
