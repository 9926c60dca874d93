#include "platform/posix/layer.h"
#include "tools/devices.h"
#include "tools/drivers.h"

bool BuiltInDevice(GUID* id) {
  *id = platform::kSignalDevice;
  return true;
}

bool CaptureDeviceOf(const std::string& systemName, GUID* id) {
  return platform::CaptureDeviceByName(systemName.c_str(), id);
}

bool PlayOn(const std::string& systemName) {
  return platform::SetPlaybackDevice(systemName.c_str());
}

HWND NewComboBox() {
  return platform::CreateComboBox();
}

void DropComboBox(HWND combo) {
  platform::DestroyComboBox(combo);
}
