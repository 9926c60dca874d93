#pragma once
/// @file
/// What became of a recording: what the published queries of CMMWAVCapture have no room for.
///
/// A run goes from Create to the end of its thread. The report is there while the run goes on and afterwards,
/// until the next Create of any controller begins another one.

#include <cstdint>

#include "platform/export.h"

namespace cmm {

/// Why a run ended, or that it has not.
enum class CaptureEnd : std::uint32_t {
  kNone,          ///< there has been no run
  kRunning,       ///< it goes on: the thread starts, is ready, or captures
  kStopped,       ///< it goes on, and StopREC has stopped the capture
  kExit,          ///< Exit, a destructor or the end of the process has ended it
  kFileLimit,     ///< the file can hold no more: 4 GiB
  kFileFailed,    ///< the file took nothing more: see fileError
  kDeviceLost,    ///< the device is gone: see deviceResult
  kDeviceFailed,  ///< the device failed, or signalled without a segment: see deviceResult
  kStartFailed,   ///< the start-up failed: see deviceResult, and GetState's state for the step
};

/// The report of a run. Frames count from the run's start, over all its files. A position counts the lost
/// frames too, so it is a time of the sound; the last gap is lostFrames - lastLossFrames earlier in the file.
struct CaptureReport {
  CaptureEnd end;
  std::int32_t deviceResult;  ///< HRESULT of the device's call that failed, or 0
  std::int32_t fileError;     ///< the system's code for a file that could not be opened, written or
                              ///< finished, as std::system_category() names it, or 0
  std::uint32_t overruns;     ///< gaps in the sound
  std::uint64_t lostFrames;   ///< of all gaps
  std::uint64_t lastLossAt;   ///< position where the last gap begins
  std::uint64_t lastLossFrames;
  bool lossIsEstimate;            ///< a length rests on the clock: the device does not count
  std::uint64_t framesDelivered;  ///< handed over by the device
  std::uint64_t framesInFile;     ///< in the files; exact once a file is closed
  std::uint32_t longestDrainMs;   ///< the longest that moving sound into the file has taken
};

/// @return the report of the present run, or of the last one; all its fields are of one moment. Any thread,
///         at any time; it waits for nothing
CMM_API CaptureReport GetCaptureReport();

}  // namespace cmm
