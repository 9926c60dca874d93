// Level and simple filters: FstLPF, LVS, CPRS, HgainUnit.
#include <cmath>
#include <cstdint>

#include "harmony/HarmonyUnit.h"
#include "harmony/Products.h"
#include "harmony/Section.h"

double HarmonyUnit::FstLPF(std::int32_t sample) {
  return FstLPF(static_cast<double>(sample));
}

double HarmonyUnit::FstLPF(double sample) {
  const harmony::Section section{fstLPFFeedback, fstLPFOldGain, fstLPFNewGain};
  return harmony::WithProducts(harmony::MayUnderflow(fstLPFState),
                               [&](auto times) { return section.Step(fstLPFState, sample, times); });
}

double HarmonyUnit::LVS(std::int32_t sample) {
  return LVS(static_cast<double>(sample));
}

double HarmonyUnit::LVS(double sample) {
  const double before = lvsLevel;
  const double gap = std::fabs(sample) - before;
  // A voice crosses its level at random, so that a branch on the side would be predicted badly. With equal
  // coefficients, as by default, no result depends on the side.
  const double part = lvsRise == lvsFall || !(gap < 0.0) ? lvsRise : lvsFall;
  const auto formula = [&](auto times) { return times(part, gap) + before; };
  lvsLevel = harmony::WithProducts(harmony::MayUnderflow(gap), formula);
  return before;
}

double HarmonyUnit::CPRS(double level) {
  if (level > cprsThreshold) return (1.0 / level) * cprsScale + cprsOffset;
  return cprsMaxGain;
}

void HarmonyUnit::HgainUnit(double target1, double target2, double target3) {
  const bool subnormal =
      harmony::MayUnderflow(hgain1) || harmony::MayUnderflow(hgain2) || harmony::MayUnderflow(hgain3);
  harmony::WithProducts(subnormal, [this, target1, target2, target3](auto times) {
    hgain1 = hgainInput * target1 + times(hgainHold, hgain1);
    hgain2 = hgainInput * target2 + times(hgainHold, hgain2);
    hgain3 = hgainInput * target3 + times(hgainHold, hgain3);
  });
}
