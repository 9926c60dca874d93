#include "harmony/HarmonyUnit.h"

HarmonyUnit::HarmonyUnit() = default;
HarmonyUnit::~HarmonyUnit() = default;
HarmonyUnit& HarmonyUnit::operator=(const HarmonyUnit& other) = default;

void HarmonyUnit::InitParam() {
  *this = HarmonyUnit();
}
