#pragma once
// The fields of a "fmt " chunk: which contradict the others, and what they should be.

#include <cstdint>

#include "wavfile/check_findings.h"

namespace cmm::check {

inline constexpr std::uint16_t kFloat = 3;
inline constexpr std::uint16_t kExtensible = 0xFFFE;
inline constexpr std::uint64_t kSmallestFormat = 16;  // bytes of a "fmt " chunk

struct Format {
  std::uint32_t tag = 0, channels = 0, rate = 0, byteRate = 0, block = 0, bits = 0;
  std::uint32_t extra = 0;           // the extra size
  std::uint32_t framesPerBlock = 1;  // 0 when it is not known
  bool compressed = false;           // the bytes of a block are not `channels` times whole samples
};

/// Reports what is wrong with the chunk's fields.
/// @param given the caller's format, for fields that cannot be told from the others; may be null
/// @return the format with the right fields; with a block of 0 when that is not known
Format CheckFormat(Reader& file, const Chunk& chunk, const Format* given, Findings& findings);

/// @return the fields of a PCM format; a block of 0 when it cannot be written
Format PcmFormat(const WAVEFORMATEX& wanted);

}  // namespace cmm::check
