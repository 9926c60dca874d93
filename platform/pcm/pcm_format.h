#pragma once
// Which formats the PCM converter takes, as a source and as a destination.

#include <cstddef>
#include <optional>

#include "platform/platform.h"

namespace platform::detail {

constexpr std::size_t kMostPcmChannels = 8;

enum class SampleKind { kPcm8, kPcm16, kPcm24, kPcm32, kFloat, kDouble, kALaw, kMuLaw };

/// What a source consists of. Bits that the container of a sample has beyond the valid ones count as well.
struct PcmSource {
  SampleKind kind;
  std::size_t channels;  // 1 to kMostPcmChannels
  DWORD mask;            // places of the channels, in their order; 0: not said
  DWORD rate;
  std::size_t frameBytes;
};

/// PCM of 8 or 16 bits.
struct PcmTarget {
  std::size_t sampleBytes;
  std::size_t channels;
  DWORD rate;
};

/// Reads WAVE_FORMAT_PCM, WAVE_FORMAT_IEEE_FLOAT, or WAVE_FORMAT_EXTENSIBLE with these or a law of G.711
/// inside. Of the extensible format its first 40 bytes are read, if cbSize covers them, and of the others the
/// first 16.
/// @return nothing: another format, or its fields contradict one another
std::optional<PcmSource> ReadPcmSource(const WAVEFORMATEX& format);

/// Reads WAVE_FORMAT_PCM of 8 or 16 bits: the format's first 16 bytes.
/// @return nothing: another format, its fields contradict one another, or it has neither one channel nor two
///         nor those of @p source
std::optional<PcmTarget> ReadPcmTarget(const WAVEFORMATEX& format, const PcmSource& source);

}  // namespace platform::detail
