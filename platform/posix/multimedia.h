#pragma once
/// @file
/// The published structures of a wave format, and the results that the multimedia services share. Included by
/// the headers of these services.

#include "platform/posix/types.h"

using FOURCC = DWORD;   ///< four characters, the first in the low byte
using MMRESULT = UINT;  ///< result of a multimedia call; 0 is success

inline constexpr MMRESULT MMSYSERR_NOERROR = 0;
inline constexpr MMRESULT MMSYSERR_NOTENABLED = 3;
inline constexpr MMRESULT MMSYSERR_INVALHANDLE = 5;
inline constexpr MMRESULT MMSYSERR_NOMEM = 7;
inline constexpr MMRESULT MMSYSERR_NOTSUPPORTED = 8;
inline constexpr MMRESULT MMSYSERR_INVALFLAG = 10;
inline constexpr MMRESULT MMSYSERR_INVALPARAM = 11;

// Codes of formats, WAVEFORMATEX::wFormatTag.
inline constexpr WORD WAVE_FORMAT_PCM = 1;
inline constexpr WORD WAVE_FORMAT_ADPCM = 2;
inline constexpr WORD WAVE_FORMAT_IEEE_FLOAT = 3;
inline constexpr WORD WAVE_FORMAT_ALAW = 6;
inline constexpr WORD WAVE_FORMAT_MULAW = 7;
inline constexpr WORD WAVE_FORMAT_DVI_ADPCM = 0x11;  // IMA ADPCM
inline constexpr WORD WAVE_FORMAT_EXTENSIBLE = 0xFFFE;

#pragma pack(push, 1)
/// What every format begins with.
struct WAVEFORMAT {
  WORD wFormatTag;
  WORD nChannels;
  DWORD nSamplesPerSec;
  DWORD nAvgBytesPerSec;
  WORD nBlockAlign;
};
/// The first 16 bytes of WAVEFORMATEX, as a PCM file has them.
struct PCMWAVEFORMAT {
  WAVEFORMAT wf;
  WORD wBitsPerSample;
};
/// Format of a stream of audio. 18 bytes; a format other than PCM is followed by cbSize further bytes.
struct WAVEFORMATEX {
  WORD wFormatTag;        ///< WAVE_FORMAT_PCM, or the code of a compressed format
  WORD nChannels;         ///< channels, interleaved sample by sample
  DWORD nSamplesPerSec;   ///< frames a second, in hertz
  DWORD nAvgBytesPerSec;  ///< for PCM nBlockAlign times nSamplesPerSec
  WORD nBlockAlign;       ///< bytes of one block; for PCM one frame
  WORD wBitsPerSample;    ///< bits of one sample of one channel
  WORD cbSize;            ///< bytes of further format data after this structure
};
/// A format that says which channel is where: 40 bytes.
struct WAVEFORMATEXTENSIBLE {
  WAVEFORMATEX Format;  ///< wBitsPerSample are those of the container, a multiple of 8
  union {
    WORD wValidBitsPerSample;  ///< bits in use, from the highest down
    WORD wSamplesPerBlock;
    WORD wReserved;
  } Samples;
  DWORD dwChannelMask;  ///< a bit for each place that has a channel, in the order of the channels
  GUID SubFormat;       ///< Data1 is the code of the format inside, the rest is the same for all codes
};
#pragma pack(pop)
static_assert(sizeof(PCMWAVEFORMAT) == 16 && sizeof(WAVEFORMATEX) == 18 && sizeof(WAVEFORMATEXTENSIBLE) == 40,
              "the published structures have no padding");

using LPWAVEFORMATEX = WAVEFORMATEX*;

namespace platform::detail {

/// PCM whose samples have a multiple of 8 bits, and whose block and byte rate are those of its rate, channels
/// and bits.
inline bool IsConsistentPcm(const WAVEFORMATEX& format) {
  const std::uint64_t block = std::uint64_t{format.nChannels} * format.wBitsPerSample / 8;
  return format.wFormatTag == WAVE_FORMAT_PCM && format.nChannels > 0 && format.nSamplesPerSec > 0 &&
         format.wBitsPerSample > 0 && format.wBitsPerSample % 8 == 0 && format.nBlockAlign == block &&
         format.nAvgBytesPerSec == block * format.nSamplesPerSec;
}

}  // namespace platform::detail
