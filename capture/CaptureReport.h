#pragma once
/// @file
/// Why a recording ended, what it lost, and what failed: what CMMWAVCapture's queries cannot tell.
///
/// @code
/// const cmm::CaptureReport report = cmm::GetCaptureReport();
/// if (report.end == cmm::CaptureEnd::kFileFailed) Show(std::system_category().message(report.fileError));
/// if (report.lostFrames > 0) ShowGaps(report.overruns, report.lostFrames);
/// @endcode
///
/// A run lasts from Create to the end of its thread. The report belongs to the process: it is kept after the
/// run, until the next Create of any controller begins another. Any thread may ask for it at any time.

#include <cstdint>

#include "platform/export.h"

namespace cmm {

/// @addtogroup capture
/// @{

/// Whether a run has ended, and why.
enum class CaptureEnd : std::uint32_t {
  kNone,          ///< there has been no run
  kRunning,       ///< not ended: the thread starts, is ready, or captures
  kStopped,       ///< not ended; StopREC has stopped the capture
  kExit,          ///< Exit, a destructor or the end of the process has ended it
  kFileLimit,     ///< the file can hold no more: 4 GiB
  kFileFailed,    ///< the file took nothing more: see fileError
  kDeviceLost,    ///< the device is gone: see deviceResult
  kDeviceFailed,  ///< the device failed: see deviceResult, 0 when it signalled and had no segment ready
  kStartFailed,   ///< the start-up failed: see deviceResult, and GetState's state for the step
};

/// The report of a run. Frames are counted from the run's start, over all its files. A position counts lost
/// frames too, so it is a time of the recording. In the file the last gap is lostFrames - lastLossFrames
/// frames earlier.
struct CaptureReport {
  CaptureEnd end;                 ///< whether the run has ended, and why
  std::int32_t deviceResult;      ///< HRESULT of the device's call that failed, or 0
  std::int32_t fileError;         ///< the system's code for a file that could not be opened, written or
                                  ///< finished, as std::system_category() names it, or 0
  std::uint32_t overruns;         ///< gaps in the recording
  std::uint64_t lostFrames;       ///< frames of all gaps
  std::uint64_t lastLossAt;       ///< position in frames where the last gap begins
  std::uint64_t lastLossFrames;   ///< frames of the last gap
  bool lossIsEstimate;            ///< a length is computed from the clock: the device does not count
  std::uint64_t framesDelivered;  ///< frames that the device has handed over
  std::uint64_t framesInFile;     ///< frames in the files; exact once a file is closed
  std::uint32_t longestDrainMs;   ///< the longest drain in milliseconds, file writing included
};

/// Tells what became of a run. Waits for nothing.
/// @return the report of the present run, or of the last one; all its fields are of one moment
CMM_API CaptureReport GetCaptureReport();

/// @}

}  // namespace cmm
