#pragma once
// The capture buffer: a ring that a worker thread fills from a source.

#include <condition_variable>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "platform/capture_losses.h"
#include "platform/posix/capture/backlog.h"
#include "platform/posix/capture/capture_device.h"
#include "platform/posix/capture/com_object.h"
#include "platform/posix/capture/notifications.h"

namespace platform::detail {

/// The published capture buffer, its notifications and its losses in one object.
///
/// The worker reads from the source without a lock, into the ring or into the backlog. Under `lock_` it moves
/// the position and signals the notifications that this has passed. Under the same lock GetCurrentPosition
/// reads the position and withdraws them.
///
/// A reader that locks and unlocks what it reads is never overrun: what it has not unlocked is not
/// overwritten. What is captured meanwhile waits in the backlog, and is moved into the ring as soon as an
/// Unlock has made room. A full backlog loses its oldest sound, the length of the ring at a time, so that
/// offsets in the ring keep their meaning. For a reader that never locks, the ring overwrites its oldest
/// sound.
class CaptureRing final : public ComObject<IDirectSoundCaptureBuffer, IDirectSoundNotify, ICaptureLosses> {
 public:
  /// Makes a ring with one reference, and its worker.
  /// @param format consistent PCM; the source is configured for it
  /// @return DS_OK: made
  /// @return E_OUTOFMEMORY: memory or threads are short
  static HRESULT Create(std::shared_ptr<OpenDevice> device, const WAVEFORMATEX& format, DWORD bytes,
                        IDirectSoundCaptureBuffer** buffer);

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

  void __stdcall GetLosses(CaptureLosses* losses) override;

 private:
  CaptureRing(std::shared_ptr<OpenDevice> device, const WAVEFORMATEX& format, DWORD bytes);
  ~CaptureRing() override;

  void* Find(REFIID iid) override;

  // The worker.
  void RunWorker();
  void Capture(std::unique_lock<std::mutex>& lock);
  std::span<BYTE> NextFreeSpan();
  void Append(std::span<BYTE> room, DWORD bytes);
  void CountLoss(std::uint64_t queued, std::uint64_t bytes);

  // The ring, under lock_.
  DWORD RoomInRing();
  void Refill();
  void Advance(DWORD bytes);
  bool HasUnreadData() const;
  void ResetForStart();

  bool Contains(LPCVOID part, DWORD bytes) const;
  DWORD Size() const { return static_cast<DWORD>(ring_.size()); }

  const std::shared_ptr<OpenDevice> device_;
  const WAVEFORMATEX format_;
  std::vector<BYTE> ring_;  // its size never changes

  std::mutex control_;  // one Start or Stop at a time; taken before lock_
  std::mutex lock_;     // guards all that follows
  std::condition_variable wakeWorker_;
  std::condition_variable workerIdle_;
  Notifications notifications_;
  bool running_ = false;
  bool looping_ = false;
  bool workerBusy_ = false;  // the worker is reading from the source
  bool quit_ = false;
  bool failed_ = false;            // the device has failed for good; reset by Start
  bool lastPositionRead_ = false;  // a reader has got the last position of a device that has failed

  DWORD position_ = 0;            // the read position: bytes before it are the reader's
  DWORD reader_ = 0;              // offset of the first byte that the reader has not unlocked
  DWORD unread_ = 0;              // bytes from there to the position
  DWORD locked_ = 0;              // bytes from there on that the reader has locked
  bool readerLocks_ = false;      // it has locked once, and will lock what it reads
  bool freeRunning_ = false;      // the ring overwrites what a reader that does not lock has not read
  std::uint64_t totalBytes_ = 0;  // bytes put into the ring since Start

  const std::size_t backlogLimit_;
  Backlog backlog_;            // has room for a ring beyond the limit, so it never is full
  CaptureLosses losses_ = {};  // in bytes

  std::thread worker_;
};

}  // namespace platform::detail
