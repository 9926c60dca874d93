#pragma once
// The pitch of a sound over time, as a table.

#include <fstream>
#include <string>

#include "tools/output_file.h"

/// Writes lines of time in seconds, pitch in hertz (0 where there is no note) and level (full scale 1), a
/// hundred to the second. Only Keep gives the file the wanted name.
class PitchLog {
 public:
  static constexpr std::int64_t kSamplesPerLine = 441;  // of 44100 a second

  /// Throws a Failure when the file cannot be created.
  explicit PitchLog(const std::string& wanted);
  void Write(double seconds, double pitchHz, double level);
  /// Finishes the file, still under its temporary name. Throws a Failure when the disk is full.
  void Finish();
  void Prepare(bool force) { part_.Prepare(force); }
  void Keep(bool force) { part_.Keep(force); }  ///< gives the finished file its wanted name

 private:
  const std::string wanted_;
  PartialFile part_;
  std::ofstream out_;
};
