#include "harmony/HarmonyUnit.h"

namespace {

/// A word read as a fraction with 31 bits; exact.
constexpr double Fraction31(std::uint32_t word) {
  return word * 0x1p-31;
}

}  // namespace

HarmonyUnit::HarmonyUnit() {
  InitParam();
}
HarmonyUnit::~HarmonyUnit() = default;
HarmonyUnit& HarmonyUnit::operator=(const HarmonyUnit& other) = default;

void HarmonyUnit::InitParam() {
  fstLPFState = 0.0;
  fstLPFFeedback = 0.9935;
  fstLPFOldGain = 0.0066;
  fstLPFNewGain = 0.0066;

  lvsLevel = 0.0;
  lvsRise = 0x1p-11;
  lvsFall = 0x1p-11;

  cprsOffset = 0.10101010101;
  cprsScale = 856824283.796;
  cprsThreshold = 0x0147AE14;
  cprsMaxGain = 40.0;

  vpfInputScale = 1e-08;
  vpfX = 0.0;
  vpfCubic = 0.0667;
  vpfSquare = 0.7;
  vpfY = 0.0;
  vpfOutputGain = 5000000.0;
  vpfDamping = 10.0;
  vpfStep = 0.05;
  vpfDiff1 = 0.0;
  vpfDiff2 = 0.0;

  pitchLevelFloor = 0x00400000;
  pitchPeak = 0.0;
  pitchPeakDecay = Fraction31(0x7FC00000);
  pitchCountStep = 0x00100000;
  pitchCount = 0;
  pitchCountMax = 0x30000000;
  pitchCountMin = 0x02C00000;
  pitchValue = 0.0;

  lf0Delay1 = 0.0;
  lf0Delay2 = 0.0;
  lf0Delay3 = 0.0;

  hgainInput = Fraction31(0x04000000);
  hgainHold = Fraction31(0x7C000000);
  hgain1 = 0.0;
  hgain2 = 0.0;
  hgain3 = 0.0;

  nrLpfState = 0.0;
  nrHpfState = 0.0;
  nrLpfFeedback = 0.8668;
  nrLpfOldGain = 0.0666;
  nrLpfNewGain = 0.0666;
  nrHpfFeedback = 0.9719;
  nrHpfOldGain = -0.986;
  nrHpfNewGain = 0.986;
  nrOutputGain = Fraction31(0x7FFFFFFF);

  nrInLpfState = 0.0;
  nrInHpfState = 0.0;
  nrInLpfFeedback = 0.89205429;
  nrInLpfOldGain = 0.05397286;
  nrInLpfNewGain = 0.05397286;
  nrInHpfFeedback = 0.9719;
  nrInHpfOldGain = -0.986;
  nrInHpfNewGain = 0.986;
  nrInOutputGain = 3.0;
}
