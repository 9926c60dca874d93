#pragma once
// The machine's sound devices, as the programs name them.

#include <string>
#include <vector>

#include "platform/platform.h"

struct CaptureDevice {
  GUID id;
  bool isDefault;  // the system's default device; it has no GUID
  std::string name;
};

/// Prints the devices to record from: those of the system, and the sources of the sound server.
void PrintCaptureDevices();

/// Prints the devices to play on that can be named.
void PrintPlaybackDevices();

/// The device that a user means: `signal` for the built-in one, a GUID, a name or a part of one name, or the
/// sound system's own name of a device. Throws a Failure that says what is wrong.
GUID FindCaptureDevice(const std::string& wanted);

/// The same for what the system's media control plays on, which it does from then on.
void ChoosePlaybackDevice(const std::string& wanted);

/// The built-in device of the library. @return false where there is none
bool BuiltInDevice(GUID* id);

/// A device by the sound system's own name. @return false where there is none, and on Windows
bool CaptureDeviceOf(const std::string& systemName, GUID* id);
/// @return false on Windows
bool PlayOn(const std::string& systemName);
