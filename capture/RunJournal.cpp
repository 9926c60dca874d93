#include "capture/RunJournal.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "capture/Limits.h"
#include "capture/SequenceLock.h"

namespace capture {
namespace {

constinit RunJournal journal;
constinit SequenceLocked<cmm::CaptureReport> published;

/// A device may answer every identifier with the one interface that it has. So the interface that it gives is
/// asked for itself once more.
/// @return whether the buffer counts its losses
bool AskForLosses(IDirectSoundCaptureBuffer* buffer, CaptureLosses* losses) {
  void* found = nullptr;
  if (buffer->QueryInterface(IID_ICaptureLosses, &found) < 0 || found == nullptr) return false;
  auto* const answer = static_cast<IUnknown*>(found);
  void* again = nullptr;
  const bool counts = answer->QueryInterface(IID_ICaptureLosses, &again) >= 0 && again == found;
  if (counts) {
    static_cast<ICaptureLosses*>(found)->GetLosses(losses);
    answer->Release();
  }
  answer->Release();
  return counts;
}

}  // namespace

RunJournal& RunJournal::Get() {
  return journal;
}

void RunJournal::Publish() {
  report_.framesDelivered = delivered_ / block_;
  report_.framesInFile = inFiles_ / block_;
  published.Store(report_);
}

void RunJournal::BeginRun(const WAVEFORMATEX& format) {
  *this = RunJournal();
  block_ = format.nBlockAlign;
  bytesPerSecond_ = format.nAvgBytesPerSec;
  report_.end = cmm::CaptureEnd::kRunning;
  Publish();
}

bool RunJournal::IsRunning() const {
  return report_.end == cmm::CaptureEnd::kRunning || report_.end == cmm::CaptureEnd::kStopped;
}

void RunJournal::EndRun(cmm::CaptureEnd why, HRESULT deviceResult) {
  if (!IsRunning()) return;
  report_.end = why;
  if (deviceResult != 0) report_.deviceResult = deviceResult;
  Publish();
}

void RunJournal::CaptureStarted(HRESULT result) {
  startedAt_ = delivered_ / block_ + report_.lostFrames;
  gapsBefore_ = report_.overruns;
  lostBefore_ = report_.lostFrames;
  capturing_ = result >= 0;
  lastPositionAt_ = {};
  lastPosition_ = 0;
  report_.deviceResult = result < 0 ? result : 0;
  if (IsRunning()) report_.end = cmm::CaptureEnd::kRunning;
  Publish();
}

void RunJournal::CaptureStopped(HRESULT result) {
  if (result < 0) report_.deviceResult = result;
  if (result == 0) {
    capturing_ = false;
    if (IsRunning()) report_.end = cmm::CaptureEnd::kStopped;
  }
  Publish();
}

// --- The file ---------------------------------------------------------------------------------------------

void RunJournal::FileOpened() {
  fileBytes_ = 0;
  report_.fileError = 0;
  Publish();
}

void RunJournal::FileFailed(DWORD error) {
  if (error != 0) report_.fileError = static_cast<std::int32_t>(error);
  Publish();
}

std::uint32_t RunJournal::FileClosed(std::uint32_t bytes) {
  const std::uint32_t missing = fileBytes_ - std::min(bytes, fileBytes_);
  inFiles_ -= missing;
  fileBytes_ = 0;
  Publish();
  return missing;
}

// --- A drain ----------------------------------------------------------------------------------------------

void RunJournal::BeginDrain() {
  drainBegan_ = Clock::now();
  drainResult_ = 0;
  foundNothing_ = true;
}

void RunJournal::Found(std::uint32_t segments, std::uint32_t notifications, std::uint32_t ringSegments) {
  foundNothing_ = segments == 0;
  if (foundNothing_) return;
  const std::uint32_t due = notificationsToCome_ + segments;
  notificationsToCome_ = std::min(due - std::min(due, notifications), ringSegments);
}

void RunJournal::Moved(std::uint32_t delivered, std::uint32_t written, DWORD fileError) {
  delivered_ += delivered;
  inFiles_ += written;
  fileBytes_ += written;
  if (fileError != 0) report_.fileError = static_cast<std::int32_t>(fileError);
}

void RunJournal::NoteLosses(IDirectSoundCaptureBuffer* buffer, DWORD readPosition, std::uint32_t ringBytes) {
  CaptureLosses losses{};
  if (AskForLosses(buffer, &losses)) {
    report_.overruns = gapsBefore_ + losses.overruns;
    report_.lostFrames = lostBefore_ + losses.lostFrames;
    if (losses.overruns > 0) {
      report_.lastLossAt = startedAt_ + losses.lastLossAt;
      report_.lastLossFrames = losses.lastLossFrames;
      report_.lossIsEstimate = report_.lossIsEstimate || losses.estimated;
    }
  } else if (capturing_) {  // the position of a stopped capture stays while the clock goes on
    EstimateLoss(readPosition, ringBytes);
  }
}

/// Such a buffer overwrites what has not been read. The clock gives the bytes since the last call, the
/// position the same modulo the ring: the difference, in complete rings, was lost. How long a device takes to
/// begin is unknown, so the first call only notes the time.
void RunJournal::EstimateLoss(DWORD readPosition, std::uint32_t ringBytes) {
  const auto now = Clock::now();
  const std::chrono::duration<double> away = now - lastPositionAt_;
  const DWORD moved = readPosition >= lastPosition_ ? readPosition - lastPosition_
                                                    : readPosition + (ringBytes - lastPosition_);
  const double rings =
      std::floor((away.count() * bytesPerSecond_ - moved) / ringBytes + kClockToleranceRings);
  const bool isFirst = std::exchange(lastPositionAt_, now) == Clock::time_point();
  lastPosition_ = readPosition;
  if (isFirst || rings < 1.0) return;
  CountLoss(static_cast<std::uint64_t>(rings) * ringBytes / block_);
  report_.lossIsEstimate = true;
}

/// Counts a gap before the frames that are drained next.
void RunJournal::CountLoss(std::uint64_t frames) {
  report_.lastLossAt = delivered_ / block_ + report_.lostFrames;
  report_.lastLossFrames = frames;
  ++report_.overruns;
  ++gapsBefore_;
  report_.lostFrames += frames;
  lostBefore_ += frames;
}

/// A device may signal a segment a little after its position has passed it; a drain has then taken the
/// segment already.
bool RunJournal::IsLateNotification() {
  if (!foundNothing_ || drainResult_ != 0 || notificationsToCome_ == 0) return false;
  --notificationsToCome_;
  return true;
}

bool RunJournal::EndDrain(bool moved) {
  using Milliseconds = std::chrono::duration<std::uint32_t, std::milli>;
  const auto took = std::chrono::duration_cast<Milliseconds>(Clock::now() - drainBegan_);
  report_.longestDrainMs = std::max(report_.longestDrainMs, took.count());
  Publish();
  if (moved || IsLateNotification()) return true;
  using cmm::CaptureEnd;
  if (drainResult_ != 0) {
    EndRun(drainResult_ == DSERR_NODRIVER ? CaptureEnd::kDeviceLost : CaptureEnd::kDeviceFailed,
           drainResult_);
  } else if (foundNothing_) {
    EndRun(CaptureEnd::kDeviceFailed);
  } else {
    EndRun(report_.fileError != 0 ? CaptureEnd::kFileFailed : CaptureEnd::kFileLimit);
  }
  return false;
}

void RunJournal::EndDiscard(std::uint32_t bytes) {
  discards_ = false;
  if (bytes != 0) CountLoss(bytes / block_);
  Publish();
}

}  // namespace capture

cmm::CaptureReport cmm::GetCaptureReport() {
  return capture::published.Load();
}
