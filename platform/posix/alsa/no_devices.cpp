// A build without a sound system: the machine has no devices of its own.

#include "platform/posix/capture/system_devices.h"
#include "platform/posix/playback/sound_output.h"

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
