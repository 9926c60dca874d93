#pragma once
// A capture device under a test's control: it fails where it is told to, and delivers what it is told to.
// Reading its position withdraws no notification: the layer's devices do that, but the services do not
// promise it.

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

#include "platform/posix/layer.h"
#include "platform/posix/sync.h"

/// Device and ring in one. It counts the references to all that it has handed out.
class FakeDevice final : public IDirectSoundCapture, public IDirectSoundCaptureBuffer {
 public:
  /// Results to give instead of success.
  struct {
    std::atomic<HRESULT> open{S_OK}, ring{S_OK}, notifications{S_OK};
    std::atomic<HRESULT> start{S_OK}, stop{S_OK}, position{S_OK}, lock{S_OK};
    std::atomic<DWORD> openDelayMs{0}, stopDelayMs{0};
  } faults;

  FakeDevice() { platform::RegisterCaptureDevice(id, "fake", &FakeDevice::Open, this); }
  virtual ~FakeDevice() { platform::UnregisterCaptureDevice(id); }

  /// Byte @p k of the stream that every start begins anew: it grows louder from segment to segment.
  static std::uint8_t Byte(std::uint64_t k) { return static_cast<std::uint8_t>(k % 7 + k / 64); }

  /// While capturing: puts @p bytes more into the ring, a byte stream without end, and signals the
  /// notifications passed.
  void Deliver(std::uint32_t bytes) {
    const std::lock_guard lock(mutex_);
    if (!capturing) return;
    for (std::uint32_t i = 0; i < bytes; ++i, ++delivered) {
      ring_[Offset()] = Byte(delivered);
      for (const DSBPOSITIONNOTIFY& point : points) {
        if (point.dwOffset == Offset()) ::SetEvent(point.hEventNotify);
      }
    }
  }
  std::uint32_t RingBytes() const { return static_cast<std::uint32_t>(ring_.size()); }

  const GUID id{0xFA4E0001, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
  std::function<void(FakeDevice&)> beforePosition;  // set before a run; called without a lock
  std::vector<DSBPOSITIONNOTIFY> points;
  std::atomic<ULONG> objects{0};
  std::atomic<std::uint64_t> delivered{0};  // bytes since the last start
  std::atomic<bool> capturing{false};

 private:
  struct Notify final : IDirectSoundNotify {
    explicit Notify(FakeDevice& owner) : device(owner) {}
    HRESULT __stdcall QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG __stdcall AddRef() override { return device.AddRef(); }
    ULONG __stdcall Release() override { return device.Release(); }
    HRESULT __stdcall SetNotificationPositions(DWORD count, LPCDSBPOSITIONNOTIFY positions) override {
      device.points.assign(positions, positions + count);
      return device.faults.notifications;
    }
    FakeDevice& device;
  };

  static HRESULT Open(void* context, IDirectSoundCapture** device) {
    FakeDevice& fake = *static_cast<FakeDevice*>(context);
    Sleep(fake.faults.openDelayMs);
    if (fake.faults.open < 0) return fake.faults.open;
    fake.AddRef();
    *device = &fake;
    return DS_OK;
  }

  ULONG __stdcall AddRef() override { return ++objects; }
  ULONG __stdcall Release() override { return --objects; }
  /// One interface, whatever is asked for.
  HRESULT __stdcall QueryInterface(REFIID, void** object) override {
    AddRef();
    *object = static_cast<IDirectSoundNotify*>(&notify_);
    return DS_OK;
  }
  HRESULT __stdcall CreateCaptureBuffer(LPCDSCBUFFERDESC desc, LPDIRECTSOUNDCAPTUREBUFFER* buffer,
                                        LPUNKNOWN) override {
    if (faults.ring < 0) return faults.ring;
    ring_.assign(desc->dwBufferBytes, 0);
    AddRef();
    *buffer = this;
    return DS_OK;
  }
  HRESULT __stdcall GetCaps(DSCCAPS*) override { return E_NOTIMPL; }
  HRESULT __stdcall GetCaps(DSCBCAPS*) override { return E_NOTIMPL; }
  HRESULT __stdcall GetFormat(LPWAVEFORMATEX, DWORD, LPDWORD) override { return E_NOTIMPL; }
  HRESULT __stdcall GetStatus(LPDWORD) override { return E_NOTIMPL; }
  HRESULT __stdcall Initialize(LPCGUID) override { return E_NOTIMPL; }
  HRESULT __stdcall Initialize(IDirectSoundCapture*, LPCDSCBUFFERDESC) override { return E_NOTIMPL; }

  HRESULT __stdcall Start(DWORD) override {
    const std::lock_guard lock(mutex_);
    delivered = 0;
    for (const DSBPOSITIONNOTIFY& point : points) ::ResetEvent(point.hEventNotify);
    capturing = faults.start == S_OK;
    return faults.start;
  }
  HRESULT __stdcall Stop() override {
    Sleep(faults.stopDelayMs);
    const std::lock_guard lock(mutex_);
    capturing = false;
    return faults.stop;
  }
  HRESULT __stdcall GetCurrentPosition(LPDWORD capture, LPDWORD read) override {
    if (beforePosition) beforePosition(*this);
    const std::lock_guard lock(mutex_);
    *capture = *read = Offset();
    return faults.position;
  }
  HRESULT __stdcall Lock(DWORD offset, DWORD bytes, LPVOID* part1, LPDWORD bytes1, LPVOID* part2,
                         LPDWORD bytes2, DWORD) override {
    if (offset >= RingBytes() || bytes > RingBytes()) return DSERR_INVALIDPARAM;
    *part1 = &ring_[offset];
    *bytes1 = std::min(bytes, RingBytes() - offset);
    *part2 = bytes > *bytes1 ? ring_.data() : nullptr;
    *bytes2 = bytes - *bytes1;
    return faults.lock;
  }
  HRESULT __stdcall Unlock(LPVOID, DWORD, LPVOID, DWORD) override { return DS_OK; }

  DWORD Offset() const { return static_cast<DWORD>(delivered % ring_.size()); }

  Notify notify_{*this};
  std::mutex mutex_;
  std::vector<std::uint8_t> ring_;
};
