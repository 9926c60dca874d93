#pragma once
// A capture device under a test's control: it fails where it is told to, and delivers what it is told to. Its
// ring keeps the promise of the real one about positions and notifications.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/posix/layer.h"
#include "platform/posix/sync.h"

class FakeDevice {
 public:
  /// Results to give, in place of success.
  struct Faults {
    std::atomic<HRESULT> open{S_OK}, ring{S_OK}, query{S_OK}, notifications{S_OK};
    std::atomic<HRESULT> start{S_OK}, stop{S_OK}, position{S_OK};
    std::atomic<int> openDelayMs{0}, stopDelayMs{0};
  };

  FakeDevice() { platform::RegisterCaptureDevice(id, "fake", &FakeDevice::Open, this); }
  ~FakeDevice() { platform::UnregisterCaptureDevice(id); }
  FakeDevice(const FakeDevice&) = delete;
  FakeDevice& operator=(const FakeDevice&) = delete;

  /// Byte @p k of the stream that every start begins anew.
  static std::uint8_t Byte(std::uint64_t k) { return static_cast<std::uint8_t>(k * 7 + k / 256); }

  /// While capturing: puts @p bytes more into the ring, a byte stream without end, and signals the
  /// notifications passed.
  void Deliver(std::uint32_t bytes) {
    const std::lock_guard lock(mutex_);
    if (!capturing) return;
    for (std::uint32_t i = 0; i < bytes; ++i, ++delivered_) {
      const auto offset = static_cast<DWORD>(delivered_ % ringBytes);
      ring_[offset] = Byte(delivered_);
      for (const DSBPOSITIONNOTIFY& point : points) {
        if (point.dwOffset == offset) ::SetEvent(point.hEventNotify);
      }
    }
  }

  /// Bytes delivered since the last start.
  std::uint64_t Delivered() {
    const std::lock_guard lock(mutex_);
    return delivered_;
  }

  const GUID id{0xFA4E0001, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
  Faults faults;
  std::function<void(FakeDevice&)> beforePosition;  // set before a run; called without a lock
  bool withdraws = true;  // whether a position withdraws the notifications that it covers
  std::vector<DSBPOSITIONNOTIFY> points;
  DWORD ringBytes = 0;
  DWORD descSize = 0;
  std::atomic<int> objects{0};
  std::atomic<bool> capturing{false};

 private:
  /// The count that deletes.
  template <class... Interfaces>
  class Counted : public Interfaces... {
   public:
    explicit Counted(FakeDevice& owner) : device(owner) { ++device.objects; }
    virtual ~Counted() { --device.objects; }
    ULONG __stdcall AddRef() override { return ++references_; }
    ULONG __stdcall Release() override {
      const ULONG left = --references_;
      if (left == 0) delete this;
      return left;
    }

   protected:
    FakeDevice& device;

   private:
    std::atomic<ULONG> references_{1};
  };

  struct Notify final : Counted<IDirectSoundNotify> {
    using Counted::Counted;
    HRESULT __stdcall QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    HRESULT __stdcall SetNotificationPositions(DWORD count, LPCDSBPOSITIONNOTIFY positions) override {
      if (device.faults.notifications < 0) return device.faults.notifications;
      device.points.assign(positions, positions + count);
      return DS_OK;
    }
  };

  struct Buffer final : Counted<IDirectSoundCaptureBuffer> {
    using Counted::Counted;
    HRESULT __stdcall QueryInterface(REFIID, void** object) override {
      if (device.faults.query < 0) return device.faults.query;
      *object = static_cast<IDirectSoundNotify*>(new Notify(device));
      return DS_OK;
    }
    HRESULT __stdcall GetCaps(DSCBCAPS*) override { return E_NOTIMPL; }
    HRESULT __stdcall GetFormat(LPWAVEFORMATEX, DWORD, LPDWORD) override { return E_NOTIMPL; }
    HRESULT __stdcall GetStatus(LPDWORD) override { return E_NOTIMPL; }
    HRESULT __stdcall Initialize(IDirectSoundCapture*, LPCDSCBUFFERDESC) override { return E_NOTIMPL; }
    HRESULT __stdcall GetCurrentPosition(LPDWORD capture, LPDWORD read) override {
      if (device.beforePosition) device.beforePosition(device);
      return device.Position(capture, read);
    }
    HRESULT __stdcall Lock(DWORD offset, DWORD bytes, LPVOID* part1, LPDWORD bytes1, LPVOID* part2,
                           LPDWORD bytes2, DWORD) override {
      if (offset >= device.ringBytes || bytes > device.ringBytes) return DSERR_INVALIDPARAM;
      const DWORD first = std::min(bytes, device.ringBytes - offset);
      *part1 = &device.ring_[offset];
      *bytes1 = first;
      *part2 = bytes > first ? device.ring_.data() : nullptr;
      *bytes2 = bytes - first;
      return DS_OK;
    }
    HRESULT __stdcall Start(DWORD) override { return device.Start(); }
    HRESULT __stdcall Stop() override {
      std::this_thread::sleep_for(std::chrono::milliseconds(device.faults.stopDelayMs));
      return device.Stop();
    }
    HRESULT __stdcall Unlock(LPVOID, DWORD, LPVOID, DWORD) override { return DS_OK; }
  };

  struct Device final : Counted<IDirectSoundCapture> {
    using Counted::Counted;
    HRESULT __stdcall QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    HRESULT __stdcall CreateCaptureBuffer(LPCDSCBUFFERDESC desc, LPDIRECTSOUNDCAPTUREBUFFER* buffer,
                                          LPUNKNOWN) override {
      if (device.faults.ring < 0) return device.faults.ring;
      device.descSize = desc->dwSize;
      device.ringBytes = desc->dwBufferBytes;
      device.ring_.assign(desc->dwBufferBytes, 0);
      *buffer = new Buffer(device);
      return DS_OK;
    }
    HRESULT __stdcall GetCaps(DSCCAPS*) override { return E_NOTIMPL; }
    HRESULT __stdcall Initialize(LPCGUID) override { return E_NOTIMPL; }
  };

  static HRESULT Open(void* context, IDirectSoundCapture** device) {
    FakeDevice& fake = *static_cast<FakeDevice*>(context);
    std::this_thread::sleep_for(std::chrono::milliseconds(fake.faults.openDelayMs));
    if (fake.faults.open < 0) return fake.faults.open;
    *device = new Device(fake);
    return DS_OK;
  }

  HRESULT Start() {
    const std::lock_guard lock(mutex_);
    delivered_ = 0;
    Withdraw();
    capturing = faults.start == S_OK;
    return faults.start;
  }

  HRESULT Stop() {
    const std::lock_guard lock(mutex_);
    capturing = false;
    return faults.stop;
  }

  HRESULT Position(LPDWORD capture, LPDWORD read) {
    const std::lock_guard lock(mutex_);
    if (faults.position < 0) return faults.position;
    *capture = *read = static_cast<DWORD>(delivered_ % ringBytes);
    if (withdraws) Withdraw();
    return DS_OK;
  }

  void Withdraw() {
    for (const DSBPOSITIONNOTIFY& point : points) ::ResetEvent(point.hEventNotify);
  }

  std::mutex mutex_;
  std::vector<std::uint8_t> ring_;
  std::uint64_t delivered_ = 0;
};
