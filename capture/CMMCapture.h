#pragma once
/// @file
/// The capture engine under CMMWAVCapture.

#include <cstdint>

#include "capture/ThreadDAT.h"
#include "platform/export.h"
#include "platform/owners.h"
#include "platform/platform.h"
#include "wavfile/CMMWav.h"

/// The capture engine: the device, its ring of equal segments, and the WAV file that the ring is drained
/// into. A host uses CMMWAVCapture instead, whose capture thread owns the one engine of the process.
///
/// @code
/// if (engine.Init(&dat) == 1 && engine.fOpen(&dat) == 1) {
///     engine.StartREC();
///     while (engine.MsgWait(1000) == 0 && engine.Write() > 0) {}  // until a command comes
///     engine.StopREC();
///     engine.fClose();
/// }
/// engine.Free(0);                                                 // also after a failed Init
/// @endcode
///
/// Threads: all calls of a run come from one thread; nothing here locks. Who shares the ThreadDAT holds its
/// mutex around each call but MsgWait. Messages go to OutputDebugStringA in code page 932.
/// @ingroup capture
class CMM_API CMMCapture {
 public:
  CMMCapture();                                    ///< without a device
  CMMCapture(const CMMCapture& other);             ///< shares every handle and interface
  CMMCapture& operator=(const CMMCapture& other);  ///< shares every handle and interface
  /// Closes a file that is still open. Releases no device and closes no event: that is Free's task.
  virtual ~CMMCapture();

  /// Opens the device, the events, the ring and its notifications.
  /// @param dat gives the device, the format and the counts; receives the events, and each step as its state
  /// @return 1, or the failing call's value; Free then gives back what there is
  std::int32_t Init(ThreadDAT* dat);
  /// Creates the events and computes the segment size. A part of Init.
  /// @param dat as in Init
  /// @return 1
  std::int32_t InitEvents(ThreadDAT* dat);
  /// Creates the ring. A part of Init.
  /// @param dat as in Init
  /// @return the platform's result; negative is failure
  std::int32_t InitBuffer(ThreadDAT* dat);
  /// Makes the device signal the last byte of every segment. A part of Init.
  /// @param dat not used
  /// @return the platform's result; negative is failure
  std::int32_t InitNotifications(ThreadDAT* dat);

  /// Starts capture at the ring's beginning. @return 1, also when the device refused; 0 without a ring
  std::int32_t StartREC();
  /// Stops capture. Sound after the last whole segment is not drained.
  /// @return 1 stopped;
  ///         0 without a ring, or when the platform gave 1;
  ///         any other result of the platform as it is
  std::int32_t StopREC();

  /// Waits for the notification and the commands.
  /// @param milliseconds the longest wait
  /// @return 0 the notification;
  ///         1 + index a command;
  ///         6 input in the thread's message queue;
  ///         258 time-out
  std::uint32_t MsgWait(std::uint32_t milliseconds);

  /// A drain: moves the whole segments that are ready into the file. @return bytes that the file took
  std::int32_t Write();
  /// The same drain with the platform's result. Allocates nothing.
  /// @param total the bytes that the file took are added to it
  /// @return 0 moved;
  ///         1 nothing to do;
  ///         negative: the platform's failure, nothing moved
  std::int32_t RecordData(std::uint32_t* total);

  /// Sets the level to the highest of signed 16-bit samples, not the largest magnitude: it may be negative.
  /// @param data  null leaves the level as it is; the first sample counts whatever @p bytes is
  /// @param bytes two for each sample
  void GetMax16(const std::int16_t* data, std::uint32_t bytes);
  /// Sets the level to the highest of unsigned 8-bit samples; silence is about 128.
  /// @param data  as in GetMax16
  /// @param bytes one for each sample
  void GetMax8(const std::uint8_t* data, std::uint32_t bytes);
  std::int32_t GetMaxLevel();  ///< level of the latest drain

  /// Creates the WAV file.
  /// @param dat gives its format, name and directory
  /// @return 1 or 0
  std::int32_t fOpen(ThreadDAT* dat);
  /// Finishes the WAV file. @return 1; 0 when none is open or it could not be finished
  std::int32_t fClose();

  /// Gives everything back, for copies too: their own Free then only clears them.
  /// @param unused 0
  /// @return 1
  std::int32_t Free(std::uint32_t unused);
  /// Clears the fields, but for the owner event, the file and the level.
  void ClsDat();

  /// Wakes the controller. @return 1; 0 when this run has taken no owner event
  std::int32_t OwnerCall();
  // Events by the index of their command (CaptureCommand).
  std::int32_t SetEvent(std::uint32_t index);       ///< sets a command event. @return 1 or 0
  std::int32_t ResetEvent(std::uint32_t index);     ///< resets a command event. @return 1 or 0
  std::int32_t SetRevEvent(std::uint32_t index);    ///< sets a reply event. @return 1 or 0
  std::int32_t ResetRevEvent(std::uint32_t index);  ///< resets a reply event. @return 1 or 0

 private:
  IDirectSoundCapture* captureDevice;
  IDirectSoundCaptureBuffer* captureBuffer;
  IDirectSoundNotify* notify;
  std::uint32_t segmentSize;       // bytes, whole blocks
  std::uint32_t segmentCount;      // segments of the ring
  std::uint32_t readOffset;        // next byte of the ring to move to the file
  std::uint32_t notifyEventCount;  // notification events, the first of waitHandles
  std::uint32_t commandCount;      // command events after them
  DSBPOSITIONNOTIFY positions[5];  // one for each segment
  HANDLE waitHandles[7];           // the notification, then the commands
  HANDLE replyEvents[6];
  HANDLE ownerEvent = nullptr;  // of this run; null until InitEvents
  CMMWav wav;
  std::uint32_t bitsPerSample;
  std::uint32_t channels;
  std::int32_t maxLevel = 0;
  cmm::Owners owners;  // of device, ring and events
};
