#pragma once
// Capture from an ALSA device.

#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>

#include "platform/posix/alsa/alsa.h"
#include "platform/posix/capture/capture_source.h"

namespace platform::detail {

/// A descriptor that Wake makes readable.
class WakeDescriptor {
 public:
  WakeDescriptor();
  ~WakeDescriptor();
  WakeDescriptor(const WakeDescriptor&) = delete;
  WakeDescriptor& operator=(const WakeDescriptor&) = delete;

  int Get() const { return descriptor_; }
  void Set();
  void Clear();

 private:
  int descriptor_;
};

class AlsaSource final : public CaptureSource {
 public:
  /// @param name as ALSA's configuration knows it
  /// @return DS_OK; DSERR_NODRIVER: cannot be opened; DSERR_ALLOCATED: busy; DSERR_OUTOFMEMORY
  static HRESULT Open(const char* name, std::unique_ptr<CaptureSource>* source);

  ~AlsaSource() override;

  DSCCAPS Caps() const override { return caps_; }
  HRESULT Configure(const WAVEFORMATEX& format) override;
  HRESULT Start() override;
  void Stop() override;
  DWORD Read(BYTE* to, DWORD room, std::chrono::milliseconds patience) override;
  void Wake() override { wake_.Set(); }
  bool Gone() const override { return gone_; }
  std::uint64_t TakeLost() override { return std::exchange(lost_, 0); }

 private:
  using Clock = std::chrono::steady_clock;

  AlsaSource() = default;

  bool Restart();
  bool RestartAfterOverrun();
  void WaitForWake(std::chrono::milliseconds time);

  snd_pcm_t* pcm_ = nullptr;  // opened by Open, closed by the destructor
  DSCCAPS caps_ = {};
  DWORD block_ = 0;
  WakeDescriptor wake_;
  std::chrono::milliseconds interval_{};  // between two looks at the device
  bool drained_ = true;                   // the latest read has taken all that there was
  bool gone_ = false;                     // the device has failed for good: nothing more comes of it
  double rate_ = 0;
  Clock::time_point lastRead_;  // up to then the sound has been handed over
  std::uint64_t lost_ = 0;      // frames of an overrun, by the clock
};

}  // namespace platform::detail
