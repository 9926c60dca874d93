#include "units/MCIWavUnit.h"

namespace {

constexpr DWORD_PTR kOpenFlags =
    MCI_NOTIFY | MCI_OPEN_ELEMENT | MCI_OPEN_TYPE_ID | MCI_OPEN_TYPE | MCI_WAVE_OPEN_BUFFER;
constexpr DWORD kBufferSeconds = 4;  // of sound, that the device is asked to hold in its playback buffer

bool FileExists(const char* file) {
  WIN32_FIND_DATAA data;
  const HANDLE search = FindFirstFileA(file, &data);
  if (search == INVALID_HANDLE_VALUE) return false;
  FindClose(search);
  return true;
}

template <class Parameters>
MCIERROR Send(std::uint32_t device, UINT command, DWORD_PTR flags, Parameters& parameters) {
  return mciSendCommandA(device, command, flags, reinterpret_cast<DWORD_PTR>(&parameters));
}

void SendAndWait(std::uint32_t device, UINT command) {
  MCI_GENERIC_PARMS parameters{};
  Send(device, command, MCI_WAIT, parameters);
}

}  // namespace

MCIWavUnit::MCIWavUnit() = default;
MCIWavUnit::MCIWavUnit(const MCIWavUnit&) = default;
MCIWavUnit& MCIWavUnit::operator=(const MCIWavUnit&) = default;

MCIWavUnit::~MCIWavUnit() {
  MCIClose();
}

bool MCIWavUnit::WavPlay(const char* file) {
  if (!FileExists(file)) return false;
  MCIClose();
  MCI_WAVE_OPEN_PARMSA open{};
  // A number instead of a name: MCI_OPEN_TYPE_ID says so.
  open.lpstrDeviceType = reinterpret_cast<LPCSTR>(static_cast<DWORD_PTR>(MCI_DEVTYPE_WAVEFORM_AUDIO));
  open.lpstrElementName = file;
  open.dwBufferSeconds = kBufferSeconds;
  if (Send(0, MCI_OPEN, kOpenFlags, open) != 0) return false;
  deviceId = open.wDeviceID;
  MCI_PLAY_PARMS play{};
  if (Send(deviceId, MCI_PLAY, MCI_NOTIFY, play) == 0) return true;
  SendAndWait(deviceId, MCI_STOP);
  SendAndWait(deviceId, MCI_CLOSE);
  deviceId = 0;
  return false;
}

bool MCIWavUnit::MCIClose() {
  if (deviceId == 0) return false;
  MCI_STATUS_PARMS status{};
  status.dwItem = MCI_STATUS_MODE;
  Send(deviceId, MCI_STATUS, MCI_STATUS_ITEM | MCI_WAIT, status);
  if (status.dwReturn == MCI_MODE_PLAY) SendAndWait(deviceId, MCI_STOP);
  SendAndWait(deviceId, MCI_CLOSE);
  deviceId = 0;
  return true;
}
