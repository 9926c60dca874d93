#pragma once
// The pitch of a voice, sample by sample.

#include <cstdint>

#include "harmony/HarmonyUnit.h"

/// Finds the note that a voice sings with the stages NRIn, FstLPF, LVS, CPRS, VPF and PitchExt.
///
/// PitchExt measures single periods, in whole samples, of whatever it is given. The listener adds what makes
/// a note of them: three periods in a row that agree, their mean over a few more, and an end when none come.
class Listener {
 public:
  /// One sample of the signed 32-bit range, 44100 a second.
  void Hear(std::int32_t sample);

  /// Half the note's period in samples, the unit of HarmonyUnit::pitchValue; 0.0 while there is no note.
  double HalfPeriod() const { return halfPeriod_; }
  /// The note in hertz; 0.0 while there is none.
  double PitchHz() const;
  /// The mean magnitude of the last twentieth of a second or so, full scale 1.0.
  double Level() const;

 private:
  void Confirm(double measured);

  HarmonyUnit tracker_;
  HarmonyUnit meter_;
  double lastMeasured_ = 0.0;
  int agreeing_ = 0;  // periods in a row that agreed with the one before
  double halfPeriod_ = 0.0;
  int patience_ = 0;  // calls until the note is over, unless it is confirmed before
};
