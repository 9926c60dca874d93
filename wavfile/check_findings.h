#pragma once
// All findings of one file, with what a repair would write.

#include <vector>

#include "wavfile/WavCheck.h"
#include "wavfile/check_chunks.h"

namespace cmm::check {

/// How a finding is repaired.
enum class Cure {
  kNone,      // not at all
  kTwoBytes,  // `expected` is written at `offset`, in so many bytes
  kFourBytes,
  kCopy,  // by a copy, in which the chunks are put together anew
};

/// @return the bytes that are written
inline std::uint32_t Width(Cure cure) {
  return cure == Cure::kTwoBytes ? 2 : cure == Cure::kFourBytes ? 4 : 0;
}

struct Finding {
  WavFinding told;
  Cure cure;
};

using Findings = std::vector<Finding>;

/// What a file is, and what is wrong with it. The findings are in the order in which a repair writes them.
struct Diagnosis {
  Map map;
  Findings findings;
  std::uint64_t frames = 0;  // 0 when not known
  bool formatGiven = false;  // a copy gets a new "fmt " chunk, of the caller's format
  bool IsHarmless() const;
};

/// @param chunk an identifier
void Add(Findings& findings, const char* code, std::uint32_t chunk, std::uint64_t offset, std::uint64_t found,
         std::uint64_t expected, Cure cure);

/// @param given the caller's format; may be null
Diagnosis Diagnose(Reader& file, const WAVEFORMATEX* given);

}  // namespace cmm::check
