#pragma once
// The machine's capture devices, as the example programs name them.

#include <string>
#include <vector>

#include "platform/platform.h"

struct CaptureDevice {
  GUID id;
  bool isDefault;  // the system's default device; it has no GUID
  std::string name;
};

/// The devices of this machine, the default one first where there is one.
std::vector<CaptureDevice> ListCaptureDevices();

/// A GUID as text in braces.
std::string GuidText(const GUID& id);

/// The device that a user means: `signal` for the built-in one, a GUID, an exact name, or a part of one name.
/// @param id receives the device's GUID
/// @return empty on success; otherwise a sentence that says what is wrong
std::string FindCaptureDevice(const std::string& wanted, GUID* id);

/// The built-in device of the library. @return false where there is none
bool BuiltInDevice(GUID* id);
