// The list of the machine's capture devices, and opening one.

#include <algorithm>
#include <cstring>
#include <functional>
#include <mutex>

#include "platform/posix/alsa/alsa_source.h"
#include "platform/posix/capture/system_devices.h"
#include "platform/posix/core/never_destroyed.h"

namespace platform::detail {
namespace {

/// A device's GUID is made from its ALSA name, so that every process finds the same one. Two 64-bit FNV-1a
/// hashes of the name, the second with its starting value inverted, are bytes 0 to 7 and 8 to 15 in
/// big-endian order; six of their bits are overwritten by version 8 and the variant of a UUID.
GUID IdOf(const std::string& name) {
  constexpr std::uint64_t kBasis = 0xCBF29CE484222325;
  const auto hash = [&name](std::uint64_t value) {
    for (const char each : name) value = (value ^ static_cast<unsigned char>(each)) * 0x100000001B3;
    return value;
  };
  const std::uint64_t high = hash(kBasis);
  const std::uint64_t low = hash(~kBasis);
  GUID id = {static_cast<std::uint32_t>(high >> 32),
             static_cast<std::uint16_t>(high >> 16),
             static_cast<std::uint16_t>((high & 0x0FFF) | 0x8000),
             {}};
  for (unsigned i = 0; i < 8; ++i) id.Data4[i] = static_cast<std::uint8_t>(low >> (56 - 8 * i));
  id.Data4[0] = static_cast<std::uint8_t>((id.Data4[0] & 0x3F) | 0x80);
  return id;
}

struct AlsaDevice {
  std::string alsaName;  // for snd_pcm_open
  std::string text;      // for people
};
using Visitor = std::function<bool(const AlsaDevice&)>;  // false ends the iteration

struct ControlCloser {
  void operator()(snd_ctl_t* control) const { snd_ctl_close(control); }
};
using Control = std::unique_ptr<snd_ctl_t, ControlCloser>;

Control OpenCard(int card) {
  snd_ctl_t* control = nullptr;
  const std::string name = "hw:" + std::to_string(card);
  return Control(snd_ctl_open(&control, name.c_str(), SND_CTL_NONBLOCK) < 0 ? nullptr : control);
}

bool VisitCard(snd_ctl_t* control, const Visitor& visit) {
  snd_ctl_card_info_t* card;
  snd_ctl_card_info_alloca(&card);
  if (snd_ctl_card_info(control, card) < 0) return true;
  for (int device = -1; snd_ctl_pcm_next_device(control, &device) >= 0 && device >= 0;) {
    snd_pcm_info_t* info;
    snd_pcm_info_alloca(&info);
    snd_pcm_info_set_device(info, static_cast<unsigned>(device));
    snd_pcm_info_set_stream(info, SND_PCM_STREAM_CAPTURE);
    if (snd_ctl_pcm_info(control, info) < 0) continue;  // plays only
    const AlsaDevice found = {
        std::string("plughw:CARD=") + snd_ctl_card_info_get_id(card) + ",DEV=" + std::to_string(device),
        std::string(snd_ctl_card_info_get_name(card)) + ": " + snd_pcm_info_get_name(info)};
    if (!visit(found)) return false;
  }
  return true;
}

void VisitDevices(const Visitor& visit) {
  const QuietAlsa quiet;
  for (int card = -1; snd_card_next(&card) >= 0 && card >= 0;) {
    const Control control = OpenCard(card);
    if (control != nullptr && !VisitCard(control.get(), visit)) return;
  }
}

/// The names of FindSystemDevice.
class NamedDevices {
 public:
  static NamedDevices& Get() { return NeverDestroyed<NamedDevices>(); }

  void Add(const std::string& name) {
    const std::lock_guard lock(lock_);
    if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.push_back(name);
  }

  /// @return empty when there is none
  std::string Find(const GUID& id) {
    const std::lock_guard lock(lock_);
    const auto found =
        std::find_if(names_.begin(), names_.end(), [&](const std::string& name) { return IdOf(name) == id; });
    return found == names_.end() ? std::string() : *found;
  }

 private:
  std::mutex lock_;
  std::vector<std::string> names_;
};

}  // namespace

HRESULT OpenDefaultDevice(std::unique_ptr<CaptureSource>* source) {
  return AlsaSource::Open("default", source);
}

HRESULT OpenSystemDevice(const GUID& id, std::unique_ptr<CaptureSource>* source) try {
  std::string name = NamedDevices::Get().Find(id);
  if (name.empty()) {
    VisitDevices([&](const AlsaDevice& device) {
      if (IdOf(device.alsaName) == id) name = device.alsaName;
      return name.empty();
    });
  }
  return name.empty() ? DSERR_NODRIVER : AlsaSource::Open(name.c_str(), source);
} catch (const std::bad_alloc&) {
  return DSERR_OUTOFMEMORY;
}

bool FindSystemDevice(const std::string& name, GUID* id) {
  std::unique_ptr<CaptureSource> source;
  const HRESULT result = AlsaSource::Open(name.c_str(), &source);
  if (result != DS_OK && result != DSERR_ALLOCATED) return false;
  NamedDevices::Get().Add(name);
  *id = IdOf(name);
  return true;
}

std::vector<SystemDevice> ListSystemDevices() {
  std::vector<SystemDevice> devices;
  VisitDevices([&](const AlsaDevice& device) {
    devices.push_back({IdOf(device.alsaName), device.text});
    return true;
  });
  return devices;
}

}  // namespace platform::detail
