// The directory of conversion drivers, on a combo box of the host.
#include <cstring>

#include "wavfile/CMMWav.h"

namespace {

constexpr DWORD kListed =
    ACMDRIVERDETAILS_SUPPORTF_CODEC | ACMDRIVERDETAILS_SUPPORTF_CONVERTER | ACMDRIVERDETAILS_SUPPORTF_FILTER;

// Adds one driver's row; `instance` is the combo box.
BOOL __stdcall driverEnumCallback(HACMDRIVERID driver, DWORD_PTR instance, DWORD support) {
  if ((support & kListed) == 0) return TRUE;
  const HWND combo = reinterpret_cast<HWND>(instance);
  if (combo == nullptr) return FALSE;
  ACMDRIVERDETAILSA details{};
  details.cbStruct = sizeof details;
  if (acmDriverDetailsA(driver, &details, 0) != 0) std::strcpy(details.szLongName, "NoName!");
  const LRESULT row = SendMessageA(combo, CB_ADDSTRING, 0, reinterpret_cast<LPARAM>(details.szLongName));
  SendMessageA(combo, CB_SETITEMDATA, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(driver));
  return TRUE;
}

}  // namespace

std::int32_t CMMWav::ListUpDriver(HWND hwnd) {
  return acmDriverEnum(driverEnumCallback, reinterpret_cast<DWORD_PTR>(hwnd), 0) == 0;
}

HACMDRIVERID CMMWav::ListFromDriver(HWND hwnd, std::uint32_t index) {
  return reinterpret_cast<HACMDRIVERID>(SendMessageA(hwnd, CB_GETITEMDATA, index, 0));
}

HACMDRIVERID CMMWav::GetNowDriverID() {
  return fileOwners.IsOpen() && conversionOwners.IsOpen() ? driverId : nullptr;
}

std::int32_t CMMWav::GetDriverDetails(ACMDRIVERDETAILSA* details) {
  const HACMDRIVERID driver = GetNowDriverID();
  if (details == nullptr || driver == nullptr) return 0;
  details->cbStruct = sizeof *details;
  return acmDriverDetailsA(driver, details, 0) == 0;
}
