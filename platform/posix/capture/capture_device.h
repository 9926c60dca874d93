#pragma once
// The capture device under its published interface, over any source.

#include <atomic>
#include <memory>
#include <utility>

#include "platform/posix/capture/capture_source.h"
#include "platform/posix/capture/com_object.h"

namespace platform::detail {

/// What a device and its buffer share. It exists until both are released, in whatever order.
struct OpenDevice {
  std::unique_ptr<CaptureSource> source;
  std::atomic<bool> hasBuffer = false;
};

/// A capture device. Any thread.
class CaptureDevice final : public ComObject<IDirectSoundCapture> {
 public:
  /// Makes a device with one reference over @p source.
  /// @return DS_OK: made
  /// @return E_OUTOFMEMORY; @p device is untouched
  static HRESULT Create(std::unique_ptr<CaptureSource> source, IDirectSoundCapture** device);

  HRESULT __stdcall CreateCaptureBuffer(LPCDSCBUFFERDESC desc, LPDIRECTSOUNDCAPTUREBUFFER* buffer,
                                        LPUNKNOWN outer) override;
  HRESULT __stdcall GetCaps(DSCCAPS* caps) override;
  HRESULT __stdcall Initialize(LPCGUID device) override;

 private:
  explicit CaptureDevice(std::shared_ptr<OpenDevice> device) : device_(std::move(device)) {}
  void* Find(REFIID iid) override;

  std::shared_ptr<OpenDevice> device_;
};

}  // namespace platform::detail
