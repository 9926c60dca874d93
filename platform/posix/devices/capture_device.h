#pragma once
// The capture device under its published interface, over any source.

#include <atomic>
#include <memory>
#include <utility>

#include "platform/posix/devices/capture_source.h"

namespace platform::detail {

/// What a device and its buffer share. It lives until both have gone, so they may be released in any order.
struct OpenDevice {
  std::unique_ptr<CaptureSource> source;
  std::atomic<bool> hasBuffer = false;
};

class CaptureDevice final : public IDirectSoundCapture {
 public:
  /// Puts a device with one reference over @p source.
  static HRESULT Create(std::unique_ptr<CaptureSource> source, IDirectSoundCapture** device);

  HRESULT __stdcall QueryInterface(REFIID iid, void** object) override;
  ULONG __stdcall AddRef() override;
  ULONG __stdcall Release() override;

  HRESULT __stdcall CreateCaptureBuffer(LPCDSCBUFFERDESC desc, LPDIRECTSOUNDCAPTUREBUFFER* buffer,
                                        LPUNKNOWN outer) override;
  HRESULT __stdcall GetCaps(DSCCAPS* caps) override;
  HRESULT __stdcall Initialize(LPCGUID device) override;

 private:
  explicit CaptureDevice(std::shared_ptr<OpenDevice> device) : device_(std::move(device)) {}
  ~CaptureDevice() = default;

  std::atomic<ULONG> count_ = 1;
  std::shared_ptr<OpenDevice> device_;
};

}  // namespace platform::detail
