// Level and simple filters: FstLPF, LVS, CPRS, HgainUnit.
#include <bit>
#include <cmath>
#include <cstdint>

#include "harmony/Arithmetic.h"
#include "harmony/HarmonyUnit.h"

double HarmonyUnit::FstLPF(std::int32_t sample) {
  return FstLPF(static_cast<double>(sample));
}

double HarmonyUnit::FstLPF(double sample) {
  const double before = fstLPFState;
  const double after = fstLPFFeedback * before + sample;
  fstLPFState = after;
  return before * fstLPFOldGain + after * fstLPFNewGain;
}

double HarmonyUnit::LVS(std::int32_t sample) {
  return LVS(static_cast<double>(sample));
}

double HarmonyUnit::LVS(double sample) {
  const double before = lvsLevel;
  const double gap = std::fabs(sample) - before;
  // A voice crosses its level at random, so nothing is to hang on the side it is on: with equal coefficients
  // there is no choice, with others it is a selection.
  const double rise = lvsRise;
  const double fall = lvsFall;
  if (std::bit_cast<std::uint64_t>(rise) == std::bit_cast<std::uint64_t>(fall)) [[likely]] {
    lvsLevel = gap * rise + before;
  } else {
    lvsLevel = gap * (HARMONY_EVEN_ODDS(gap < 0.0) ? fall : rise) + before;
  }
  return before;
}

double HarmonyUnit::CPRS(double level) {
  if (level > cprsThreshold) return (1.0 / level) * cprsScale + cprsOffset;
  return cprsMaxGain;
}

void HarmonyUnit::HgainUnit(double target1, double target2, double target3) {
  hgain1 = hgainInput * target1 + hgainHold * hgain1;
  hgain2 = hgainInput * target2 + hgainHold * hgain2;
  hgain3 = hgainInput * target3 + hgainHold * hgain3;
}
