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

/// In whole blocks.
std::size_t BacklogLimit(const WAVEFORMATEX& format) {
  constexpr auto seconds = static_cast<std::size_t>(kBacklogTime.count());
  const std::size_t bytes = std::min(seconds * format.nAvgBytesPerSec, kMostBacklogBytes);
  return bytes - bytes % format.nBlockAlign;
}

/// The two parts of a region of a ring: before its end, and from its beginning on.
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
  worker_ = std::thread(&CaptureRing::Work, this);
}

CaptureRing::~CaptureRing() {
  Stop();
  {
    const std::lock_guard lock(lock_);
    quit_ = true;
  }
  go_.notify_one();
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

void CaptureRing::Work() {
  std::unique_lock lock(lock_);
  for (;;) {
    go_.wait(lock, [this] { return quit_ || running_; });
    if (quit_) return;
    Capture(lock);
  }
}

/// Takes from the source until Stop, until the end of a ring that does not loop, or until the device is gone.
void CaptureRing::Capture(std::unique_lock<std::mutex>& lock) {
  CaptureSource& source = *device_->source;
  busy_ = true;
  bool full = false;
  for (bool last = false; !last && !full && !gone_;) {
    last = !running_;  // what has come by the stop is taken too
    const std::span<BYTE> room = RoomForWorker();
    lock.unlock();
    const DWORD got = source.Read(room.data(), static_cast<DWORD>(room.size()), kReadPatience);
    const std::uint64_t lost = source.TakeLost();
    const bool gone = source.Gone();
    lock.lock();
    if (lost != 0) {
      CountLoss(backlog_.Held(), lost * format_.nBlockAlign);
      losses_.estimated = true;
    }
    TakeIn(room, got);
    gone_ = gone;
    full = position_ == 0 && got > 0 && !looping_;
  }
  if ((full || gone_) && running_) {  // nobody has stopped it: the source is the worker's to stop
    running_ = false;
    lock.unlock();
    source.Stop();
    lock.lock();
    notifications_.SignalStop();
    if (gone_) notifications_.SignalData();
  }
  busy_ = false;
  parked_.notify_all();
}

/// Where the next sound goes: straight into the ring, or behind what waits for room there.
std::span<BYTE> CaptureRing::RoomForWorker() {
  if (backlog_.Held() == 0) {
    if (const DWORD room = RoomInRing(); room != 0) return {ring_.data() + position_, room};
  }
  return backlog_.Tail();
}

void CaptureRing::TakeIn(std::span<BYTE> room, DWORD bytes) {
  if (room.data() == ring_.data() + position_) {
    Advance(bytes);
  } else {
    backlog_.Commit(bytes);
    Refill();
    for (; backlog_.Held() > backlogLimit_; backlog_.Drop(Size())) CountLoss(0, Size());
  }
}

/// @param behind bytes in the backlog ahead of the gap
void CaptureRing::CountLoss(std::uint64_t behind, std::uint64_t bytes) {
  const std::uint64_t at = passed_ + losses_.lostFrames + behind;
  if (losses_.overruns == 0 || at != losses_.lastLossAt + losses_.lastLossFrames) {
    ++losses_.overruns;
    losses_.lastLossAt = at;
    losses_.lastLossFrames = 0;
  }
  losses_.lastLossFrames += bytes;
  losses_.lostFrames += bytes;
}

// --- The ring, under its lock -----------------------------------------------------------------------------

/// Bytes from the position on, up to the ring's end or to what the reader has not unlocked. One block less
/// than the ring at the most, since a position that has come round would tell the reader that there is
/// nothing.
DWORD CaptureRing::RoomInRing() {
  const DWORD toEnd = Size() - position_;
  if (!looping_ || goesRound_) return toEnd;
  const DWORD kept = unread_ + format_.nBlockAlign;
  if (kept < Size() && locked_ <= unread_) return std::min(toEnd, Size() - kept);
  if (locking_ || notifications_.AnyDataEventSet()) return 0;
  goesRound_ = true;
  return toEnd;
}

void CaptureRing::Refill() {
  while (backlog_.Held() != 0) {
    const DWORD room = RoomInRing();
    if (room == 0) return;
    Advance(static_cast<DWORD>(backlog_.Take(ring_.data() + position_, room)));
  }
}

/// Moves the read position over @p bytes, which do not go beyond the ring's end, and signals what it passes.
void CaptureRing::Advance(DWORD bytes) {
  notifications_.SignalDataIn(position_, bytes);
  position_ += bytes;
  if (position_ == Size()) position_ = 0;
  passed_ += bytes;
  if (!goesRound_) unread_ += bytes;
}

/// Whether a device that is gone has left something that the reader will come for: what lies up to a
/// notification point. Of a reader that does not lock, or is not woken by points, only its looks are known.
bool CaptureRing::DataWaits() const {
  if (!notifications_.WakeForData()) return backlog_.Held() != 0 || !told_;
  if (goesRound_ || (!locking_ && told_)) return false;
  return notifications_.AnyOfData(
      [this](DWORD offset) { return IsInRegion(offset, reader_, unread_, Size()); });
}

void CaptureRing::BeginAnew() {
  position_ = reader_ = unread_ = locked_ = 0;
  passed_ = 0;
  goesRound_ = gone_ = told_ = false;
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
  if (gone_ && !DataWaits()) return DSERR_NODRIVER;
  if (capturePosition != nullptr) *capturePosition = position_;
  if (readPosition == nullptr)
    return DS_OK;  // the caller does not learn what it could take: nothing is covered
  *readPosition = position_;
  told_ = gone_;
  notifications_.WithdrawData();  // what has been signalled lies before the read position
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
    locking_ = true;
    goesRound_ = false;
    reader_ = offset;
    unread_ = position_ >= offset ? position_ - offset : position_ + (Size() - offset);
    locked_ = bytes;
  }
  const DWORD first = std::min(bytes, Size() - offset);
  *part1 = ring_.data() + offset;
  *bytes1 = first;
  if (part2 == nullptr) return DS_OK;  // the caller is content with what lies before the ring's end
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
    parked_.wait(lock, [this] { return !busy_; });
  }
  if (const HRESULT result = device_->source->Start(); result != DS_OK) return result;
  {
    const std::lock_guard lock(lock_);
    BeginAnew();
    looping_ = (flags & DSCBSTART_LOOPING) != 0;
    running_ = true;
  }
  go_.notify_one();
  return DS_OK;
}

HRESULT CaptureRing::Stop() {
  const std::lock_guard control(control_);
  {
    std::unique_lock lock(lock_);
    const bool wasRunning = std::exchange(running_, false);
    if (wasRunning) device_->source->Wake();
    parked_.wait(lock, [this] { return !busy_; });
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
  // The reader is to learn that this was the last.
  if (gone_ && !DataWaits()) notifications_.SignalData();
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
  if (running_ || busy_) return DSERR_INVALIDCALL;
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
  losses->waitingFrames = (unread_ + backlog_.Held()) / block;
}

}  // namespace platform::detail
