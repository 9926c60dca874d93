#pragma once
/// @file
/// The published wave format record.

#include "platform/posix/types.h"

inline constexpr WORD WAVE_FORMAT_PCM = 1;

#pragma pack(push, 1)
/// Format of a stream of audio. 18 bytes; a format other than PCM has cbSize further bytes behind it.
struct WAVEFORMATEX {
  WORD wFormatTag;        ///< WAVE_FORMAT_PCM, or the code of a compressed format
  WORD nChannels;         ///< channels, interleaved sample by sample
  DWORD nSamplesPerSec;   ///< frames a second, in hertz
  DWORD nAvgBytesPerSec;  ///< for PCM nBlockAlign times nSamplesPerSec
  WORD nBlockAlign;       ///< bytes of one block; for PCM one frame
  WORD wBitsPerSample;    ///< bits of one sample of one channel
  WORD cbSize;            ///< bytes of further format data behind this record
};
#pragma pack(pop)
static_assert(sizeof(WAVEFORMATEX) == 18, "the published record has no padding");

using LPWAVEFORMATEX = WAVEFORMATEX*;
using LPCWAVEFORMATEX = const WAVEFORMATEX*;
