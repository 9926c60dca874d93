#pragma once
// The length of a WAV file's sound, computed from the chunks. CMMWav uses the header's byte rate and declared
// sizes, which some programs write incorrectly.

#include <cstdint>
#include <optional>
#include <string>

#include "platform/platform.h"

class CMMWav;

/// What the chunks of a file say.
struct WavSizes {
  std::uint64_t fileBytes = 0;
  std::uint64_t dataBytes = 0;   ///< of the samples, as declared
  std::uint64_t heldBytes = 0;   ///< of these, present in the file
  std::uint32_t factFrames = 0;  ///< as the "fact" chunk has it; 0 without one
  bool isOpenEnded = false;      ///< the sizes are those of programs that write to a pipe; the data are taken
                                 ///< to reach to the file's end
};

/// @return empty when the file cannot be read
std::optional<WavSizes> ReadSizes(const std::string& name);

struct WavLength {
  std::optional<std::uint64_t> frames;  ///< empty for formats that do not tell
  std::optional<double> seconds;        ///< empty also where the rates are 0
};

/// The length of so many bytes of samples. ADPCM counts by whole blocks, and the "fact" chunk tells how much
/// of the last one counts.
WavLength LengthOf(const WAVEFORMATEX& format, std::uint64_t bytes, std::uint32_t factFrames);

/// Where a file's sound ends for CMMWav::GetNowTime: at the end that its header declares, or at the end of the
/// file when that is not declared.
double EndOfSound(CMMWav& wav, const std::string& file);

/// The length of what a file holds. Throws a Failure that says why it cannot be read.
WavLength LengthOfSound(const std::string& file);
