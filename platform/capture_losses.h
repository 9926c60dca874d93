#pragma once
/// @file
/// What a capture buffer can tell of sound that it could not keep: an interface of this library's own, on
/// both systems. The layer's buffer has it, the platform's has not; a registered device may have it. A buffer
/// that has it gives it out by QueryInterface, and answers for it from any thread.

#include <cstdint>

#include "platform/platform.h"

/// Sound that was captured since the buffer's last Start and did not reach its reader. Places and lengths are
/// in frames; a place counts from that Start, lost frames included.
struct CaptureLosses {
  std::uint32_t overruns;        ///< gaps; frames lost one right behind the other are one gap
  bool estimated;                ///< a length rests on a clock and not on a count
  std::uint64_t lostFrames;      ///< of all gaps
  std::uint64_t lastLossAt;      ///< where the last gap begins
  std::uint64_t lastLossFrames;  ///< how long it is
  std::uint64_t waitingFrames;   ///< captured, and not yet unlocked by the reader: not lost
};

inline constexpr IID IID_ICaptureLosses = {
    0x6B1D0C52, 0x7A0E, 0x4C1B, {0x9C, 0x61, 0x2D, 0x5E, 0x33, 0xA8, 0x14, 0xF7}};

struct ICaptureLosses : IUnknown {
  /// Cannot fail. Any thread.
  virtual void __stdcall GetLosses(CaptureLosses* losses) = 0;

 protected:
  ~ICaptureLosses() = default;
};
