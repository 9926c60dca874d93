#pragma once
// The built-in capture device: a voice in real time, on any machine.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

#include "platform/posix/capture/capture_source.h"
#include "platform/posix/capture/voice.h"

namespace platform::detail {

/// Delivers a Voice by the steady clock, in ticks of kSignalTick. A worker that reads late gets all that it
/// has missed; one that is later than kSignalMaxLateness finds that the device has paused. The stream has no
/// gap in either case.
class SignalSource final : public CaptureSource {
 public:
  DSCCAPS Caps() const override;
  HRESULT Configure(const WAVEFORMATEX& format) override;
  HRESULT Start() override;
  void Stop() override {}
  DWORD Read(BYTE* to, DWORD room, std::chrono::milliseconds timeout) override;
  void Wake() override;

 private:
  using Clock = std::chrono::steady_clock;

  bool WaitForTick(std::chrono::milliseconds timeout);
  void Tick(Clock::time_point now);

  std::optional<Voice> voice_;
  std::uint64_t rate_ = 0;
  DWORD block_ = 0;
  // Of the thread in Read, and of Start before it.
  Clock::time_point begin_;  // when frame 0 was
  Clock::time_point nextTick_;
  std::uint64_t delivered_ = 0;  // frames since Start
  std::uint64_t ready_ = 0;      // frames that may be delivered now

  std::mutex lock_;  // guards woken_
  std::condition_variable wake_;
  bool woken_ = false;
};

}  // namespace platform::detail
