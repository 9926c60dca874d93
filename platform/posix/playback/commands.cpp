// The devices that are open, and the commands to them.

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>

#include "platform/posix/core/never_destroyed.h"
#include "platform/posix/layer.h"
#include "platform/posix/mci.h"
#include "platform/posix/playback/limits.h"
#include "platform/posix/playback/playback.h"

namespace platform::detail {
namespace {

constexpr UINT kFirstCommand = 0x800;
constexpr UINT kLastCommand = 0xFFF;
constexpr MCIDEVICEID kAllDevices = 0xFFFFFFFF;  // published for all devices; no device has it

/// A waveform device: one open file. The caller holds its lock.
class WaveDevice {
 public:
  std::mutex lock;

  explicit WaveDevice(std::chrono::seconds buffer) : buffer_(buffer) {}

  MCIERROR Open(const char* file) { return reader_.Open(file); }

  MCIERROR Play() {
    if (Playing()) return 0;
    Stop();
    std::unique_ptr<SoundOutput> output;
    MCIERROR error = reader_.Rewind();
    if (error == 0) error = OpenOutput(reader_.Format(), buffer_, &output);
    if (error == 0) playback_.emplace(&reader_, std::move(output), position_);
    return error;
  }

  void Stop() {
    if (!playback_) return;
    position_ = playback_->Stop();
    playback_.reset();
  }

  /// In milliseconds.
  std::uint64_t Position() const {
    const std::uint64_t frames = playback_ ? playback_->Position() : position_;
    return frames == 0 ? 0 : frames * 1000 / reader_.Format().nSamplesPerSec;
  }

  bool Playing() const { return playback_ && playback_->Running(); }

 private:
  WaveReader reader_;
  const std::chrono::seconds buffer_;
  std::uint64_t position_ = 0;        // frames heard before the present playback
  std::optional<Playback> playback_;  // kept when it has come to its end
};

class DeviceTable {
 public:
  /// Throws std::bad_alloc.
  MCIDEVICEID Add(std::shared_ptr<WaveDevice> device) {
    const std::lock_guard lock(lock_);
    while (nextId_ == 0 || nextId_ == kAllDevices || devices_.contains(nextId_)) ++nextId_;
    devices_.emplace(nextId_, std::move(device));
    return nextId_++;
  }

  /// @return empty for an identifier that is not open
  std::shared_ptr<WaveDevice> Find(MCIDEVICEID id) {
    const std::lock_guard lock(lock_);
    const auto found = devices_.find(id);
    return found != devices_.end() ? found->second : nullptr;
  }

  /// Removes a device.
  /// @return the device, which the caller closes outside of the table's lock
  /// @return empty: the identifier is not open
  std::shared_ptr<WaveDevice> Take(MCIDEVICEID id) {
    const std::lock_guard lock(lock_);
    auto node = devices_.extract(id);
    return node ? std::move(node.mapped()) : nullptr;
  }

 private:
  std::mutex lock_;
  std::map<MCIDEVICEID, std::shared_ptr<WaveDevice>> devices_;
  MCIDEVICEID nextId_ = 1;
};

MCIERROR Open(DWORD_PTR flags, MCI_WAVE_OPEN_PARMSA* parameters) {
  constexpr DWORD_PTR kNeeded = MCI_OPEN_TYPE | MCI_OPEN_TYPE_ID | MCI_OPEN_ELEMENT;
  constexpr DWORD_PTR kKnown = kNeeded | MCI_WAVE_OPEN_BUFFER | MCI_NOTIFY | MCI_WAIT;
  if (parameters == nullptr) return MCIERR_NULL_PARAMETER_BLOCK;
  if ((flags & kNeeded) != kNeeded || parameters->lpstrElementName == nullptr)
    return MCIERR_MISSING_PARAMETER;
  if ((flags & ~kKnown) != 0) return MCIERR_UNSUPPORTED_FUNCTION;
  if (reinterpret_cast<DWORD_PTR>(parameters->lpstrDeviceType) != MCI_DEVTYPE_WAVEFORM_AUDIO) {
    return MCIERR_INVALID_DEVICE_NAME;
  }
  const bool chosen = (flags & MCI_WAVE_OPEN_BUFFER) != 0;
  const auto device = std::make_shared<WaveDevice>(chosen ? std::chrono::seconds(parameters->dwBufferSeconds)
                                                          : kDefaultOutputBuffer);
  const MCIERROR error = device->Open(parameters->lpstrElementName);
  if (error == 0) parameters->wDeviceID = NeverDestroyed<DeviceTable>().Add(device);
  return error;
}

MCIERROR Play(WaveDevice& device, DWORD_PTR flags) {
  if ((flags & ~DWORD_PTR{MCI_NOTIFY}) != 0) return MCIERR_UNSUPPORTED_FUNCTION;
  return device.Play();
}

MCIERROR Status(const WaveDevice& device, DWORD_PTR flags, MCI_STATUS_PARMS* parameters) {
  if (parameters == nullptr) return MCIERR_NULL_PARAMETER_BLOCK;
  if ((flags & MCI_STATUS_ITEM) == 0) return MCIERR_MISSING_PARAMETER;
  if ((flags & ~DWORD_PTR{MCI_STATUS_ITEM | MCI_NOTIFY | MCI_WAIT}) != 0) return MCIERR_UNSUPPORTED_FUNCTION;
  switch (parameters->dwItem) {
    case MCI_STATUS_MODE:
      parameters->dwReturn = device.Playing() ? MCI_MODE_PLAY : MCI_MODE_STOP;
      return 0;
    case MCI_STATUS_POSITION:
      parameters->dwReturn = static_cast<DWORD_PTR>(device.Position());
      return 0;
    default:
      return MCIERR_UNSUPPORTED_FUNCTION;
  }
}

MCIERROR Send(MCIDEVICEID id, UINT command, DWORD_PTR flags, DWORD_PTR parameters) {
  if (command < kFirstCommand || command > kLastCommand) return MCIERR_UNRECOGNIZED_COMMAND;
  if (command == MCI_OPEN) return Open(flags, reinterpret_cast<MCI_WAVE_OPEN_PARMSA*>(parameters));
  auto& table = NeverDestroyed<DeviceTable>();
  const auto device = command == MCI_CLOSE ? table.Take(id) : table.Find(id);
  if (device == nullptr) return MCIERR_INVALID_DEVICE_ID;
  const std::lock_guard lock(device->lock);
  switch (command) {
    case MCI_PLAY:
      return Play(*device, flags);
    case MCI_STOP:
    case MCI_CLOSE:
      device->Stop();
      return 0;
    case MCI_STATUS:
      return Status(*device, flags, reinterpret_cast<MCI_STATUS_PARMS*>(parameters));
    default:
      return MCIERR_UNSUPPORTED_FUNCTION;
  }
}

}  // namespace
}  // namespace platform::detail

bool platform::SetPlaybackDevice(const char* name) {
  return detail::SetOutputName(name);
}

MCIERROR mciSendCommandA(MCIDEVICEID device, UINT command, DWORD_PTR flags, DWORD_PTR parameters) try {
  return platform::detail::Send(device, command, flags, parameters);
} catch (const std::bad_alloc&) {
  return MCIERR_OUT_OF_MEMORY;
} catch (const std::system_error&) {  // no further thread
  return MCIERR_OUT_OF_MEMORY;
}
