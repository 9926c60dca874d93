#pragma once

#include "platform/platform.h"

/// A format whose fields agree.
inline WAVEFORMATEX Format(DWORD rate, WORD channels, WORD bits, WORD tag = WAVE_FORMAT_PCM) {
  const auto block = static_cast<WORD>(channels * ((bits + 7) / 8));
  return {tag, channels, rate, rate * block, block, bits, 0};
}
