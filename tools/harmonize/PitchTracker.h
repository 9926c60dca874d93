#pragma once
// The pitch of a voice, sample by sample.

#include <cstdint>

#include "harmony/HarmonyUnit.h"

/// Finds the note that a voice sings with the stages NRIn, FstLPF, LVS, CPRS, VPF and PitchExt.
///
/// PitchExt measures single periods of any input, rounded to samples. The tracker makes a note of them: it
/// begins when three periods in a row agree, goes on as their mean, and ends when no more periods agree.
class PitchTracker {
 public:
  /// Takes one sample of the signed 32-bit range, 44100 a second.
  void Process(std::int32_t sample);

  /// Half the note's period in samples, as HarmonyUnit::pitchValue has it; 0.0 while there is no note.
  double HalfPeriod() const { return halfPeriod_; }
  /// The note in hertz; 0.0 while there is none.
  double PitchHz() const;
  /// The mean magnitude of about the last twentieth of a second, full scale 1.0.
  double Level() const;

 private:
  void TakePeriod(double measured);

  HarmonyUnit tracker_;
  HarmonyUnit meter_;
  double lastMeasured_ = 0.0;
  int agreeing_ = 0;  // periods in a row that agreed with the one before
  double halfPeriod_ = 0.0;
  int callsToEnd_ = 0;  // calls until the note ends, unless another period agrees before
};
