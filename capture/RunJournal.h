#pragma once
// Notes of the run, from which the CaptureReport is made.

#include <chrono>
#include <cstdint>

#include "capture/CaptureReport.h"
#include "platform/capture_losses.h"
#include "platform/platform.h"

namespace capture {

/// Written by one thread at a time: the controller's until it has started the capture thread, then that one.
/// What is noted outside a drain is in the report at once, that of a drain with EndDrain.
class RunJournal {
 public:
  /// The only one of the process.
  static RunJournal& Get();

  /// Begins the notes and the report of a new run.
  void BeginRun(const WAVEFORMATEX& format);
  /// Notes why the run has ended, unless it had ended before.
  void EndRun(cmm::CaptureEnd why, HRESULT deviceResult = 0);

  void CaptureStarted(HRESULT result);
  void CaptureStopped(HRESULT result);

  void FileOpened();
  /// @param error the system's code; 0 keeps the one before
  void FileFailed(DWORD error);
  /// @param bytes that the file holds now
  /// @return bytes that it had taken and does not hold
  std::uint32_t FileClosed(std::uint32_t bytes);
  /// Bytes that the open file has taken.
  std::uint32_t FileBytes() const { return fileBytes_; }

  // A drain, step by step.
  void BeginDrain();
  void DeviceFailed(HRESULT result) { drainResult_ = result; }
  /// @param segments that are ready, in a ring of @p ringSegments
  /// @param notifications that this drain answers
  void Found(std::uint32_t segments, std::uint32_t notifications, std::uint32_t ringSegments);
  /// @param delivered bytes offered to the file
  /// @param written   bytes that the file took
  /// @param fileError the system's code, 0 for none
  void Moved(std::uint32_t delivered, std::uint32_t written, DWORD fileError);
  /// Takes the losses that the buffer has counted; for one that does not count, the clock's estimate.
  void NoteLosses(IDirectSoundCaptureBuffer* buffer, DWORD readPosition, std::uint32_t ringBytes);
  /// @param moved whether the file took anything
  /// @return whether the run continues
  bool EndDrain(bool moved);

  /// Whether drains discard what they take from the ring, since the file is about to be closed.
  bool Discards() const { return discards_; }
  void BeginDiscard() { discards_ = true; }
  /// @param bytes that drains have discarded; they count as lost
  void EndDiscard(std::uint32_t bytes);

 private:
  using Clock = std::chrono::steady_clock;

  void Publish();
  void CountLoss(std::uint64_t frames);
  void EstimateLoss(DWORD readPosition, std::uint32_t ringBytes);
  bool IsLateNotification();
  bool IsRunning() const;

  cmm::CaptureReport report_{};
  std::uint32_t block_ = 1;  // bytes of a frame
  std::uint32_t bytesPerSecond_ = 1;

  std::uint64_t delivered_ = 0;  // bytes of the run
  std::uint64_t inFiles_ = 0;    // bytes of the run
  std::uint32_t fileBytes_ = 0;  // of the open file
  std::uint64_t startedAt_ = 0;  // frames of the run before the latest start, lost ones included
  // Losses that the buffer has not counted: of earlier starts, and what was discarded.
  std::uint32_t gapsBefore_ = 0;
  std::uint64_t lostBefore_ = 0;

  Clock::time_point drainBegan_;
  HRESULT drainResult_ = 0;
  bool foundNothing_ = true;
  std::uint32_t notificationsToCome_ = 0;  // notifications of segments that have been drained already
  bool capturing_ = false;
  Clock::time_point lastPositionAt_;  // when lastPosition_ was read, since the latest start; zero: not yet
  DWORD lastPosition_ = 0;
  bool discards_ = false;
};

}  // namespace capture
