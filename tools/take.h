#pragma once
// The file of a recording: what its sound is like while it grows, and its exact length at the end.

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "platform/platform.h"

/// The level of a recording, from the file that the library writes. Tells nothing where the file cannot be
/// read meanwhile.
class TakeLevels {
 public:
  /// @param mostFrames what comes after them does not count; 0: everything does
  TakeLevels(const std::string& file, const WAVEFORMATEX& format, std::uint64_t mostFrames);

  /// Reads what has come since the last call.
  void Read();

  /// The highest sample that the last call has found, as a fraction of full scale.
  double Peak() const { return peak_; }
  /// Frames with a sample at the end of its range: louder ones would look the same.
  std::uint64_t ClippedFrames() const { return clipped_; }

 private:
  void Add(const char* frame);

  const WAVEFORMATEX format_;
  std::uint64_t left_;  // frames to read
  std::ifstream file_;
  std::vector<char> block_;
  std::streamoff position_;  // of the first frame that has not been read
  double peak_ = 0;
  std::uint64_t clipped_ = 0;
};

/// Cuts a file that the library has finished to its first frames; one with fewer stays as it is. A program
/// that is killed meanwhile leaves a file that a repair gives all its sound back. Throws a Failure.
void CutTake(const std::string& name, const WAVEFORMATEX& format, std::uint64_t frames);
