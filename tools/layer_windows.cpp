#include "tools/devices.h"
#include "tools/drivers.h"

bool BuiltInDevice(GUID* /*id*/) {
  return false;
}

bool CaptureDeviceOf(const std::string& /*systemName*/, GUID* /*id*/) {
  return false;
}

bool PlayOn(const std::string& /*systemName*/) {
  return false;
}

HWND NewComboBox() {
  return CreateWindowExA(0, "COMBOBOX", "", WS_CHILD | CBS_DROPDOWNLIST | CBS_HASSTRINGS, 0, 0, 0, 0,
                         HWND_MESSAGE, nullptr, nullptr, nullptr);
}

void DropComboBox(HWND combo) {
  DestroyWindow(combo);
}
