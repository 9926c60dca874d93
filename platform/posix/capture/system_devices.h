#pragma once
// The machine's own capture devices, as far as this build knows any.

#include <memory>
#include <string>
#include <vector>

#include "platform/posix/capture/capture_source.h"

namespace platform::detail {

struct SystemDevice {
  GUID id;
  std::string name;
};

/// Opens the system's default device.
/// @return DS_OK; DSERR_NODRIVER, DSERR_ALLOCATED or DSERR_OUTOFMEMORY, and @p source is null
HRESULT OpenDefaultDevice(std::unique_ptr<CaptureSource>* source);

/// Opens a device of ListSystemDevices, whichever process has listed it. Results as of OpenDefaultDevice.
HRESULT OpenSystemDevice(const GUID& id, std::unique_ptr<CaptureSource>* source);

/// The capture devices of the machine's sound cards. Throws std::bad_alloc.
std::vector<SystemDevice> ListSystemDevices();

}  // namespace platform::detail
