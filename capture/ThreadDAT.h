#pragma once
/// @file
/// The states of a recording, and the record that controller and capture thread share.

#include <cstdint>

#include "platform/platform.h"

/// @addtogroup capture
/// @{

/// Commands of the controller to the capture thread. The value is the index of the command's event, and
/// CMMCapture::MsgWait gives it plus 1.
enum CaptureCommand : std::uint32_t {
  kCommandExit = 0,
  kCommandStart = 1,
  kCommandStop = 2,
  kCommandFileOpen = 3,
  kCommandFileClose = 4,
  kCommandCount = 5,
};

/// Values of ThreadDAT::state.
enum CaptureState : std::uint32_t {
  kStateNone = 0,           ///< no thread, or the thread has ended
  kStateCapturing = 1,      ///< capturing into the open file
  kStateFileOpen = 2,       ///< a file is open, not capturing
  kStateReady = 3,          ///< device and ring exist, no file
  kStateDevice = 11,        ///< start-up: creating the capture device
  kStateRing = 12,          ///< start-up: creating the ring
  kStateNotification = 14,  ///< start-up: setting the notification points
};

/// The record: the data that the controller and the capture thread share. A host reads it by the queries of
/// CMMWAVCapture; only one that drives a CMMCapture itself fills it in:
///
/// @code
/// ThreadDAT dat{};
/// dat.format = format;
/// dat.segmentCount = 4;
/// dat.commandCount = kCommandCount;
/// dat.fileName = name;  // before fOpen
/// engine.Init(&dat);
/// @endcode
///
/// Threads: the mutex guards the record. Device, format, counts and handles are set before their readers run
/// and are read without it.
struct ThreadDAT {
  const GUID* deviceGuid;               ///< the caller's pointer; null for the default device
  std::int32_t threadCount;             ///< 0 no thread yet, 10 while a thread runs, 9 after it has ended
  std::uint32_t state;                  ///< a value of CaptureState
  std::uint32_t recordedBytes;          ///< bytes that drains wrote to files, since Create or SetSamples
  std::uint32_t segmentCount;           ///< segments of the ring
  std::uint32_t commandCount;           ///< command events
  HANDLE ownerEvent;                    ///< manual reset: set by the thread when it is up, and at its end
  HANDLE commandEvents[kCommandCount];  ///< manual reset, by command; the thread's own
  HANDLE replyEvents[kCommandCount];    ///< manual reset, by command; the thread's own
  HANDLE mutex;                         ///< guards the record
  std::int32_t result;                  ///< of the thread's latest action: 1, else 0 or the failure's value
  char* fileName;                       ///< the controller's copy
  char* pathName;                       ///< the controller's copy, empty when none was given
  WAVEFORMATEX format;                  ///< the capture format, as given to Create
  std::int32_t maxLevel;                ///< level of the latest drain
};

/// @}
