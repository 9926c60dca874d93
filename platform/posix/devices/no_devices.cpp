// A build without a sound system: the machine has no devices of its own.

#include "platform/posix/devices/sound_output.h"
#include "platform/posix/devices/system_devices.h"

namespace platform::detail {

HRESULT OpenDefaultDevice(std::unique_ptr<CaptureSource>*) {
  return DSERR_NODRIVER;
}

HRESULT OpenSystemDevice(const GUID&, std::unique_ptr<CaptureSource>*) {
  return DSERR_NODRIVER;
}

std::vector<SystemDevice> ListSystemDevices() {
  return {};
}

MCIERROR OpenDefaultOutput(const WAVEFORMATEX&, std::chrono::seconds, std::unique_ptr<SoundOutput>*) {
  return MCIERR_WAVE_OUTPUTSUNSUITABLE;
}

}  // namespace platform::detail
