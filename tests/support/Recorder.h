#pragma once
// Reads a capture device the way a recording program does: by notifications, in whole segments.

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

class Recorder {
 public:
  /// Opens the device with a ring of four segments. Result() tells whether that has worked.
  Recorder(const GUID* id, WAVEFORMATEX format, DWORD segmentFrames)
      : segment_(segmentFrames * format.nBlockAlign), event_(CreateEventA(nullptr, FALSE, FALSE, nullptr)) {
    device_ = OpenDevice(id, &result_);
    if (result_ == DS_OK) buffer_ = MakeBuffer(device_.get(), format, 4 * segment_, &result_);
    if (result_ != DS_OK) return;
    const auto points = Query<IDirectSoundNotify>(buffer_.get(), IID_IDirectSoundNotify);
    DSBPOSITIONNOTIFY positions[4];
    for (DWORD i = 0; i < 4; ++i) positions[i] = {segment_ * (i + 1) - 1, event_};
    result_ = points->SetNotificationPositions(4, positions);
  }
  ~Recorder() {
    buffer_.reset();
    CloseHandle(event_);
  }

  HRESULT Result() const { return result_; }
  IDirectSoundCaptureBuffer* Buffer() const { return buffer_.get(); }

  HRESULT Start() {
    offset_ = 0;
    return buffer_->Start(DSCBSTART_LOOPING);
  }

  /// Waits for the next notification and appends the whole segments. @return false when none came in time
  bool Drain(std::vector<BYTE>* data, DWORD milliseconds = 10000) {
    if (WaitForSingleObject(event_, milliseconds) != WAIT_OBJECT_0) return false;
    DWORD position = 0;
    buffer_->GetCurrentPosition(nullptr, &position);
    const DWORD available = (position + 4 * segment_ - offset_) % (4 * segment_);
    const DWORD bytes = available - available % segment_;
    void* parts[2];
    DWORD sizes[2];
    if (buffer_->Lock(offset_, bytes, &parts[0], &sizes[0], &parts[1], &sizes[1], 0) != DS_OK) return false;
    for (int i = 0; i < 2 && parts[i] != nullptr; ++i) {
      const auto* const from = static_cast<const BYTE*>(parts[i]);
      data->insert(data->end(), from, from + sizes[i]);
      buffer_->Unlock(parts[i], sizes[i], nullptr, 0);
    }
    offset_ = (offset_ + bytes) % (4 * segment_);
    return true;
  }

 private:
  DWORD segment_;
  DWORD offset_ = 0;
  HANDLE event_;
  HRESULT result_;
  Com<IDirectSoundCapture> device_;
  Com<IDirectSoundCaptureBuffer> buffer_;
};
