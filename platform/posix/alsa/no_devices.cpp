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

bool FindSystemDevice(const std::string&, GUID*) {
  return false;
}

std::vector<SystemDevice> ListSystemDevices() {
  return {};
}

bool SetOutputName(const char*) noexcept {
  return false;
}

MCIERROR OpenOutput(const WAVEFORMATEX&, std::chrono::seconds, std::unique_ptr<SoundOutput>*) {
  return MCIERR_WAVE_OUTPUTSUNSUITABLE;
}

}  // namespace platform::detail
