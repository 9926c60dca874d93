// Pitch: VPF, PitchExt and the fixed-point helpers.
#include <cmath>

#include "harmony/Arithmetic.h"
#include "harmony/HarmonyUnit.h"
#include "harmony/Products.h"

double HarmonyUnit::VPF(double sample) {
  const double u = harmony::WithProducts(harmony::MayUnderflow(sample),
                                         [this, sample](auto times) { return times(vpfInputScale, sample); });
  const double x = vpfX;
  const double y = vpfY;
  const double square = x * x;
  const double cube = square * x;
  const double slope = (cube - u) - vpfDamping * y;
  const double pull = cube * vpfCubic + square * vpfSquare;
  vpfX = ((u - y) - pull) * vpfStep + x;
  vpfY = slope * vpfStep + y;
  const double diff1 = slope - vpfDiff1;
  vpfDiff1 = slope;
  const double diff2 = diff1 - vpfDiff2;
  vpfDiff2 = diff1;
  return diff2 * vpfOutputGain;
}

void HarmonyUnit::PitchExt(double pulse, double level) {
  if (pitchLevelFloor > level) return;
  const double highest = pitchPeak;
  const bool peak = pulse > highest;
  const double now = peak ? pulse : highest;
  pitchPeak = harmony::WithProducts(harmony::MayUnderflow(now),
                                    [this, now](auto times) { return times(pitchPeakDecay, now); });
  const std::int32_t next = harmony::WrappingAdd(pitchCount, pitchCountStep);
  const std::int32_t count = next >= pitchCountMax ? pitchCountMax : next;
  pitchCount = count;
  if (peak && count >= pitchCountMin) {
    pitchValue = harmony::FixedPoint(harmony::Shift(count, -5), 16);
    pitchCount = 0;
  }
}

std::int32_t HarmonyUnit::ashift(std::int32_t value, std::int32_t count) {
  return harmony::Shift(value, count);
}

std::int32_t HarmonyUnit::fix(double value) {
  return harmony::Saturate(value);
}

double HarmonyUnit::VirturalFl(std::int32_t value, std::uint16_t fractionBits) {
  return harmony::FixedPoint(value, fractionBits);
}
