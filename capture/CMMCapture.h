#pragma once

#include <cstdint>

#include "capture/ThreadDAT.h"
#include "platform/export.h"
#include "platform/owners.h"
#include "platform/platform.h"
#include "wavfile/CMMWav.h"

/// The capture engine: the device, its ring of equal segments, and the way from the ring into a WAV file.
///
/// The capture thread owns the one engine of the process and makes all calls; a host works through
/// CMMWAVCapture. Order: Init; any number of the others; Free; then Init again if wanted. Nothing here locks.
/// Messages go to OutputDebugStringA in code page 932.
class CMM_API CMMCapture {
 public:
  CMMCapture();
  CMMCapture(const CMMCapture& other);             ///< shares every handle and interface
  CMMCapture& operator=(const CMMCapture& other);  ///< shares every handle and interface
  /// Closes a file still open. Releases no device and closes no event: that is Free's.
  virtual ~CMMCapture();

  /// Opens the device, the events, the ring and its notifications, counting up the state of @p dat as it
  /// goes.
  /// @return 1, or the failing call's value; Free then gives back what there is
  std::int32_t Init(ThreadDAT* dat);
  /// Creates the events and works out the ring's segments. @return 1
  std::int32_t InitEvents(ThreadDAT* dat);
  /// Creates the ring. @return the platform's result; negative is failure
  std::int32_t InitBuffer(ThreadDAT* dat);
  /// Has the device signal the last byte of every segment. @return the platform's result; negative is failure
  std::int32_t InitNotifications(ThreadDAT* dat);

  /// Starts capture at the ring's beginning. @return 1, also when the device refused; 0 without a ring
  std::int32_t StartREC();
  /// Stops capture. What comes after the last whole segment is not drained.
  /// @return 1; 0 without a ring or when the platform gave 1; another failure as its value
  std::int32_t StopREC();

  /// Waits for the notification and the commands.
  /// @return 0 the notification, 1 + index a command, 6 input, 258 time-out
  std::uint32_t MsgWait(std::uint32_t milliseconds);

  /// A drain: moves the whole segments that are ready into the file. @return bytes that the file took
  std::int32_t Write();
  /// The same drain with the platform's result. Allocates nothing.
  /// @param total the bytes that the file took are added to it
  /// @return 0 moved; 1 nothing to do; negative: the platform's failure, nothing moved
  std::int32_t RecordData(std::uint32_t* total);

  /// Sets the level to the highest of signed 16-bit samples (no magnitude: silence below zero stays
  /// negative).
  void GetMax16(const std::int16_t* data, std::uint32_t bytes);
  /// Sets the level to the highest of unsigned 8-bit samples; silence is about 128.
  void GetMax8(const std::uint8_t* data, std::uint32_t bytes);
  std::int32_t GetMaxLevel();  ///< level of the latest drain

  /// Creates the WAV file that @p dat names. @return 1 or 0
  std::int32_t fOpen(ThreadDAT* dat);
  /// Finishes the WAV file. @return 1; 0 when none is open or it could not be finished
  std::int32_t fClose();

  /// Gives everything back, for copies too: their own Free then only clears them. @param unused 0 @return 1
  std::int32_t Free(std::uint32_t unused);
  /// Clears the fields, but for the owner event, the file and the level.
  void ClsDat();

  /// Wakes the controller. @return 1; 0 when this run has taken no owner event
  std::int32_t OwnerCall();
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
