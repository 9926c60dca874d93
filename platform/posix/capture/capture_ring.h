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
/// The worker reads from the source without a lock, into the ring or into the backlog, and moves the position
/// under `lock_`, where it also signals the notifications that it has passed; GetCurrentPosition reads the
/// position and withdraws them under the same lock.
///
/// A reader that locks and unlocks what it reads is never overrun: the position does not come round to what
/// it has not unlocked. What is captured meanwhile waits in the backlog, and goes on into the ring as soon as
/// an Unlock has made room. A backlog that is full loses its oldest sound, one ring's worth at a time, so
/// that offsets in the ring keep their meaning. A reader that never locks sees a ring that goes round.
class CaptureRing final : public ComObject<IDirectSoundCaptureBuffer, IDirectSoundNotify, ICaptureLosses> {
 public:
  /// Makes a ring with one reference, and its worker. @p format is consistent PCM and the source's own by
  /// now.
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
  void Work();
  void Capture(std::unique_lock<std::mutex>& lock);
  std::span<BYTE> RoomForWorker();
  void TakeIn(std::span<BYTE> room, DWORD bytes);
  void CountLoss(std::uint64_t behind, std::uint64_t bytes);

  // The ring, under lock_.
  DWORD RoomInRing();
  void Refill();
  void Advance(DWORD bytes);
  bool DataWaits() const;
  void BeginAnew();

  bool Contains(LPCVOID part, DWORD bytes) const;
  DWORD Size() const { return static_cast<DWORD>(ring_.size()); }

  const std::shared_ptr<OpenDevice> device_;
  const WAVEFORMATEX format_;
  std::vector<BYTE> ring_;  // its size never changes

  std::mutex control_;  // one Start or Stop at a time; taken before lock_
  std::mutex lock_;     // guards all that follows
  std::condition_variable go_;
  std::condition_variable parked_;
  Notifications notifications_;
  bool running_ = false;
  bool looping_ = false;
  bool busy_ = false;  // the worker is at the source
  bool quit_ = false;
  bool gone_ = false;  // the device has failed, and nothing more will come before the next Start
  bool told_ = false;  // a reader has been given the last position of a device that is gone

  DWORD position_ = 0;        // the read position: bytes before it are the reader's
  DWORD reader_ = 0;          // offset of the first byte that the reader has not unlocked
  DWORD unread_ = 0;          // bytes from there to the position
  DWORD locked_ = 0;          // bytes from there on that the reader has locked
  bool locking_ = false;      // the reader locks what it reads: it has done so once
  bool goesRound_ = false;    // the position has come round to a reader that did not lock
  std::uint64_t passed_ = 0;  // bytes that the position has gone over since Start

  const std::size_t backlogLimit_;
  Backlog backlog_;            // with room for a ring beyond the limit, so that there always is some
  CaptureLosses losses_ = {};  // in bytes

  std::thread worker_;
};

}  // namespace platform::detail
