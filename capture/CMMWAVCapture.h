#pragma once
/// @file
/// Recording from a capture device into WAV files: the class of a host.

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
/// @code
/// CMMWAVCapture capture;
/// CloseHandle(capture.Create(format, nullptr));  // state 3 once the default device is ready
/// capture.fileOpen("take.wav", "C:\\sounds");    // state 2
/// capture.StartREC();                            // state 1
/// Sleep(5000);                                   // GetState and GetTimeString show the progress
/// capture.StopREC();                             // state 2
/// capture.fileClose();                           // state 3; fileOpen may follow again
/// capture.Exit();                                // state 0
/// @endcode
///
/// A recording ends by itself when its file can take no more or its device is lost: the file is finished and
/// the state is 0. Exit then makes the object ready for another Create. cmm::GetCaptureReport tells why it
/// ended, and what was lost.
///
/// Results of StartREC, StopREC, fileOpen and fileClose:
///
/// | result | meaning |
/// |--------|---------|
/// | 1      | done |
/// | 0      | refused, nothing was sent: the state does not allow it, an empty name, or memory is short |
/// | -2     | time-out, or the action failed: GetState gives its result. A slow command still takes effect. |
/// | -3     | no thread of this object, or fileOpen got a null name |
///
/// No call waits without a limit. The longest times in milliseconds; "hangs" is a thread that hangs in a call
/// of the device or the disk:
///
/// | call                                   | no thread, or it has ended | the thread works | it hangs |
/// |----------------------------------------|------|------|-------|
/// | Create                                 | 1000 | 0    | 0     |
/// | Create with a name                     | 3000 | 0    | 0     |
/// | StartREC, StopREC, fileOpen, fileClose | 0    | 2000 | 2000  |
/// | queries of state, bytes and time       | 0    | 1000 | 1000  |
/// | other queries, cmm::GetCaptureReport   | 0    | 0    | 0     |
/// | Exit                                   | 0    | 5000 | 5000  |
/// | destructor, assignment                 | 0    | 5000 | 10000 |
///
/// They add up from 1000 for the record's mutex, 1000 for a reply or the thread's start, and 5000 for its
/// end. An assignment may wait 1000 more for the record of its source. Create returns as soon as the thread
/// has come up or failed to. With a silent device the thread still works; a lost device ends the run, within
/// half a second with the layer's devices.
///
/// A process has one capture at a time: while one object's thread lives, Create on another gives null.
///
/// Threads: one host thread at a time for each object; cmm::GetCaptureReport on any thread at any time.
///
/// Copies: a copy shows what its source was when it was made. It has no thread of its own, so its commands
/// give -3, and the run stays with the source.
/// @ingroup capture
class CMM_API CMMWAVCapture {
 public:
  CMMWAVCapture();                            ///< without a thread
  CMMWAVCapture(const CMMWAVCapture& other);  ///< shows what @p other shows, without its thread
  /// Ends a run of this object first, as the destructor does.
  CMMWAVCapture& operator=(const CMMWAVCapture& other);
  /// Ends the run as Exit does, and waits until the thread has ended. A thread that hangs longer than the
  /// table says keeps what it still uses, finishes the file once it goes on, and releases everything itself.
  /// Until then Create gives null for every object.
  virtual ~CMMWAVCapture();

  /// Starts the capture thread, which opens the device. GetState tells how far it has come: 3 is ready; 11,
  /// 12 and 14 are the steps of the start-up.
  /// @param format the capture format; every field but cbSize must be non-zero
  /// @param guid   the device, null for the default one. The pointer is kept, so it must stay valid
  /// @return the thread's handle, the caller's to close, also when the device then fails to open;
  ///         null for an incomplete format, before the Exit of an earlier run of this object, while another
  ///         object's thread lives, or when no thread could be started
  HANDLE Create(const WAVEFORMATEX& format, const GUID* guid);
  /// Create, then fileOpen; GetState gives 2 when both have worked.
  /// @param format as in Create
  /// @param name   as in fileOpen
  /// @param path   as in fileOpen
  /// @param guid   as in Create
  /// @return as in Create; on an object that has a run already, that run's handle
  HANDLE Create(const WAVEFORMATEX& format, const char* name, const char* path, const GUID* guid);

