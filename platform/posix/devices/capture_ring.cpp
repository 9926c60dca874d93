#include "platform/posix/devices/capture_ring.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>
#include <system_error>
#include <utility>

#include "platform/posix/signals.h"
#include "platform/posix/sync.h"

namespace platform::detail {
namespace {

// How long the worker leaves itself to the source. A Wake ends the wait; this only bounds what a source may
// do.
constexpr std::chrono::milliseconds kPatience{100};
// How long a locked region is kept from the worker: a reader that forgets to unlock does not stop the device.
constexpr std::chrono::milliseconds kLongestHold{200};

}  // namespace

CaptureRing::CaptureRing(std::shared_ptr<OpenDevice> device, const WAVEFORMATEX& format, DWORD bytes)
    : device_(std::move(device)), format_(format), ring_(bytes) {
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

/// Fills the ring from the source until Stop, or until the end of a ring that does not loop.
void CaptureRing::Capture(std::unique_lock<std::mutex>& lock) {
  CaptureSource& source = *device_->source;
  busy_ = true;
  bool full = false;
  while (running_ && !full) {
    BYTE* const to = ring_.data() + position_;
    const DWORD room = RoomForWorker();
    if (room == 0) {
      const auto free = [this] { return !running_ || RoomForWorker() != 0; };
      if (!unlocked_.wait_for(lock, kLongestHold, free)) lockedBytes_ = 0;
      continue;
    }
    lock.unlock();
    const DWORD got = source.Read(to, room, kPatience);
    lock.lock();
    Advance(got);
    full = position_ == 0 && got > 0 && !looping_;
  }
  if (full && running_) {  // nobody has stopped it: the source is the worker's to stop
    running_ = false;
    lock.unlock();
    source.Stop();
    lock.lock();
    SignalStop();
  }
  busy_ = false;
  parked_.notify_all();
}

/// Bytes up to the ring's end, or to what the reader has locked; 0 inside of that.
DWORD CaptureRing::RoomForWorker() const {
  const DWORD toEnd = Size() - position_;
  if (lockedBytes_ == 0) return toEnd;
  const DWORD into = position_ >= lockedAt_ ? position_ - lockedAt_ : position_ + (Size() - lockedAt_);
  if (into < lockedBytes_) return 0;
  return position_ < lockedAt_ ? std::min(toEnd, lockedAt_ - position_) : toEnd;
}

/// Moves the read position over @p bytes, which do not go beyond the ring's end, and signals what it passes.
void CaptureRing::Advance(DWORD bytes) {
  for (Notification& each : notifications_) {
    if (each.offset < position_ || each.offset - position_ >= bytes) continue;
    each.pending = true;
    SetEvent(each.event);
  }
  position_ += bytes;
  if (position_ == Size()) position_ = 0;
}

void CaptureRing::SignalStop() {
  for (Notification& each : notifications_) {
    if (each.offset != DSBPN_OFFSETSTOP) continue;
    each.pending = true;
    SetEvent(each.event);
  }
}

/// Takes back the notifications of data: what has been signalled lies before the read position. An event that
/// also tells of the stop stays.
void CaptureRing::WithdrawPassed() {
  const auto tellsOfStop = [this](HANDLE event) {
    return std::any_of(notifications_.begin(), notifications_.end(), [event](const Notification& each) {
      return each.event == event && each.offset == DSBPN_OFFSETSTOP && each.pending;
    });
  };
  for (Notification& each : notifications_) {
    if (!each.pending || each.offset == DSBPN_OFFSETSTOP) continue;
    each.pending = false;
    if (!tellsOfStop(each.event)) ResetEvent(each.event);
  }
}

// --- IUnknown ---------------------------------------------------------------------------------------------

HRESULT CaptureRing::QueryInterface(REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  *object = nullptr;
  if (iid == IID_IUnknown || iid == IID_IDirectSoundCaptureBuffer) {
    *object = static_cast<IDirectSoundCaptureBuffer*>(this);
  } else if (iid == IID_IDirectSoundNotify) {
    *object = static_cast<IDirectSoundNotify*>(this);
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG CaptureRing::AddRef() {
  return count_.fetch_add(1, std::memory_order_relaxed) + 1;
}

ULONG CaptureRing::Release() {
  const ULONG left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) delete this;
  return left;
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
  if (capturePosition != nullptr) *capturePosition = position_;
  if (readPosition == nullptr)
    return DS_OK;  // the caller does not learn what it could take: nothing is covered
  *readPosition = position_;
  WithdrawPassed();
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
    lockedAt_ = offset;
    lockedBytes_ = bytes;
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
    position_ = lockedBytes_ = 0;
    for (Notification& each : notifications_) {
      if (each.pending) ResetEvent(each.event);
      each.pending = false;
    }
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
    unlocked_.notify_one();
    parked_.wait(lock, [this] { return !busy_; });
    if (!wasRunning) return DS_OK;
    SignalStop();
  }
  device_->source->Stop();
  return DS_OK;
}

HRESULT CaptureRing::Unlock(LPVOID part1, DWORD bytes1, LPVOID part2, DWORD bytes2) {
  const bool ours = Contains(part1, bytes1) && (part2 == nullptr || Contains(part2, bytes2));
  if (!ours) return DSERR_INVALIDPARAM;
  {
    // Parts come back in their order, in one call or in one each.
    const std::lock_guard lock(lock_);
    const DWORD bytes = std::min(lockedBytes_, bytes1 + (part2 != nullptr ? bytes2 : 0));
    lockedBytes_ -= bytes;
    lockedAt_ = (lockedAt_ + bytes) % Size();
  }
  unlocked_.notify_one();
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
  std::vector<Notification> wanted;
  for (DWORD i = 0; i < count; ++i) {
    const auto& [offset, event] = positions[i];
    if (event == nullptr || (offset >= Size() && offset != DSBPN_OFFSETSTOP)) return DSERR_INVALIDPARAM;
    wanted.push_back({offset, event, false});
  }
  const std::lock_guard lock(lock_);
  if (running_ || busy_) return DSERR_INVALIDCALL;
  notifications_.swap(wanted);
  return DS_OK;
} catch (const std::bad_alloc&) {
  return E_OUTOFMEMORY;
}

}  // namespace platform::detail
