#pragma once
// A capture device that counts its frames, over the layer's own ring: what has reached a file can be told
// frame by frame. For programs with the sources of the ring among theirs.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "capture/CaptureReport.h"
#include "platform/posix/devices/capture_device.h"
#include "platform/posix/layer.h"

namespace test {

/// Frames of four bytes, each its number since the device's start; 16 bits and two channels. As with a device
/// that has room enough, what a late worker has missed is still there.
class CountingDevice {
 public:
  /// Faults and delays, at any time.
  struct Faults {
    std::atomic<HRESULT> position{S_OK}, lock{S_OK};
    std::atomic<int> lockDelayMs{0};  // of the next Lock
    std::atomic<bool> gone{false};
  };

  CountingDevice() { platform::RegisterCaptureDevice(id, "counting", &CountingDevice::Open, this); }
  ~CountingDevice() { platform::UnregisterCaptureDevice(id); }
  CountingDevice(const CountingDevice&) = delete;
  CountingDevice& operator=(const CountingDevice&) = delete;

  const GUID id{0xC0047140, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
  Faults faults;
  /// Goes as fast as frames are recorded, and not by the clock. Set before a start.
  std::atomic<bool> unhurried{false};
  std::atomic<std::uint64_t> delivered{0};  // frames since the start

 private:
  class Source final : public platform::detail::CaptureSource {
   public:
    explicit Source(CountingDevice& owner) : owner_(owner) {}
    DSCCAPS Caps() const override { return {sizeof(DSCCAPS), 0, 0xFFF, 2}; }
    HRESULT Configure(const WAVEFORMATEX& format) override {
      rate_ = format.nSamplesPerSec;
      return format.nBlockAlign == 4 ? DS_OK : DSERR_BADFORMAT;
    }
    HRESULT Start() override {
      begin_ = std::chrono::steady_clock::now();
      owner_.delivered = 0;
      before_ = cmm::GetCaptureReport().framesDelivered;
      woken_ = false;
      return DS_OK;
    }
    void Stop() override {}
    bool Gone() const override { return owner_.faults.gone; }
    void Wake() override { woken_ = true; }
    DWORD Read(BYTE* to, DWORD room, std::chrono::milliseconds) override {
      if (woken_ || Gone()) return 0;
      const std::uint64_t from = owner_.delivered;
      const std::uint64_t frames = std::min<std::uint64_t>(Due() - from, room / 4);
      if (frames == 0) std::this_thread::sleep_for(std::chrono::milliseconds(owner_.unhurried ? 0 : 5));
      for (std::uint64_t i = 0; i < frames; ++i) {
        const auto number = static_cast<std::uint32_t>(from + i);
        std::memcpy(to + 4 * i, &number, 4);
      }
      owner_.delivered = from + frames;
      return static_cast<DWORD>(4 * frames);
    }

   private:
    std::uint64_t Due() const {
      const std::uint64_t recorded = cmm::GetCaptureReport().framesDelivered - before_;
      // By the clock until the reader has locked for the first time: before that a ring waits for nobody.
      if (owner_.unhurried && recorded > 0) return recorded + 2 * rate_;
      const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin_;
      return static_cast<std::uint64_t>(time.count() * static_cast<double>(rate_));
    }

    CountingDevice& owner_;
    std::uint64_t rate_ = 0, before_ = 0;
    std::chrono::steady_clock::time_point begin_;
    std::atomic<bool> woken_{false};
  };

  /// An interface of the layer's, passed on.
  template <class Interface>
  class Wrapped : public Interface {
   public:
    Wrapped(CountingDevice& counting, Interface* wrapped) : owner(counting), inner(wrapped) {}
    virtual ~Wrapped() { inner->Release(); }
    HRESULT __stdcall QueryInterface(REFIID iid, void** object) override {
      return inner->QueryInterface(iid, object);
    }
    ULONG __stdcall AddRef() override { return ++references_; }
    ULONG __stdcall Release() override {
      const ULONG left = --references_;
      if (left == 0) delete this;
      return left;
    }

   protected:
    CountingDevice& owner;
    Interface* const inner;

   private:
    std::atomic<ULONG> references_{1};
  };

  /// The ring's buffer, with the faults.
  struct Buffer final : Wrapped<IDirectSoundCaptureBuffer> {
    using Wrapped::Wrapped;
    HRESULT __stdcall GetCaps(DSCBCAPS* caps) override { return inner->GetCaps(caps); }
    HRESULT __stdcall GetFormat(LPWAVEFORMATEX format, DWORD size, LPDWORD written) override {
      return inner->GetFormat(format, size, written);
    }
    HRESULT __stdcall GetStatus(LPDWORD status) override { return inner->GetStatus(status); }
    HRESULT __stdcall Initialize(IDirectSoundCapture*, LPCDSCBUFFERDESC) override { return E_NOTIMPL; }
    HRESULT __stdcall GetCurrentPosition(LPDWORD capture, LPDWORD read) override {
      const HRESULT fault = owner.faults.position;
      return fault < 0 ? fault : inner->GetCurrentPosition(capture, read);
    }
    HRESULT __stdcall Lock(DWORD offset, DWORD bytes, LPVOID* part1, LPDWORD bytes1, LPVOID* part2,
                           LPDWORD bytes2, DWORD flags) override {
      std::this_thread::sleep_for(std::chrono::milliseconds(owner.faults.lockDelayMs.exchange(0)));
      const HRESULT fault = owner.faults.lock;
      return fault < 0 ? fault : inner->Lock(offset, bytes, part1, bytes1, part2, bytes2, flags);
    }
    HRESULT __stdcall Start(DWORD flags) override { return inner->Start(flags); }
    HRESULT __stdcall Stop() override { return inner->Stop(); }
    HRESULT __stdcall Unlock(LPVOID part1, DWORD bytes1, LPVOID part2, DWORD bytes2) override {
      return inner->Unlock(part1, bytes1, part2, bytes2);
    }
  };

  struct Device final : Wrapped<IDirectSoundCapture> {
    using Wrapped::Wrapped;
    HRESULT __stdcall CreateCaptureBuffer(LPCDSCBUFFERDESC desc, LPDIRECTSOUNDCAPTUREBUFFER* buffer,
                                          LPUNKNOWN outer) override {
      const HRESULT result = inner->CreateCaptureBuffer(desc, buffer, outer);
      if (result == DS_OK) *buffer = new Buffer(owner, *buffer);
      return result;
    }
    HRESULT __stdcall GetCaps(DSCCAPS* caps) override { return inner->GetCaps(caps); }
    HRESULT __stdcall Initialize(LPCGUID) override { return E_NOTIMPL; }
  };

  static HRESULT Open(void* context, IDirectSoundCapture** device) {
    auto& owner = *static_cast<CountingDevice*>(context);
    const HRESULT result = platform::detail::CaptureDevice::Create(std::make_unique<Source>(owner), device);
    if (result == DS_OK) *device = new Device(owner, *device);
    return result;
  }
};

/// What a file of the device's holds: the frames in one piece, or the first gap in them.
struct Counted {
  std::uint64_t frames = 0;
  std::uint64_t gaps = 0;
  std::uint64_t firstGapAt = 0;  // frames of the file ahead of it
  std::int64_t missing = 0;      // frames in all gaps; below 0: some are there twice
  bool whole = false;            // begins at 0, and its sizes are right
};
inline Counted CountFrames(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  Counted counted;
  char header[56] = {};
  file.read(header, sizeof header);
  std::uint32_t dataBytes = 0;
  std::memcpy(&dataBytes, header + 52, 4);
  std::vector<std::uint32_t> block(1 << 16);
  std::uint32_t expected = 0;
  std::uint64_t bytes = 0;
  while (file) {
    file.read(reinterpret_cast<char*>(block.data()), static_cast<std::streamsize>(4 * block.size()));
    const auto got = static_cast<std::uint64_t>(file.gcount());
    bytes += got;
    for (std::uint64_t i = 0; i < got / 4; ++i) {
      if (block[i] != expected) {
        if (counted.gaps++ == 0) counted.firstGapAt = counted.frames;
        counted.missing += static_cast<std::int32_t>(block[i] - expected);
      }
      expected = block[i] + 1;
      ++counted.frames;
    }
  }
  counted.whole = bytes == dataBytes && std::memcmp(header, "RIFF", 4) == 0;
  return counted;
}

}  // namespace test