  /// Stops capturing, finishes the file and ends the thread. Sound that still waits for a slow disk is saved
  /// first, for 4 seconds at most.
  /// @return 1 done;
  ///         -2 the thread had ended by itself before: the object is ready for another Create all the same;
  ///         -2 the thread lives on after 5000 ms: nothing has changed, and Exit may be called again;
  ///         -3 no thread
  std::int32_t Exit();

  /// Starts capturing into the open file: state 2 to 1. Gives 1 also when the device refuses to start; the
  /// report's deviceResult then is not 0.
  /// @return a result of the list above
  std::int32_t StartREC();
  /// Stops capturing: state 1 to 2. Sound that still waits for a slow disk is saved, for 0.8 seconds at most
  /// before the answer; the rest goes into the file until fileClose or Exit. A device that refuses to stop
  /// gives -2 and leaves state 1; Exit finishes the file all the same.
  /// @return a result of the list above
  std::int32_t StopREC();
  /// Creates the file to record into: state 3 to 2. A file of that name is overwritten.
  /// @param name not empty; copied
  /// @param path directory, null or empty for none; copied
  /// @return a result of the list above
  std::int32_t fileOpen(const char* name, const char* path);
  /// Finishes the file: state 2 to 3. Releases the names whatever the result. A file that could not be
  /// finished, as on a full disk, gives -2 and leaves state 2 without an open file: only Exit is of use then.
  /// @return a result of the list above
  std::int32_t fileClose();
  /// Clears the record of the last run: state, counts, format and names.
  /// @return 1; 0 while there is a thread
  std::int32_t ClsThreadDat();

  const GUID* GetDirverID();  ///< the device pointer given to Create
  /// Bytes recorded, over all files since Create. Of a closed file only the bytes that it holds count.
  /// @return their count modulo 2^32; 0 on a time-out
  std::uint32_t GetSamples();
  /// Sets the count of GetSamples, from which the times are computed.
  /// @param value bytes
  /// @return 1; 0 on a time-out, nothing is set then
  std::int32_t SetSamples(std::uint32_t value);
  std::uint16_t GetFormat();                            ///< format tag of the last Create
  std::uint32_t GetTimeToByte(std::uint32_t seconds);   ///< bytes of that time, rounded down to whole blocks
  std::uint32_t GetSampleToByte(std::uint32_t frames);  ///< bytes of that many frames, modulo 2^32
  double GetPlayTime();                                 ///< seconds recorded; 0.0 on a time-out
  /// The name of the file.
  /// @return the object's copy of fileOpen's name, valid until the next fileOpen, fileClose or Create; null
  ///         for none
  char* GetFileName();
  char* GetPathName();                  ///< the same of fileOpen's directory; empty when none was given
  std::uint32_t GetChannels();          ///< channels of the last Create
  std::uint32_t GetSampleRate();        ///< in hertz
  std::uint32_t GetSampleSizeInBits();  ///< bits of one sample
  /// Copies the format of the last Create, zero before the first.
  /// @param out may be null
  /// @return 1
  std::int32_t GetFileInfo(WAVEFORMATEX* out);
  /// Tells the state, and the result of the latest action.
  /// @param stateOut  receives the state (CaptureState); not null
  /// @param resultOut receives the result of the thread's latest action; may be null
  /// @return 1; 258 on a time-out, nothing is written then
  std::int32_t GetState(std::uint32_t* stateOut, std::int32_t* resultOut);
  /// GetState, with the result as a small code. A time-out writes nothing.
  /// @param stateOut receives the state; not null
  /// @param code     receives 0, 1, or -5 to -14 for a failure; not null. A result without a code leaves it
  /// @return 1, also on a time-out
  std::int32_t GetStateAs(std::uint32_t* stateOut, std::int32_t* code);
  /// The time recorded as minutes:seconds.hundredths, at most 999:59.99.
  /// @param level receives the level of the latest drain, its highest sample; 0 without a run and on a
  ///              time-out; may be null
  /// @return the object's own text, valid until the next call;
  ///         the text of the call before on a time-out;
  ///         null before the first Create
  char* GetTimeString(std::int32_t* level);

 private:
  std::int32_t WaitMutex(std::uint32_t wantedState, std::uint32_t commandIndex);

  char timeText[10] = {};
  ThreadDAT threadDat = {};
  HANDLE threadHandle = nullptr;
  std::shared_ptr<capture::CaptureRun> run;  // of this object; a copy has none
  std::shared_ptr<char[]> names;             // the characters of the record's names; copies share them
};
