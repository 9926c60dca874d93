#include "platform/posix/devices/capture_device.h"

#include <limits>
#include <new>

#include "platform/posix/devices/capture_ring.h"

namespace platform::detail {
namespace {

constexpr DWORD kMaxRingBytes = 0x0FFFFFFF;  // the published limit of a sound buffer
// The record's size where pointers take four bytes; callers compiled from that number alone give it
// everywhere.
constexpr DWORD kMinDescBytes = 20;

bool IsConsistentPcm(const WAVEFORMATEX& format) {
  const std::uint64_t block = std::uint64_t{format.nChannels} * format.wBitsPerSample / 8;
  return format.wFormatTag == WAVE_FORMAT_PCM && format.nChannels > 0 && format.nSamplesPerSec > 0 &&
         format.wBitsPerSample > 0 && format.wBitsPerSample % 8 == 0 && format.nBlockAlign == block &&
         format.nAvgBytesPerSec == block * format.nSamplesPerSec;
}

HRESULT CheckDescription(LPCDSCBUFFERDESC desc) {
  if (desc == nullptr || desc->dwSize < kMinDescBytes || desc->dwFlags != 0 || desc->lpwfxFormat == nullptr)
    return DSERR_INVALIDPARAM;
  if (!IsConsistentPcm(*desc->lpwfxFormat)) return DSERR_BADFORMAT;
  const DWORD bytes = desc->dwBufferBytes;
  if (bytes == 0 || bytes > kMaxRingBytes || bytes % desc->lpwfxFormat->nBlockAlign != 0)
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

HRESULT CaptureDevice::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  const bool known = iid == IID_IUnknown || iid == IID_IDirectSoundCapture;
  *object = known ? static_cast<IDirectSoundCapture*>(this) : nullptr;
  if (!known) return E_NOINTERFACE;
  AddRef();
  return S_OK;
}

ULONG CaptureDevice::AddRef() {
  return count_.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG CaptureDevice::Release() {
  const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) delete this;
  return left;
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
