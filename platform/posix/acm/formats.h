#pragma once
// What the drivers check in formats, and how they load and store PCM samples.

#include "platform/pcm/samples.h"
#include "platform/posix/multimedia.h"

namespace platform::detail {

constexpr WORD kMostChannels = 2;

/// Consistent PCM of 8 or 16 bits and 1 or 2 channels.
inline bool IsPcm(const WAVEFORMATEX& format) {
  return IsConsistentPcm(format) && format.nChannels <= kMostChannels && format.wBitsPerSample <= 16;
}

inline bool SameRateAndChannels(const WAVEFORMATEX& one, const WAVEFORMATEX& other) {
  return one.nSamplesPerSec == other.nSamplesPerSec && one.nChannels == other.nChannels;
}

/// @return the word @p index of the further format data; cbSize must cover it
inline WORD ExtraWord(const WAVEFORMATEX& format, std::size_t index) {
  return Load<WORD>(reinterpret_cast<const BYTE*>(&format) + sizeof format + index * sizeof(WORD));
}

/// Loads a PCM sample as one of 16 bits.
template <class Pcm>
std::int16_t LoadPcm(const BYTE* bytes) {
  return static_cast<std::int16_t>(Resize<std::int16_t, Pcm>(Load<Pcm>(bytes)));
}

/// Stores a sample of 16 bits as a PCM sample.
template <class Pcm>
void StorePcm(BYTE* bytes, std::int16_t sample) {
  Store(bytes, static_cast<Pcm>(Resize<Pcm, std::int16_t>(sample)));
}

}  // namespace platform::detail
