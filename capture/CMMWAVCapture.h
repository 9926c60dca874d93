#pragma once

#include <cstdint>
#include <memory>

#include "capture/ThreadDAT.h"
#include "platform/export.h"
#include "platform/platform.h"

namespace capture {
struct CaptureRun;
}

/// Records from a sound capture device into WAV files, on a thread of the library's own.
///
/// The order of calls: Create, fileOpen, StartREC, StopREC, fileClose, then fileOpen again or Exit.
/// GetState tells where the recording stands: 3 ready, 2 a file is open, 1 capturing, 0 ended. A recording
/// whose file cannot be written any more, or whose device is lost, ends by itself: the file is finished and
/// the state is 0; Exit clears up. What else became of it, and why it ended, is in capture/CaptureReport.h.
///
/// Results of the commands:
///    1  done
///    0  refused, nothing was sent: the state does not allow it, or fileOpen got an empty name
///   -2  time-out, or the thread's action failed: GetState tells the action's result. A command that was
///       merely slow still takes effect.
///   -3  no thread of this object, or fileOpen got a null name
///
/// Every call is bounded. In milliseconds, at the most:
///
/// | call                                   | no thread, or it has ended | at work | hanging in device or disk |
/// |----------------------------------------|------|------|-------|
/// | Create                                 | 1000 | 0    | 0     |
/// | Create with a name                     | 3000 | 0    | 0     |
/// | StartREC, StopREC, fileOpen, fileClose | 0    | 2000 | 2000  |
/// | queries of state, bytes and time       | 0    | 1000 | 1000  |
/// | other queries, cmm::GetCaptureReport   | 0    | 0    | 0     |
/// | Exit                                   | 0    | 5000 | 5000  |
/// | destructor, assignment                 | 0    | 5000 | 10000 |
///
/// 0 is at once, and Create is over as soon as the thread has come up or failed. At work is a thread that
/// waits, records or has a silent device; a device that is lost ends the run, within half a second where the
/// layer's devices are used. The limits are 1000 for the record, 1000 for a reply and 5000 for the end of the
/// thread; an assignment may wait 1000 more for the record of its source.
///
/// One capture at a time in a process: while one object's thread runs, Create on another gives null.
///
/// Threads: one host thread at a time for each object. A copy shows what its source was when it was made; it
/// has no thread of its own, so its commands give -3, and the run stays with the source.
class CMM_API CMMWAVCapture {
 public:
  CMMWAVCapture();
  CMMWAVCapture(const CMMWAVCapture& other);
  /// Ends a run of this object first, as the destructor would.
  CMMWAVCapture& operator=(const CMMWAVCapture& other);
  /// Ends the run as Exit does, and waits until the thread has ended. A thread that hangs longer than the
  /// table says keeps what it still touches, finishes the file when it goes on, and clears up itself. Until
  /// then no capture can be created.
  virtual ~CMMWAVCapture();

  /// Starts the capture thread, which opens the device; GetState tells how far it has come (3 is ready).
  /// @param format wFormatTag, nChannels, nSamplesPerSec, nAvgBytesPerSec, nBlockAlign and wBitsPerSample
  ///               must not be zero
  /// @param guid   the device; null for the default one. The pointer is kept: it must stay valid
  /// @return the thread's handle, the caller's to close; null for such a format, while a thread runs, or
  ///         when none could be started
  HANDLE Create(const WAVEFORMATEX& format, const GUID* guid);
  /// Create, then fileOpen; GetState gives 2 when both have worked.
  /// @return as Create; but on an object that has a run already, that run's handle
  HANDLE Create(const WAVEFORMATEX& format, const char* name, const char* path, const GUID* guid);

  /// Ends the recording and its thread. What still waits for a slow disk is saved first, for 4 seconds at the
  /// most; then the file is finished.
  /// @return 1; -2 when the thread had ended by itself before (the object is clear all the same), or when it
  ///         lives on after 5000 ms (everything stays as it is, and Exit may be called again); -3 without a
  ///         thread
  std::int32_t Exit();

  std::int32_t StartREC();  ///< starts capturing into the open file (state 2)
  /// Stops capturing (state 1). What still waits for a slow disk is saved, for 0.8 seconds at the most before
  /// the answer; the rest goes on into the file until fileClose or Exit. A stop that the device refuses gives
  /// -2 and leaves state 1; Exit finishes the file all the same.
  std::int32_t StopREC();
  /// Creates the file to record into (state 3).
  /// @param name not empty; copied
  /// @param path directory, null or empty for none; copied
  std::int32_t fileOpen(const char* name, const char* path);
  /// Finishes the file (state 2), and releases the names whatever the result. A file that could not be
  /// finished, as on a full disk, gives -2 and leaves state 2 without an open file: only Exit makes sense
  /// then.
  std::int32_t fileClose();
  /// Clears the record. @return 1; 0 while there is a thread
  std::int32_t ClsThreadDat();

  const GUID* GetDirverID();  ///< the device pointer given to Create
  /// @return bytes recorded, over all files since Create; once they are closed, never more than the files hold
  std::uint32_t GetSamples();
  /// Sets the count of GetSamples, on which the times rest. @return 1; 0 on a time-out
  std::int32_t SetSamples(std::uint32_t value);
  std::uint16_t GetFormat();                            ///< format tag of the last Create
  std::uint32_t GetTimeToByte(std::uint32_t seconds);   ///< bytes of that time, in whole blocks
  std::uint32_t GetSampleToByte(std::uint32_t frames);  ///< bytes of that many frames, modulo 2^32
  double GetPlayTime();                                 ///< seconds recorded; 0.0 on a time-out
  char* GetFileName();  ///< the name given to fileOpen, null for none; valid until fileClose
  char* GetPathName();  ///< the directory given to fileOpen, empty for none; valid until fileClose
  std::uint32_t GetChannels();
  std::uint32_t GetSampleRate();        ///< in hertz
  std::uint32_t GetSampleSizeInBits();  ///< bits of one sample
  /// Copies the format of the last Create, zero before the first. @return 1
  std::int32_t GetFileInfo(WAVEFORMATEX* out);
  /// @param stateOut  receives the state (CaptureState)
  /// @param resultOut receives the result of the thread's latest action; may be null
  /// @return 1; 258 on a time-out, nothing is written then
  std::int32_t GetState(std::uint32_t* stateOut, std::int32_t* resultOut);
  /// The state, and the latest result as a small code: 0, 1, or -5 to -14. A result without a code, and a
  /// time-out, leave @p code as it was. @return 1
  std::int32_t GetStateAs(std::uint32_t* stateOut, std::int32_t* code);
  /// The time recorded as minutes:seconds.hundredths.
  /// @param level receives the level of the latest drain, 0 without a run; may be null
  /// @return the object's own text, valid until the next call; the text of before on a time-out; null before
  ///         the first Create
  char* GetTimeString(std::int32_t* level);

 private:
  std::int32_t WaitMutex(std::uint32_t wantedState, std::uint32_t commandIndex);

  char timeText[10] = {};
  ThreadDAT threadDat = {};
  HANDLE threadHandle = nullptr;
  std::shared_ptr<capture::CaptureRun> run;  // of this object; a copy has none
  std::shared_ptr<char[]> names;             // the characters of the record's names; copies share them
};
