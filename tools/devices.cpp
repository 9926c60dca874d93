#include "tools/devices.h"

#include <algorithm>
#include <cstdio>

namespace {

BOOL __stdcall Collect(LPGUID id, LPCSTR description, LPCSTR /*module*/, LPVOID context) {
  static_cast<std::vector<CaptureDevice>*>(context)->push_back(
      {id != nullptr ? *id : GUID{}, id == nullptr, description != nullptr ? description : ""});
  return TRUE;
}

// Lower case in ASCII alone: the names are in the system's code page.
std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return text;
}

bool IsGuid(const std::string& wanted, const GUID& id) {
  const std::string text = Lower(GuidText(id));
  return wanted == text || "{" + wanted + "}" == text;
}

}  // namespace

std::vector<CaptureDevice> ListCaptureDevices() {
  std::vector<CaptureDevice> devices;
  DirectSoundCaptureEnumerateA(Collect, &devices);
  return devices;
}

std::string GuidText(const GUID& id) {
  char text[40];
  std::snprintf(text, sizeof text, "{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                static_cast<unsigned long>(id.Data1), id.Data2, id.Data3, id.Data4[0], id.Data4[1],
                id.Data4[2], id.Data4[3], id.Data4[4], id.Data4[5], id.Data4[6], id.Data4[7]);
  return text;
}

std::string FindCaptureDevice(const std::string& wanted, GUID* id) {
  if (wanted == "signal" && BuiltInDevice(id)) return {};
  std::vector<CaptureDevice> parts;
  for (const CaptureDevice& device : ListCaptureDevices()) {
    if (device.isDefault) continue;  // chosen by naming none
    if (device.name == wanted || IsGuid(Lower(wanted), device.id)) {
      *id = device.id;
      return {};
    }
    if (Lower(device.name).find(Lower(wanted)) != std::string::npos) parts.push_back(device);
  }
  if (parts.empty()) return "no capture device is called '" + wanted + "'; --list shows the devices";
  if (parts.size() > 1) {
    std::string message = "'" + wanted + "' is part of several names:";
    for (const CaptureDevice& device : parts) message += "\n  " + device.name + "  " + GuidText(device.id);
    return message + "\ngive the complete name or a GUID";
  }
  *id = parts.front().id;
  return {};
}
