#pragma once
// Harmony voices for a lead.

#include <array>
#include <cstdint>
#include <vector>

#include "harmony/HarmonyUnit.h"
#include "tools/harmonize/PitchTracker.h"

/// Adds up to three voices to a lead voice, with the stages LF0adr, HgainUnit, MDLY and NRAuto over a delay
/// line of its own. docs/harmony.md explains the wiring.
class Harmonizer {
 public:
  /// Calls by which lead and voices are delayed: the voices read about the middle of the delay line.
  static constexpr int kLatency = 511;
  static constexpr double kLargestIntervalCents = 2400.0;  ///< up or down

  /// @param cents  one to three intervals above the lead, 1200 to the octave, negative ones below it
  /// @param mix    factor of the voices, from 0.0 (the lead as it is) to 1.0 (the voices alone); that of the
  ///               lead is 1.0 - mix
  /// @param levels of the voices in dB, 12 at the most; as many as @p cents, or more
  Harmonizer(const std::vector<double>& cents, double mix,
             const std::vector<double>& levels = {0.0, 0.0, 0.0});

  /// Takes one sample of the signed 32-bit range, 44100 a second.
  /// @return the sum of the lead of kLatency calls ago and its voices, which may exceed that range
  double Process(std::int32_t sample);
  /// The lead in the last sum, as it is with a mix of 0.0.
  double Lead() const { return lead_; }

  const PitchTracker& Tracker() const { return tracker_; }

  /// Samples that LF0adr adds to a delay value in a call, for a voice of this interval.
  static double Rate(double cents);

 private:
  static constexpr std::int32_t kLineLength = 1024;
  struct Voice {
    double rate;
    double gain;              // of its tap
    double delay = 0.0;       // of its read position, in samples from the middle of the line
    double correction = 0.0;  // delay less the delay that LF0adr holds
  };

  void Store(std::int32_t sample);
  void MoveDelays();
  void SetGains();
  double SumOfVoices();

  PitchTracker tracker_;
  HarmonyUnit unit_;
  std::array<std::int32_t, kLineLength> line_{};  // at half scale
  std::int32_t oldest_ = 0;                       // index of the oldest sample
  std::vector<Voice> voices_;
  double lowestCents_, highestCents_;
  double mix_;
  double lead_ = 0.0;
  int callsToSilence_ = 0;  // calls until the voices are silent
};
