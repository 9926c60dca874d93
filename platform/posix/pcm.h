#pragma once
// What makes a PCM format one.

#include "platform/posix/multimedia.h"

namespace platform::detail {

/// PCM of whole bytes, whose block and byte rate are those of its rate, channels and bits.
inline bool IsConsistentPcm(const WAVEFORMATEX& format) {
  const std::uint64_t block = std::uint64_t{format.nChannels} * format.wBitsPerSample / 8;
  return format.wFormatTag == WAVE_FORMAT_PCM && format.nChannels > 0 && format.nSamplesPerSec > 0 &&
         format.wBitsPerSample > 0 && format.wBitsPerSample % 8 == 0 && format.nBlockAlign == block &&
         format.nAvgBytesPerSec == block * format.nSamplesPerSec;
}

}  // namespace platform::detail
