#include "tools/devices.h"
#include "tools/drivers.h"

bool BuiltInDevice(GUID* /*id*/) {
  return false;
}

HWND NewComboBox() {
  return CreateWindowExA(0, "COMBOBOX", "", WS_CHILD | CBS_DROPDOWNLIST | CBS_HASSTRINGS, 0, 0, 0, 0,
                         HWND_MESSAGE, nullptr, nullptr, nullptr);
}

void DropComboBox(HWND combo) {
  DestroyWindow(combo);
}
