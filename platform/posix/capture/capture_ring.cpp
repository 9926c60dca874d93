// The capture buffer.
#include "platform/posix/capture/capture_ring.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>
#include <system_error>
#include <utility>

#include "platform/posix/capture/limits.h"
#include "platform/posix/core/signals.h"

namespace platform::detail {
namespace {

/// @return bytes, in whole blocks
std::size_t BacklogLimit(const WAVEFORMATEX& format) {
  constexpr auto seconds = static_cast<std::size_t>(kBacklogTime.count());
  const std::size_t bytes = std::min(seconds * format.nAvgBytesPerSec, kMostBacklogBytes);
  return bytes - bytes % format.nBlockAlign;
}

/// @return whether an offset is in a region, which may continue at the ring's start
bool IsInRegion(DWORD offset, DWORD begin, DWORD bytes, DWORD ring) {
  return (offset >= begin ? offset - begin : offset + (ring - begin)) < bytes;
}

}  // namespace

CaptureRing::CaptureRing(std::shared_ptr<OpenDevice> device, const WAVEFORMATEX& format, DWORD bytes)
    : device_(std::move(device)),
      format_(format),
      ring_(bytes),
      backlogLimit_(BacklogLimit(format)),
      backlog_(backlogLimit_ + bytes) {
  const SignalsBlocked blocked;
  worker_ = std::thread(&CaptureRing::RunWorker, this);
}

CaptureRing::~CaptureRing() {
  Stop();
  {
    const std::lock_guard lock(lock_);
    quit_ = true;
  }
  wakeWorker_.notify_one();
  worker_.join();
  device_->hasBuffer = false;
}

HRESULT CaptureRing::Create(std::shared_ptr<OpenDevice> device, const WAVEFORMATEX& format, DWORD bytes,
                            IDirectSoundCaptureBuffer** buffer) try {
  *buffer = new CaptureRing(std::move(device), format, bytes);
  return DS_OK;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
} catch (const std::system_error&) {  // no further thread
  return E_OUTOFMEMORY;
}

// --- The worker -------------------------------------------------------------------------------------------

void CaptureRing::RunWorker() {
  std::unique_lock lock(lock_);
  for (;;) {
    wakeWorker_.wait(lock, [this] { return quit_ || running_; });
    if (quit_) return;
    Capture(lock);
  }
}

/// Reads from the source until Stop, until the end of a ring that does not loop, or until the device has
/// failed.
void CaptureRing::Capture(std::unique_lock<std::mutex>& lock) {
  CaptureSource& source = *device_->source;
  workerBusy_ = true;
  bool full = false;
  for (bool last = false; !last && !full && !failed_;) {
    last = !running_;  // what was captured by the stop is read too
    const std::span<BYTE> room = NextFreeSpan();
    lock.unlock();
    const DWORD got = source.Read(room.data(), static_cast<DWORD>(room.size()), kReadTimeout);
    const std::uint64_t lost = source.TakeLost();
    const bool failed = source.HasFailed();
    lock.lock();
    if (lost != 0) {
      CountLoss(backlog_.Used(), lost * format_.nBlockAlign);
      losses_.estimated = true;
    }
    Append(room, got);
    failed_ = failed;
    full = position_ == 0 && got > 0 && !looping_;
  }
  if ((full || failed_) && running_) {  // without a Stop, the worker stops the source
    running_ = false;
    lock.unlock();
    source.Stop();
    lock.lock();
    notifications_.SignalStop();
    if (failed_) notifications_.SignalData();
  }
  workerBusy_ = false;
  workerIdle_.notify_all();
}

/// @return memory for the next sound: in the ring, or in the backlog while sound waits there
std::span<BYTE> CaptureRing::NextFreeSpan() {
  if (backlog_.Used() == 0) {
    if (const DWORD room = RoomInRing(); room != 0) return {ring_.data() + position_, room};
  }
  return backlog_.FreeSpan();
}

void CaptureRing::Append(std::span<BYTE> room, DWORD bytes) {
  if (room.data() == ring_.data() + position_) {
    Advance(bytes);
  } else {
    backlog_.Commit(bytes);
    Refill();
    for (; backlog_.Used() > backlogLimit_; backlog_.Drop(Size())) CountLoss(0, Size());
  }
}

/// @param queued bytes in the backlog before the gap
void CaptureRing::CountLoss(std::uint64_t queued, std::uint64_t bytes) {
  const std::uint64_t at = totalBytes_ + losses_.lostFrames + queued;
  if (losses_.overruns == 0 || at != losses_.lastLossAt + losses_.lastLossFrames) {
    ++losses_.overruns;
    losses_.lastLossAt = at;
    losses_.lastLossFrames = 0;
  }
  losses_.lastLossFrames += bytes;
  losses_.lostFrames += bytes;
}

// --- The ring, under its lock -----------------------------------------------------------------------------

/// @return bytes that may be written from the position on: up to the ring's end or to what the reader has not
///         unlocked. One block of the ring stays free: a full ring would have the position of an empty one
DWORD CaptureRing::RoomInRing() {
  const DWORD toEnd = Size() - position_;
  if (!looping_ || freeRunning_) return toEnd;
  const DWORD kept = unread_ + format_.nBlockAlign;
  if (kept < Size() && locked_ <= unread_) return std::min(toEnd, Size() - kept);
  if (readerLocks_ || notifications_.AnyDataEventSet()) return 0;
  freeRunning_ = true;
  return toEnd;
}

void CaptureRing::Refill() {
  while (backlog_.Used() != 0) {
    const DWORD room = RoomInRing();
    if (room == 0) return;
    Advance(static_cast<DWORD>(backlog_.Take(ring_.data() + position_, room)));
  }
}

/// Moves the read position by @p bytes, at most to the ring's end, and signals the points that it passes.
void CaptureRing::Advance(DWORD bytes) {
  notifications_.SignalDataIn(position_, bytes);
  position_ += bytes;
  if (position_ == Size()) position_ = 0;
  totalBytes_ += bytes;
  if (!freeRunning_) unread_ += bytes;
}

/// @return true: the device has failed, but the reader will still read sound: up to a notification point. A
///         reader that has no points, or that has never locked and whose sound is not overwritten, reads the
///         last position once
bool CaptureRing::HasUnreadData() const {
  if (!notifications_.HasDataPoints()) return backlog_.Used() != 0 || !lastPositionRead_;
  if (freeRunning_ || (!readerLocks_ && lastPositionRead_)) return false;
  return notifications_.AnyDataPoint(
      [this](DWORD offset) { return IsInRegion(offset, reader_, unread_, Size()); });
}

void CaptureRing::ResetForStart() {
  position_ = reader_ = unread_ = locked_ = 0;
  totalBytes_ = 0;
  freeRunning_ = failed_ = lastPositionRead_ = false;
  backlog_.Clear();
  losses_ = {};
  notifications_.Withdraw();
}

// --- IUnknown ---------------------------------------------------------------------------------------------

void* CaptureRing::Find(REFIID iid) {
  if (iid == IID_IDirectSoundCaptureBuffer) return static_cast<IDirectSoundCaptureBuffer*>(this);
  if (iid == IID_IDirectSoundNotify) return static_cast<IDirectSoundNotify*>(this);
  if (iid == IID_ICaptureLosses) return static_cast<ICaptureLosses*>(this);
  return nullptr;
}

// --- IDirectSoundCaptureBuffer ----------------------------------------------------------------------------

HRESULT CaptureRing::GetCaps(DSCBCAPS* caps) {
  if (caps == nullptr || caps->dwSize < sizeof(DSCBCAPS)) return DSERR_INVALIDPARAM;
  caps->dwFlags = 0;
  caps->dwBufferBytes = Size();
  caps->dwReserved = 0;
  return DS_OK;
}

HRESULT CaptureRing::GetCurrentPosition(LPDWORD capturePosition, LPDWORD readPosition) {
  const std::lock_guard lock(lock_);
  if (failed_ && !HasUnreadData()) return DSERR_NODRIVER;
  if (capturePosition != nullptr) *capturePosition = position_;
  if (readPosition == nullptr) return DS_OK;  // nothing is withdrawn
  *readPosition = position_;
  lastPositionRead_ = failed_;
  notifications_.WithdrawData();  // their points are before the position that the caller reads
  return DS_OK;
}

HRESULT CaptureRing::GetFormat(LPWAVEFORMATEX format, DWORD size, LPDWORD written) {
  if (format == nullptr && written == nullptr) return DSERR_INVALIDPARAM;
  const DWORD bytes =
      format == nullptr ? DWORD{sizeof format_} : std::min(size, static_cast<DWORD>(sizeof format_));
  if (format != nullptr) std::memcpy(format, &format_, bytes);
  if (written != nullptr) *written = bytes;
  return DS_OK;
}

HRESULT CaptureRing::GetStatus(LPDWORD status) {
  if (status == nullptr) return DSERR_INVALIDPARAM;
  const std::lock_guard lock(lock_);
  *status = 0;
  if (running_) *status = DSCBSTATUS_CAPTURING | (looping_ ? DSCBSTATUS_LOOPING : 0);
  return DS_OK;
}

HRESULT CaptureRing::Initialize(IDirectSoundCapture*, LPCDSCBUFFERDESC) {
  return DSERR_ALREADYINITIALIZED;
}

HRESULT CaptureRing::Lock(DWORD offset, DWORD bytes, LPVOID* part1, LPDWORD bytes1, LPVOID* part2,
                          LPDWORD bytes2, DWORD flags) {
  if (part1 == nullptr || bytes1 == nullptr || (part2 == nullptr) != (bytes2 == nullptr) || flags != 0)
    return DSERR_INVALIDPARAM;
  if (offset >= Size() || bytes == 0 || bytes > Size()) return DSERR_INVALIDPARAM;
  {
    const std::lock_guard lock(lock_);
    readerLocks_ = true;
    freeRunning_ = false;
    reader_ = offset;
    unread_ = position_ >= offset ? position_ - offset : position_ + (Size() - offset);
    locked_ = bytes;
  }
  const DWORD first = std::min(bytes, Size() - offset);
  *part1 = ring_.data() + offset;
  *bytes1 = first;
  if (part2 == nullptr) return DS_OK;  // the caller takes only the part up to the ring's end
  *part2 = first < bytes ? ring_.data() : nullptr;
  *bytes2 = bytes - first;
  return DS_OK;
}

HRESULT CaptureRing::Start(DWORD flags) {
  if ((flags & ~DSCBSTART_LOOPING) != 0) return DSERR_INVALIDPARAM;
  const std::lock_guard control(control_);
  {
    std::unique_lock lock(lock_);
    if (running_) return DS_OK;
    workerIdle_.wait(lock, [this] { return !workerBusy_; });
  }
  if (const HRESULT result = device_->source->Start(); result != DS_OK) return result;
  {
    const std::lock_guard lock(lock_);
    ResetForStart();
    looping_ = (flags & DSCBSTART_LOOPING) != 0;
    running_ = true;
  }
  wakeWorker_.notify_one();
  return DS_OK;
}

HRESULT CaptureRing::Stop() {
  const std::lock_guard control(control_);
  {
    std::unique_lock lock(lock_);
    const bool wasRunning = std::exchange(running_, false);
    if (wasRunning) device_->source->Wake();
    workerIdle_.wait(lock, [this] { return !workerBusy_; });
    if (!wasRunning) return DS_OK;
    notifications_.SignalStop();
  }
  device_->source->Stop();
  return DS_OK;
}

HRESULT CaptureRing::Unlock(LPVOID part1, DWORD bytes1, LPVOID part2, DWORD bytes2) {
  const bool ours = Contains(part1, bytes1) && (part2 == nullptr || Contains(part2, bytes2));
  if (!ours) return DSERR_INVALIDPARAM;
  // Parts come back in their order, in one call or in one each.
  const std::lock_guard lock(lock_);
  const DWORD bytes = std::min(locked_, bytes1 + (part2 != nullptr ? bytes2 : 0));
  locked_ -= bytes;
  unread_ -= std::min(unread_, bytes);
  reader_ = (reader_ + bytes) % Size();
  Refill();
  // This was the last sound: the signal has the reader find that out.
  if (failed_ && !HasUnreadData()) notifications_.SignalData();
  return DS_OK;
}

bool CaptureRing::Contains(LPCVOID part, DWORD bytes) const {
  const auto* const begin = static_cast<const BYTE*>(part);
  const auto* const ring = ring_.data();
  const std::less<> before;
  if (begin == nullptr || before(begin, ring) || !before(begin, ring + Size())) return false;
  return bytes <= static_cast<DWORD>(ring + Size() - begin);
}

// --- IDirectSoundNotify -----------------------------------------------------------------------------------

HRESULT CaptureRing::SetNotificationPositions(DWORD count, LPCDSBPOSITIONNOTIFY positions) try {
  if (count > 0 && positions == nullptr) return DSERR_INVALIDPARAM;
  std::vector<Notifications::Point> wanted;
  for (DWORD i = 0; i < count; ++i) {
    const auto& [offset, event] = positions[i];
    if (event == nullptr || (offset >= Size() && offset != DSBPN_OFFSETSTOP)) return DSERR_INVALIDPARAM;
    wanted.push_back({offset, event});
  }
  const std::lock_guard lock(lock_);
  if (running_ || workerBusy_) return DSERR_INVALIDCALL;
  notifications_.Set(std::move(wanted));
  return DS_OK;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

// --- ICaptureLosses ---------------------------------------------------------------------------------------

void CaptureRing::GetLosses(CaptureLosses* losses) {
  const std::lock_guard lock(lock_);
  const std::uint64_t block = format_.nBlockAlign;
  *losses = losses_;
  losses->lostFrames /= block;
  losses->lastLossAt /= block;
  losses->lastLossFrames /= block;
  losses->waitingFrames = (unread_ + backlog_.Used()) / block;
}

}  // namespace platform::detail
