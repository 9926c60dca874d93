#pragma once
// The capture interfaces: owners, and functions that make them.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

template <class Interface>
struct Releaser {
  void operator()(Interface* object) const { object->Release(); }
};
template <class Interface>
using Com = std::unique_ptr<Interface, Releaser<Interface>>;

/// Another interface of an object; none when it has not got that one.
template <class Interface>
Com<Interface> Query(IUnknown* object, const GUID& id) {
  void* found = nullptr;
  object->QueryInterface(id, &found);
  return Com<Interface>(static_cast<Interface*>(found));
}

struct Listed {
  std::optional<GUID> id;  ///< none: the default device
  std::string name;
};
inline std::vector<Listed> ListDevices() {
  std::vector<Listed> devices;
  const auto add = [](GUID* id, const char* text, const char*, void* context) -> BOOL {
    static_cast<std::vector<Listed>*>(context)->push_back({id ? std::optional(*id) : std::nullopt, text});
    return TRUE;
  };
  DirectSoundCaptureEnumerateA(add, &devices);
  return devices;
}

inline Com<IDirectSoundCapture> OpenDevice(const GUID* id, HRESULT* result) {
  IDirectSoundCapture* device = nullptr;
  *result = DirectSoundCaptureCreate(id, &device, nullptr);
  return Com<IDirectSoundCapture>(device);
}
/// How opening a device goes.
inline HRESULT TryDevice(const GUID* id) {
  HRESULT result = DS_OK;
  OpenDevice(id, &result);
  return result;
}

inline WAVEFORMATEX Pcm(WORD channels, DWORD rate, WORD bits) {
  const auto block = static_cast<WORD>(channels * bits / 8);
  return {WAVE_FORMAT_PCM, channels, rate, rate * block, block, bits, 0};
}

inline Com<IDirectSoundCaptureBuffer> MakeBuffer(IDirectSoundCapture* device, WAVEFORMATEX format,
                                                 DWORD bytes, HRESULT* result = nullptr) {
  const DSCBUFFERDESC desc = {sizeof desc, 0, bytes, 0, &format};
  IDirectSoundCaptureBuffer* buffer = nullptr;
  const HRESULT made = device->CreateCaptureBuffer(&desc, &buffer, nullptr);
  if (result != nullptr) *result = made;
  return Com<IDirectSoundCaptureBuffer>(buffer);
}
