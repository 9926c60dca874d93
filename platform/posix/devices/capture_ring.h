#pragma once
// The capture buffer: a ring that a worker thread fills from a source.

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "platform/posix/devices/capture_device.h"

namespace platform::detail {

/// The published capture buffer and its notifications in one object.
///
/// The worker is the ring's one writer. It writes behind the read position without a lock and moves the
/// position under `lock_`, where it also signals the notifications that it has passed; GetCurrentPosition
/// reads the position and withdraws them under the same lock. A reader that has fallen a whole ring behind is
/// not waited for: the oldest data is overwritten. But what it has locked stays as it is until it is
/// unlocked, for a fifth of a second at the most: the source keeps what comes meanwhile, as far as it can.
class CaptureRing final : public IDirectSoundCaptureBuffer, public IDirectSoundNotify {
 public:
  /// Makes a ring with one reference, and its worker. @p format is consistent PCM and the source's own by
  /// now.
  static HRESULT Create(std::shared_ptr<OpenDevice> device, const WAVEFORMATEX& format, DWORD bytes,
                        IDirectSoundCaptureBuffer** buffer);

  HRESULT __stdcall QueryInterface(REFIID iid, void** object) override;
  ULONG __stdcall AddRef() override;
  ULONG __stdcall Release() override;

  HRESULT __stdcall GetCaps(DSCBCAPS* caps) override;
  HRESULT __stdcall GetCurrentPosition(LPDWORD capturePosition, LPDWORD readPosition) override;
  HRESULT __stdcall GetFormat(LPWAVEFORMATEX format, DWORD size, LPDWORD written) override;
  HRESULT __stdcall GetStatus(LPDWORD status) override;
  HRESULT __stdcall Initialize(IDirectSoundCapture* device, LPCDSCBUFFERDESC desc) override;
  HRESULT __stdcall Lock(DWORD offset, DWORD bytes, LPVOID* part1, LPDWORD bytes1, LPVOID* part2,
                         LPDWORD bytes2, DWORD flags) override;
  HRESULT __stdcall Start(DWORD flags) override;
  HRESULT __stdcall Stop() override;
  HRESULT __stdcall Unlock(LPVOID part1, DWORD bytes1, LPVOID part2, DWORD bytes2) override;

  HRESULT __stdcall SetNotificationPositions(DWORD count, LPCDSBPOSITIONNOTIFY positions) override;

 private:
  struct Notification {
    DWORD offset;
    HANDLE event;
    bool pending;  // signalled, and not withdrawn since
  };

  CaptureRing(std::shared_ptr<OpenDevice> device, const WAVEFORMATEX& format, DWORD bytes);
  ~CaptureRing();

  void Work();
  void Capture(std::unique_lock<std::mutex>& lock);
  void Advance(DWORD bytes);
  void SignalStop();
  void WithdrawPassed();
  DWORD RoomForWorker() const;
  bool Contains(LPCVOID part, DWORD bytes) const;
  DWORD Size() const { return static_cast<DWORD>(ring_.size()); }

  std::atomic<ULONG> count_ = 1;
  const std::shared_ptr<OpenDevice> device_;
  const WAVEFORMATEX format_;
  std::vector<BYTE> ring_;  // its size never changes

  std::mutex control_;  // one Start or Stop at a time; taken before lock_
  std::mutex lock_;     // guards all that follows
  std::condition_variable go_;
  std::condition_variable parked_;
  std::vector<Notification> notifications_;
  DWORD position_ = 0;  // the read position: bytes before it are the reader's
  bool running_ = false;
  bool looping_ = false;
  bool busy_ = false;  // the worker is at the source
  bool quit_ = false;
  DWORD lockedAt_ = 0;  // the region that the reader has locked, from its offset on, across the ring's end
  DWORD lockedBytes_ = 0;
  std::condition_variable unlocked_;

  std::thread worker_;
};

}  // namespace platform::detail
