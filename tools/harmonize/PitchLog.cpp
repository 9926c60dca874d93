#include "tools/harmonize/PitchLog.h"

#include <cstdio>

#include "tools/tool.h"

PitchLog::PitchLog(const std::string& wanted) : wanted_(wanted), part_(wanted), out_(part_.Name()) {
  if (!out_) throw Failure(wanted + " cannot be written: " + part_.Name() + " does not open");
  out_ << "time_s,pitch_hz,level\n";
}

void PitchLog::Write(double seconds, double pitchHz, double level) {
  char line[80];
  std::snprintf(line, sizeof line, "%.3f,%.2f,%.6f\n", seconds, pitchHz, level);
  out_ << line;
}

void PitchLog::Finish() {
  out_.close();
  if (!out_) throw Failure(wanted_ + " cannot be finished; is the disk full?");
}
