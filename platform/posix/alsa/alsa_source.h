#pragma once
// Capture from an ALSA device.

#include <chrono>
#include <cstdint>
#include <memory>
#include <utility>

#include "platform/posix/alsa/alsa.h"
#include "platform/posix/capture/capture_source.h"

namespace platform::detail {

/// A descriptor that a thread can wait for, readable from Set to Clear.
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

/// A capture device of ALSA, which it is asked for at an interval.
class AlsaSource final : public CaptureSource {
 public:
  /// @param name   of ALSA's configuration
  /// @param source receives the opened device; untouched on failure
  /// @return DS_OK: open
  /// @return DSERR_NODRIVER: it cannot be opened
  /// @return DSERR_ALLOCATED: another program has it
  /// @return DSERR_OUTOFMEMORY
  static HRESULT Open(const char* name, std::unique_ptr<CaptureSource>* source);

  ~AlsaSource() override;

  DSCCAPS Caps() const override { return caps_; }
  HRESULT Configure(const WAVEFORMATEX& format) override;
  HRESULT Start() override;
  void Stop() override;
  DWORD Read(BYTE* to, DWORD room, std::chrono::milliseconds timeout) override;
  void Wake() override { wake_.Set(); }
  bool HasFailed() const override { return failed_; }
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
  std::chrono::milliseconds interval_{};  // between two reads of an empty device
  bool drained_ = true;                   // the latest read has emptied the device
  bool failed_ = false;                   // the device has failed for good
  double rate_ = 0;
  Clock::time_point lastRead_;  // time of the latest sound that was read
  std::uint64_t lost_ = 0;      // frames of an overrun, by the clock
};

}  // namespace platform::detail
