#pragma once
// The capture device under its published interface, over any source.

#include <atomic>
#include <memory>
#include <utility>

#include "platform/posix/capture/capture_source.h"
#include "platform/posix/capture/com_object.h"

namespace platform::detail {

/// What a device and its buffer share. It lives until both have gone, so they may be released in any order.
struct OpenDevice {
  std::unique_ptr<CaptureSource> source;
  std::atomic<bool> hasBuffer = false;
};

class CaptureDevice final : public ComObject<IDirectSoundCapture> {
 public:
  /// Puts a device with one reference over @p source.
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
