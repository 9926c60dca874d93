// Opening, listing and registering capture devices.
#include "platform/posix/dsound.h"

#include <algorithm>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "platform/posix/capture/capture_device.h"
#include "platform/posix/capture/signal_source.h"
#include "platform/posix/capture/system_devices.h"
#include "platform/posix/core/never_destroyed.h"
#include "platform/posix/layer.h"

namespace platform {

constinit const GUID kSignalDevice = {
    0x8CF73C9E, 0xD548, 0x473A, {0x91, 0x56, 0xC5, 0x73, 0x0E, 0x1E, 0xF8, 0xF7}};

namespace {

using detail::CaptureSource;

struct Registered {
  GUID id;
  std::string name;
  CaptureFactory factory;
  void* context;
};

/// The devices of RegisterCaptureDevice.
class Registry {
 public:
  static Registry& Get() { return detail::NeverDestroyed<Registry>(); }

  bool Add(Registered device) {
    const std::lock_guard lock(lock_);
    if (Where(device.id) != devices_.end()) return false;
    devices_.push_back(std::move(device));
    return true;
  }

  bool Remove(const GUID& id) {
    const std::lock_guard lock(lock_);
    const auto found = Where(id);
    if (found == devices_.end()) return false;
    devices_.erase(found);
    return true;
  }

  std::optional<Registered> Find(const GUID& id) {
    const std::lock_guard lock(lock_);
    const auto found = Where(id);
    return found == devices_.end() ? std::nullopt : std::optional(*found);
  }

  std::vector<Registered> All() {
    const std::lock_guard lock(lock_);
    return devices_;
  }

 private:
  std::vector<Registered>::iterator Where(const GUID& id) {
    return std::find_if(devices_.begin(), devices_.end(), [&](const auto& each) { return each.id == id; });
  }

  std::mutex lock_;
  std::vector<Registered> devices_;
};

HRESULT OpenSource(LPCGUID id, std::unique_ptr<CaptureSource>* source) {
  if (id == nullptr) return detail::OpenDefaultDevice(source);
  if (*id != kSignalDevice) return detail::OpenSystemDevice(*id, source);
  *source = std::make_unique<detail::SignalSource>();
  return DS_OK;
}

HRESULT OpenRegistered(const Registered& device, IDirectSoundCapture** capture) {
  const HRESULT result = device.factory(device.context, capture);
  if (result < 0) *capture = nullptr;
  return result >= 0 && *capture == nullptr ? DSERR_GENERIC : result;
}

/// The default device is there when it can be opened, or when somebody else has it open.
bool HasDefaultDevice() {
  std::unique_ptr<CaptureSource> source;
  const HRESULT result = detail::OpenDefaultDevice(&source);
  if (result == DSERR_OUTOFMEMORY) throw std::bad_alloc();
  return result == DS_OK || result == DSERR_ALLOCATED;
}

}  // namespace

bool RegisterCaptureDevice(const GUID& id, const char* name, CaptureFactory factory, void* context) try {
  if (name == nullptr || factory == nullptr || id == kSignalDevice) return false;
  return Registry::Get().Add({id, name, factory, context});
} catch (const std::bad_alloc&) {
  return false;
}

bool CaptureDeviceByName(const char* name, GUID* id) try {
  return name != nullptr && id != nullptr && detail::FindSystemDevice(name, id);
} catch (const std::bad_alloc&) {
  return false;
}

bool UnregisterCaptureDevice(const GUID& id) {
  return Registry::Get().Remove(id);
}

}  // namespace platform

HRESULT DirectSoundCaptureCreate(LPCGUID device, LPDIRECTSOUNDCAPTURE* capture, LPUNKNOWN outer) try {
  using namespace platform;
  if (capture == nullptr) return DSERR_INVALIDPARAM;
  *capture = nullptr;
  if (outer != nullptr) return DSERR_NOAGGREGATION;
  if (device != nullptr) {
    if (const auto found = Registry::Get().Find(*device)) return OpenRegistered(*found, capture);
  }
  std::unique_ptr<CaptureSource> source;
  const HRESULT result = OpenSource(device, &source);
  return result == DS_OK ? detail::CaptureDevice::Create(std::move(source), capture) : result;
} catch (const std::bad_alloc&) {
  return DSERR_OUTOFMEMORY;
}

HRESULT DirectSoundCaptureEnumerateA(LPDSENUMCALLBACKA callback, LPVOID context) try {
  using namespace platform;
  if (callback == nullptr) return DSERR_INVALIDPARAM;
  // The list is made first: the callback may itself open, register or enumerate devices.
  std::vector<detail::SystemDevice> devices = detail::ListSystemDevices();
  for (Registered& each : Registry::Get().All()) devices.push_back({each.id, std::move(each.name)});
  devices.push_back({kSignalDevice, "Built-in signal"});
  if (HasDefaultDevice() && !callback(nullptr, "Default capture device", "", context)) return DS_OK;
  for (detail::SystemDevice& each : devices)
    if (!callback(&each.id, each.name.c_str(), "", context)) break;
  return DS_OK;
} catch (const std::bad_alloc&) {
  return DSERR_OUTOFMEMORY;
}
