#pragma once
// The interface to the machine's own capture devices; a build without a sound system has none.

#include <memory>
#include <string>
#include <vector>

#include "platform/posix/capture/capture_source.h"

namespace platform::detail {

struct SystemDevice {
  GUID id;
  std::string name;
};

/// Opens the system's default device. Any thread.
/// @param source receives it; untouched on failure
/// @return DS_OK: open
/// @return DSERR_NODRIVER: there is none, or it cannot be opened
/// @return DSERR_ALLOCATED: another program has it
/// @return DSERR_OUTOFMEMORY
HRESULT OpenDefaultDevice(std::unique_ptr<CaptureSource>* source);

/// Opens a device of ListSystemDevices, also one that another process has listed, or of FindSystemDevice. Results as of
/// OpenDefaultDevice.
HRESULT OpenSystemDevice(const GUID& id, std::unique_ptr<CaptureSource>* source);

/// Looks for a device by the sound system's own name, and has OpenSystemDevice open it from then on. Any thread.
/// Throws std::bad_alloc
/// @param id receives its identifier
/// @return false: it cannot be opened
bool FindSystemDevice(const std::string& name, GUID* id);

/// @return the capture devices of the machine's sound cards. Throws std::bad_alloc
std::vector<SystemDevice> ListSystemDevices();

}  // namespace platform::detail
