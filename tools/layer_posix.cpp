#include "platform/posix/layer.h"
#include "tools/devices.h"
#include "tools/drivers.h"

bool BuiltInDevice(GUID* id) {
  *id = platform::kSignalDevice;
  return true;
}

HWND NewComboBox() {
  return platform::CreateComboBox();
}

void DropComboBox(HWND combo) {
  platform::DestroyComboBox(combo);
}
