#pragma once
// The fields of a "fmt " chunk: which contradict the others, and what they should be.

#include "wavfile/check_rules.h"

namespace cmm::check {

inline constexpr std::uint64_t kSmallestFormat = 16;  // bytes of a "fmt " chunk

/// Reports what is wrong with the chunk's fields.
/// @param given the caller's format, for fields that cannot be told from the others; may be null
/// @return the format with the right fields; with a block of 0 when that is not known
Format CheckFormat(Reader& file, const Chunk& chunk, const Format* given, Findings& findings);

}  // namespace cmm::check
