#pragma once
// A WAV file's sound as PCM of another rate, other channels or another sample size, block by block.

#include <cstdint>
#include <string>

#include "tools/decoding.h"
#include "tools/output_file.h"
#include "wavfile/CMMWav.h"

/// The PCM format of this rate, channel count and sample size in bits.
WAVEFORMATEX Pcm(std::uint32_t rate, std::uint16_t channels, std::uint16_t bits);

/// The format of a file. Throws a Failure when the file cannot be read.
WAVEFORMATEX FormatOf(const std::string& file);

/// What ConvertFile is to do.
struct Conversion {
  std::string source;
  std::string target;        ///< the file that will hold the result; a file in between is made beside it
  WAVEFORMATEX format;       ///< PCM
  int stages = 0;            ///< as BeginConvert counts them; 0: two where the rate changes
  bool highQuality = false;  ///< change the rate by HighQualityRate
};

/// Hands the sound of a file to @p sink in the wanted format, half a second at a time, and shows the progress
/// on the terminal. Throws a Failure when the disk has no room for the result, the file cannot be
/// converted to its end, or the user stops it.
void ConvertFile(const Conversion& conversion, const Sink& sink);

/// A PCM file that is being written, under a temporary name. Only Keep gives it the wanted name; until then,
/// and after a failure, a file of that name stays as it is. Every operation throws a Failure when the disk
/// fails.
class PcmFile {
 public:
  /// @param suffix as of PartialFile
  PcmFile(const std::string& wanted, const WAVEFORMATEX& format, const char* suffix = ".part");
  void Write(const void* data, std::uint32_t bytes);
  /// Finishes the file, still under its temporary name.
  void Finish();
  void Keep(bool force) { part_.Keep(force); }       ///< gives the finished file its wanted name
  std::string Name() const { return part_.Name(); }  ///< the temporary name
  double Seconds() const { return static_cast<double>(bytes_) / format_.nAvgBytesPerSec; }

 private:
  const std::string wanted_;
  const WAVEFORMATEX format_;
  PartialFile part_;
  CMMWav wav_;
  std::uint32_t bytes_ = 0;
};
