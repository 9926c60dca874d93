#pragma once
// The codes of the checker, with the severity that each has unless a check says otherwise, and its sentence.

#include "wavfile/WavCheck.h"

namespace cmm::check {

struct Code {
  const char* name;
  WavSeverity severity;
  const char* text;
};

inline constexpr Code kCodes[] = {
    {"not-riff", WavSeverity::kUnreadable, "The file does not begin with RIFF."},
    {"container-rf64", WavSeverity::kUnreadable, "The file is an RF64 file, for sizes beyond 4 GiB."},
    {"container-rifx", WavSeverity::kUnreadable, "The file is a RIFX file: its numbers are big-endian."},
    {"container-other", WavSeverity::kUnreadable, "The file is of another kind."},
    {"form-not-wave", WavSeverity::kUnreadable, "The RIFF file is not of the form WAVE."},
    {"file-too-large", WavSeverity::kWrong, "The file has 4 GiB or more, which its sizes cannot tell."},
    {"cut-short", WavSeverity::kWrong, "The file ends before its RIFF size."},
    {"riff-size-placeholder", WavSeverity::kWrong, "The RIFF size was never filled in."},
    {"riff-size-stale", WavSeverity::kWrong, "The RIFF size is from before the last sound was written."},
    {"riff-size-wrong", WavSeverity::kWrong, "The RIFF size is not that of the chunks."},
    {"bytes-after-end", WavSeverity::kHarmless, "Bytes follow the last chunk."},
    {"chunk-overruns", WavSeverity::kWrong, "A chunk is larger than the rest of the file."},
    {"chunk-size-wrong", WavSeverity::kWrong, "A chunk does not end where the next one begins."},
    {"chunk-no-pad", WavSeverity::kWrong, "A chunk of odd size has no pad byte."},
    {"chunk-name-odd", WavSeverity::kWrong, "The name of a chunk is no text."},
    {"chunks-too-many", WavSeverity::kHarmless, "There are more chunks than are looked at."},
    {"fmt-missing", WavSeverity::kUnreadable, R"(There is no "fmt " chunk.)"},
    {"fmt-twice", WavSeverity::kWrong, R"(There is a second "fmt " chunk.)"},
    {"fmt-late", WavSeverity::kWrong, R"(The "fmt " chunk follows the "data" chunk.)"},
    {"fmt-short", WavSeverity::kUnreadable, R"(The "fmt " chunk is too short for its format.)"},
    {"tag-unknown", WavSeverity::kWrong, "The format tag is not known."},
    {"tag-wrong", WavSeverity::kWrong, "The format tag contradicts the other fields."},
    {"channels-zero", WavSeverity::kUnreadable, "The number of channels is 0."},
    {"channels-wrong", WavSeverity::kWrong, "The number of channels contradicts the other fields."},
    {"rate-zero", WavSeverity::kUnreadable, "The sample rate is 0."},
    {"rate-wrong", WavSeverity::kWrong, "The sample rate contradicts the byte rate and the block size."},
    {"byte-rate-wrong", WavSeverity::kWrong, "The byte rate is not the sample rate times the block size."},
    {"block-align-wrong", WavSeverity::kWrong, "The block size contradicts channels and bits."},
    {"block-frames-wrong", WavSeverity::kWrong, "The frames of a block contradict its size."},
    {"bits-wrong", WavSeverity::kWrong, "The bits of a sample contradict the other fields."},
    {"bits-odd", WavSeverity::kHarmless, "The bits of a sample fill no whole bytes."},
    {"extra-size-wrong", WavSeverity::kWrong, R"(The extra size is not that of the "fmt " chunk.)"},
    {"extra-size-missing", WavSeverity::kHarmless, "The format is not PCM and has no extra size."},
    {"fact-missing", WavSeverity::kHarmless, R"(The format is compressed and there is no "fact" chunk.)"},
    {"fact-wrong", WavSeverity::kWrong, R"(The frame count of the "fact" chunk is not that of the sound.)"},
    {"data-missing", WavSeverity::kUnreadable, R"(There is no "data" chunk.)"},
    {"data-twice", WavSeverity::kWrong, R"(There is a second "data" chunk.)"},
    {"data-size-placeholder", WavSeverity::kUnreadable, "The size of the sound was never filled in."},
    {"data-size-stale", WavSeverity::kWrong, "The size of the sound is from before the last was written."},
    {"data-size-wrong", WavSeverity::kWrong, "The size of the sound is not what the file holds."},
    {"data-partial-block", WavSeverity::kHarmless, "The sound ends within a block."},
};

/// @return the entry of a code; null for an unknown one
const Code* FindCode(const char* name);

}  // namespace cmm::check
