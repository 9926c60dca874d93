#include "capture/CaptureRun.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

#include "capture/Limits.h"
#include "capture/RecordLock.h"

namespace capture {
namespace {

/// The record of the present run; null while there is none. It is only compared, except by its own thread.
constinit std::atomic<const ThreadDAT*> boundThreadDat{nullptr};

}  // namespace

CaptureRun::CaptureRun(const WAVEFORMATEX& captureFormat, const GUID* guid) : ThreadDAT{} {
  deviceGuid = guid;
  segmentCount = kRingSegments;
  commandCount = kCommandCount;
  ownerEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  mutex = CreateMutexA(nullptr, FALSE, nullptr);
  format = captureFormat;
}

CaptureRun::~CaptureRun() {
  CloseHandle(ownerEvent);
  CloseHandle(mutex);
}

std::shared_ptr<CaptureRun> CaptureRun::Begin(const WAVEFORMATEX& captureFormat, const GUID* guid) noexcept
    try {
  if (IsAnyRunAlive()) return nullptr;
  auto run = std::make_shared<CaptureRun>(captureFormat, guid);
  const ThreadDAT* none = nullptr;
  if (!boundThreadDat.compare_exchange_strong(none, run.get(), std::memory_order_acq_rel)) return nullptr;
  run->threadsReference_ = run;
  return run;
} catch (const std::bad_alloc&) {
  return nullptr;
}

std::shared_ptr<CaptureRun> CaptureRun::OfThread(ThreadDAT* threadDat) noexcept {
  if (boundThreadDat.load(std::memory_order_acquire) != threadDat) return nullptr;
  return std::move(static_cast<CaptureRun*>(threadDat)->threadsReference_);
}

void CaptureRun::End() noexcept {
  threadsReference_.reset();  // of a thread that could not be started
  boundThreadDat.store(nullptr, std::memory_order_release);
}

bool CaptureRun::HasEnded() const noexcept {
  return boundThreadDat.load(std::memory_order_acquire) != this;
}

void CaptureRun::RequestExit(DWORD milliseconds) noexcept {
  exitRequested.store(true, std::memory_order_release);
  const RecordLock lock(mutex, milliseconds);
  if (lock.TimedOut()) return;
  // The events exist in these states only, and are not closed while the mutex is held.
  const bool eventsExist = state == kStateCapturing || state == kStateFileOpen || state == kStateReady;
  if (eventsExist) SetEvent(commandEvents[kCommandExit]);
}

bool IsAnyRunAlive() noexcept {
  return boundThreadDat.load(std::memory_order_acquire) != nullptr;
}

void Refresh(ThreadDAT& shown, const ThreadDAT& record) noexcept {
  shown.threadCount = record.threadCount;
  shown.state = record.state;
  shown.recordedBytes = record.recordedBytes;
  shown.segmentCount = record.segmentCount;
  std::copy(std::begin(record.commandEvents), std::end(record.commandEvents), shown.commandEvents);
  std::copy(std::begin(record.replyEvents), std::end(record.replyEvents), shown.replyEvents);
  shown.result = record.result;
  shown.maxLevel = record.maxLevel;
}

}  // namespace capture
