#pragma once
// Harmony voices for a lead.

#include <array>
#include <cstdint>
#include <vector>

#include "tools/harmonize/Listener.h"
#include "harmony/HarmonyUnit.h"

/// Sings up to three voices with a lead voice, with the stages LF0adr, HgainUnit, MDLY and NRAuto over a
/// delay line of its own. docs/harmony.md tells how it comes about.
class Choir {
 public:
  /// Calls by which lead and voices come later than the sample that they answer: from the newest sample to
  /// the middle of the line, about which the voices read.
  static constexpr int kLatency = 511;
  static constexpr double kFarthestCents = 2400.0;  ///< either way

  /// @param cents one to three intervals above the lead, 1200 to the octave, negative ones below it
  /// @param mix   share of the voices in the sum, from 0.0 (the lead as it is) to 1.0 (the voices alone)
  Choir(const std::vector<double>& cents, double mix);

  /// One sample of the signed 32-bit range, 44100 a second, in and out.
  /// @return the lead of kLatency calls ago and its voices
  std::int32_t Sing(std::int32_t sample);

  const Listener& Ear() const { return ear_; }

  /// What LF0adr adds to a delay value in a call, for a voice of this interval.
  static double Rate(double cents);

 private:
  static constexpr std::int32_t kLineLength = 1024;
  struct Voice {
    double rate;
    double delay = 0.0;     // where it reads, relative to the middle of the line
    double putRight = 0.0;  // what Move has added to the delay that LF0adr holds
  };

  void Put(std::int32_t sample);
  void Move();
  void Open();
  double Voices();

  Listener ear_;
  HarmonyUnit unit_;
  std::array<std::int32_t, kLineLength> line_{};  // at half scale
  std::int32_t ring_ = 0;                         // index of the oldest sample
  std::vector<Voice> voices_;
  double lowestCents_, highestCents_;
  double mix_;
  int open_ = 0;  // calls for which the voices still sound
};
