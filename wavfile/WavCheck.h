#pragma once
/// @file
/// What is wrong with a WAV file, field by field, and its repair: above all that of a recording whose program
/// was killed before it could write the sizes.
///
/// @code
/// void Show(void*, const cmm::WavFinding& finding) { std::puts(cmm::CodeText(finding.code)); }
///
/// if (cmm::CheckWavFile("take.wav", Show, nullptr) > 0) {
///   std::uint64_t frames = 0;
///   if (cmm::RepairWavFile("take.wav", {}, Show, nullptr, &frames) == 1) Tell(frames);
/// }
/// @endcode
///
/// Each call stands alone: neither needs the other before it. Both take a bounded time and little memory,
/// whatever the file's sizes say; only a copy takes as long as copying does. No exception leaves them.
///
/// Threads: any, at the same time for different files. Nobody may write to a file while it is repaired; a
/// file that this process has open for writing is refused (-1).

#include <cstdint>

#include "platform/export.h"
#include "platform/platform.h"

namespace cmm {

/// @addtogroup wavfile
/// @{

/// How bad a finding is.
enum class WavSeverity : std::uint32_t {
  kHarmless,   ///< readers agree on the sound all the same
  kWrong,      ///< some readers refuse the file, or find too little or too much sound
  kUnreadable  ///< this library cannot read the file
};

/// One defect of a file, or one change by a repair.
struct WavFinding {
  const char* code;        ///< short and lasting, as "riff-size-placeholder"; valid for the whole process
  WavSeverity severity;    ///< how bad it is
  std::uint64_t offset;    ///< of the field in the file, in bytes
  std::uint64_t found;     ///< the field's value; an identifier as a little-endian number
  std::uint64_t expected;  ///< the value that it should have; 0 when that is not known
  char chunk[5];           ///< the identifier of the chunk that has the field, or "RIFF"; '?' for no text
};

/// The text of a code.
/// @return the sentence for a code in English; null for an unknown code or null
CMM_API const char* CodeText(const char* code);

/// Called for each finding, before the function that it was given to returns.
/// @param context as given to that function
using WavFindingSink = void (*)(void* context, const WavFinding& finding);

/// Looks for defects. Never reads the samples as chunks, and never changes the file.
/// @param path as mmioOpenA takes it
/// @param sink may be null
/// @return the number of findings; 0 for a file without a defect
/// @return -1: the file cannot be opened or read, or memory is short
CMM_API std::int32_t CheckWavFile(const char* path, WavFindingSink sink, void* context);

/// How a file is to be repaired.
struct WavRepair {
  /// Where to write a repaired copy, and leave the file itself as it is; null: repair it in place. A copy can
  /// also bring chunks into order, join two "data" chunks and put in a missing "fmt ".
  const char* copyTo = nullptr;
  /// The format, for a file that does not tell its own any more: nChannels, nSamplesPerSec and wBitsPerSample
  /// of PCM are taken. Null: such a file is refused. A format that the file tells is never replaced.
  const WAVEFORMATEX* format = nullptr;
  /// Tell the changes and write nothing.
  bool dryRun = false;
};

/// Repairs a file. In place it writes header fields alone, one after the other, so that after a crash in
/// between a second repair finishes the work; no sample byte changes. A file with only harmless findings is
/// not even opened for writing.
/// @param changes called for each change, in their order: `found` was there, `expected` is written. May be
///                null
/// @param frames  receives the frames of the repaired file, or of one without a defect; 0 when unknown. May
///                be null
/// @return 1: repaired; with dryRun: would be
/// @return 2: nothing to repair; no copy is written either
/// @return 0: refused, and nothing is written: there is no "data" chunk, the format is not known, the file is
///         of another kind or has 4 GiB and more; or only a copy can repair it
/// @return -1: a file cannot be opened, read or written. What is at copyTo then is of no use
CMM_API std::int32_t RepairWavFile(const char* path, const WavRepair& how, WavFindingSink changes,
                                   void* context, std::uint64_t* frames);

/// @}

}  // namespace cmm
