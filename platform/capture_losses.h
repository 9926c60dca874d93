#pragma once
/// @file
/// The report of sound that a capture buffer could not keep: an interface of this library's own, for hosts on
/// both systems. The layer's buffer has it; that of Windows has not; that of a registered device may. A
/// buffer that has it gives it out by QueryInterface. Any thread.

#include <cstdint>

#include "platform/platform.h"

/// Sound that was captured since the buffer's last Start and did not reach its reader. Positions and lengths
/// are in frames; a position counts from that Start, lost frames included.
struct CaptureLosses {
  std::uint32_t overruns;        ///< gaps; frames lost directly one after the other are one gap
  bool estimated;                ///< true: a length comes from a clock and not from a count
  std::uint64_t lostFrames;      ///< of all gaps
  std::uint64_t lastLossAt;      ///< position of the last gap
  std::uint64_t lastLossFrames;  ///< length of the last gap
  std::uint64_t waitingFrames;   ///< captured, and not yet unlocked by the reader: not lost
};

/// The identifier of ICaptureLosses, for QueryInterface.
inline constexpr IID IID_ICaptureLosses = {
    0x6B1D0C52, 0x7A0E, 0x4C1B, {0x9C, 0x61, 0x2D, 0x5E, 0x33, 0xA8, 0x14, 0xF7}};

/// An interface of a capture buffer, valid until its Release.
struct ICaptureLosses : IUnknown {
  /// Fills in @p losses, the caller's; not null. Cannot fail. Any thread.
  virtual void __stdcall GetLosses(CaptureLosses* losses) = 0;

 protected:
  ~ICaptureLosses() = default;
};
