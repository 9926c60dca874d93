#pragma once
// Whether a format can be counted in frames.

#include "platform/platform.h"

// Files with zeros in these fields open, but there is nothing to divide by: such a file has no frames, and
// its bytes are not to be had.
inline bool HasFrames(const WAVEFORMATEX& format) {
  return format.nBlockAlign != 0 && format.nChannels != 0 && format.wBitsPerSample != 0;
}
