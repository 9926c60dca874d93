// Level and simple filters: FstLPF, LVS, CPRS, HgainUnit.
#include <bit>
#include <cmath>
#include <cstdint>

#include "harmony/HarmonyUnit.h"
#include "harmony/Hints.h"
#include "harmony/Products.h"
#include "harmony/Section.h"

double HarmonyUnit::FstLPF(std::int32_t sample) {
  return FstLPF(static_cast<double>(sample));
}

double HarmonyUnit::FstLPF(double sample) {
  return harmony::WithProducts(harmony::Faded(fstLPFState), [this, sample](auto times) {
    const double before = fstLPFState;
    const double after = harmony::Advance(fstLPFState, sample, fstLPFFeedback, times);
    return harmony::Output(before, after, {fstLPFFeedback, fstLPFOldGain, fstLPFNewGain}, times);
  });
}

double HarmonyUnit::LVS(std::int32_t sample) {
  return LVS(static_cast<double>(sample));
}

double HarmonyUnit::LVS(double sample) {
  const double before = lvsLevel;
  const double gap = std::fabs(sample) - before;
  harmony::WithProducts(harmony::Faded(gap), [this, before, gap](auto times) {
    // A voice crosses its level at random, so nothing is to hang on the side it is on: with equal
    // coefficients there is no choice, with others it is a selection.
    const double rise = lvsRise;
    const double fall = lvsFall;
    if (std::bit_cast<std::uint64_t>(rise) == std::bit_cast<std::uint64_t>(fall)) [[likely]] {
      lvsLevel = times(rise, gap) + before;
    } else {
      lvsLevel = times(HARMONY_EVEN_ODDS(gap < 0.0) ? fall : rise, gap) + before;
    }
  });
  return before;
}

double HarmonyUnit::CPRS(double level) {
  if (level > cprsThreshold) return (1.0 / level) * cprsScale + cprsOffset;
  return cprsMaxGain;
}

void HarmonyUnit::HgainUnit(double target1, double target2, double target3) {
  const bool faded = harmony::Faded(hgain1) || harmony::Faded(hgain2) || harmony::Faded(hgain3);
  harmony::WithProducts(faded, [this, target1, target2, target3](auto times) {
    hgain1 = hgainInput * target1 + times(hgainHold, hgain1);
    hgain2 = hgainInput * target2 + times(hgainHold, hgain2);
    hgain3 = hgainInput * target3 + times(hgainHold, hgain3);
  });
}
