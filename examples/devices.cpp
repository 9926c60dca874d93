// Lists the capture devices and the conversion drivers of the system.
#include <cstdio>

#include "platform/platform.h"

namespace {

BOOL __stdcall PrintDevice(GUID* id, LPCSTR name, LPCSTR /*module*/, LPVOID /*context*/) {
  const bool isDefault = id == nullptr;
  std::printf("%s %s\n", isDefault ? "default:" : "device: ", name);
  return TRUE;  // go on
}

BOOL __stdcall PrintDriver(HACMDRIVERID driver, DWORD_PTR /*context*/, DWORD /*support*/) {
  ACMDRIVERDETAILSA details{};
  details.cbStruct = sizeof details;
  if (acmDriverDetailsA(driver, &details, 0) == 0) std::printf("driver:  %s\n", details.szLongName);
  return TRUE;
}

}  // namespace

int main() {
  if (DirectSoundCaptureEnumerateA(PrintDevice, nullptr) != 0) return 1;
  return acmDriverEnum(PrintDriver, 0, 0) == 0 ? 0 : 1;
}
