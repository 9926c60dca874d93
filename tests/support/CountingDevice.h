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
#include "platform/posix/capture/capture_device.h"
#include "platform/posix/layer.h"

namespace test {

/// Delivers frames of four bytes (16 bits, two channels), each its number since the device's start. It drops
/// none: what a late worker has not read yet is still there.
class CountingDevice {
 public:
  CountingDevice() { platform::RegisterCaptureDevice(id, "counting", &CountingDevice::Open, this); }
  ~CountingDevice() { platform::UnregisterCaptureDevice(id); }
  CountingDevice(const CountingDevice&) = delete;
  CountingDevice& operator=(const CountingDevice&) = delete;

  const GUID id{0xC0047140, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
  std::atomic<bool> gone{false};  // at any time
  /// Delivers as fast as frames are recorded, not in real time. Set before a start.
  std::atomic<bool> ignoresClock{false};
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
    bool HasFailed() const override { return owner_.gone; }
    void Wake() override { woken_ = true; }
    DWORD Read(BYTE* to, DWORD room, std::chrono::milliseconds) override {
      if (woken_ || HasFailed()) return 0;
      const std::uint64_t from = owner_.delivered;
      const std::uint64_t frames = std::min<std::uint64_t>(Due() - from, room / 4);
      if (frames == 0) std::this_thread::sleep_for(std::chrono::milliseconds(owner_.ignoresClock ? 0 : 5));
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
      // In real time until the reader's first lock: before that the ring does not wait for it.
      if (owner_.ignoresClock && recorded > 0) return recorded + 2 * rate_;
      const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin_;
      return static_cast<std::uint64_t>(time.count() * static_cast<double>(rate_));
    }

    CountingDevice& owner_;
    std::uint64_t rate_ = 0, before_ = 0;
    std::chrono::steady_clock::time_point begin_;
    std::atomic<bool> woken_{false};
  };

  static HRESULT Open(void* context, IDirectSoundCapture** device) {
    auto& owner = *static_cast<CountingDevice*>(context);
    return platform::detail::CaptureDevice::Create(std::make_unique<Source>(owner), device);
  }
};

/// What a file recorded from the device holds: its frames, and the gaps in them.
struct Counted {
  std::uint64_t frames = 0;
  std::uint64_t gaps = 0;
  std::uint64_t firstGapAt = 0;  // frames of the file before it
  std::int64_t missing = 0;      // frames in all gaps; negative: some are there twice
  bool complete = false;         // has a RIFF header and the right data size
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
  counted.complete = bytes == dataBytes && std::memcmp(header, "RIFF", 4) == 0;
  return counted;
}

}  // namespace test
