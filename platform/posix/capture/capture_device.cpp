// The capture device: its one buffer, and the checks of its description.
#include "platform/posix/capture/capture_device.h"

#include <new>

#include "platform/posix/capture/capture_ring.h"
#include "platform/posix/capture/limits.h"

namespace platform::detail {
namespace {

// The structure's size where pointers have four bytes; some callers give that number everywhere.
constexpr DWORD kMinDescBytes = 20;

HRESULT CheckDescription(LPCDSCBUFFERDESC desc) {
  if (desc == nullptr || desc->dwSize < kMinDescBytes || desc->dwFlags != 0 || desc->lpwfxFormat == nullptr)
    return DSERR_INVALIDPARAM;
  if (!IsConsistentPcm(*desc->lpwfxFormat)) return DSERR_BADFORMAT;
  const DWORD bytes = desc->dwBufferBytes;
  if (bytes == 0 || bytes > kMostRingBytes || bytes % desc->lpwfxFormat->nBlockAlign != 0)
    return DSERR_INVALIDPARAM;
  return DS_OK;
}

}  // namespace

HRESULT CaptureDevice::Create(std::unique_ptr<CaptureSource> source, IDirectSoundCapture** device) try {
  auto shared = std::make_shared<OpenDevice>();
  shared->source = std::move(source);
  *device = new CaptureDevice(std::move(shared));
  return DS_OK;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

void* CaptureDevice::Find(REFIID iid) {
  return iid == IID_IDirectSoundCapture ? static_cast<IDirectSoundCapture*>(this) : nullptr;
}

HRESULT CaptureDevice::CreateCaptureBuffer(LPCDSCBUFFERDESC desc, LPDIRECTSOUNDCAPTUREBUFFER* buffer,
                                           LPUNKNOWN outer) {
  if (buffer == nullptr) return DSERR_INVALIDPARAM;
  *buffer = nullptr;
  if (outer != nullptr) return DSERR_NOAGGREGATION;
  if (const HRESULT result = CheckDescription(desc); result != DS_OK) return result;
  if (device_->hasBuffer.exchange(true)) return DSERR_ALLOCATED;
  HRESULT result = device_->source->Configure(*desc->lpwfxFormat);
  if (result == DS_OK) result = CaptureRing::Create(device_, *desc->lpwfxFormat, desc->dwBufferBytes, buffer);
  if (result != DS_OK) device_->hasBuffer = false;
  return result;
}

HRESULT CaptureDevice::GetCaps(DSCCAPS* caps) {
  if (caps == nullptr || caps->dwSize < sizeof(DSCCAPS)) return DSERR_INVALIDPARAM;
  const DWORD size = caps->dwSize;
  *caps = device_->source->Caps();
  caps->dwSize = size;
  return DS_OK;
}

HRESULT CaptureDevice::Initialize(LPCGUID) {
  return DSERR_ALREADYINITIALIZED;
}

}  // namespace platform::detail
