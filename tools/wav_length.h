#pragma once
// What a WAV file's chunks say: the complete format, where the sound is, and its length. CMMWav gives 18 bytes of
// the format, and uses the header's byte rate and declared sizes, which some programs write incorrectly.
// Here RF64 and W64 are read, too: WAV files whose sizes have 64 bits.

#include <cstdint>
#include <optional>
#include <string>

#include "platform/platform.h"

class CMMWav;

/// What the chunks of a file say.
struct WavSizes {
  const char* container = "";  ///< "RIFF", "RF64" or "W64"
  std::uint64_t fileBytes = 0;
  std::uint64_t formatAt = 0;     ///< where the format chunk's content begins
  std::uint64_t formatBytes = 0;  ///< of these, present in the file
  WAVEFORMATEXTENSIBLE format{};  ///< what the chunk has of it, and zeros
  std::uint64_t dataAt = 0;       ///< where the samples begin
  std::uint64_t dataBytes = 0;    ///< of the samples, as declared
  std::uint64_t heldBytes = 0;    ///< of these, present in the file
  std::uint32_t factFrames = 0;   ///< as the "fact" chunk has it; 0 without one
  bool isOpenEnded = false;  ///< the sizes are those of programs that write to a pipe; the data are taken
                             ///< to reach to the file's end

  /// Whether CMMWav reads the file: a RIFF file, whose format has an extra size where it is not PCM.
  bool IsPlain() const;
};

/// @return empty when the file cannot be read
std::optional<WavSizes> ReadSizes(const std::string& name);

/// The same of a file whose sound is to be read. Throws a Failure that says why it cannot be read.
WavSizes ReadSource(const std::string& file);

struct WavLength {
  std::optional<std::uint64_t> frames;  ///< empty for formats that do not tell
  std::optional<double> seconds;        ///< empty also where the rates are 0
};

/// The length of so many bytes of samples. ADPCM counts by whole blocks, and the "fact" chunk tells how much
/// of the last one counts.
WavLength LengthOf(const WAVEFORMATEX& format, std::uint64_t bytes, std::uint32_t factFrames);

/// The bytes of half a second, in whole blocks, whatever the format says.
std::uint32_t HalfSecond(const WAVEFORMATEX& format);

/// Where a file's sound ends for CMMWav::GetNowTime: at the end that its header declares, or at the end of the
/// file when that is not declared.
double EndOfSound(CMMWav& wav, const std::string& file);

/// The length of what a file holds.
inline WavLength LengthOf(const WavSizes& file) {
  return LengthOf(file.format.Format, file.heldBytes, file.factFrames);
}
