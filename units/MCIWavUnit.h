#pragma once

#include <cstdint>

#include "platform/export.h"
#include "platform/platform.h"

/// Plays one WAV file in the background through the platform's media control.
///
/// The unit knows nothing of the file: the device does all the work, and there is no word of the end. A file
/// that has played to its end leaves its device open and stopped until MCIClose, the next WavPlay or the
/// destructor. A host that wants to know when the sound is over works out the length, as with CMMWav, and
/// waits.
///
/// Threads: one at a time for each object. A copy shares the device: whichever calls MCIClose first closes
/// it, and the other one's MCIClose then gives true and does no more.
class CMM_API MCIWavUnit {
 public:
  MCIWavUnit();
  MCIWavUnit(const MCIWavUnit& other);
  /// Does not close the device that this object has held: a copy may still hold it.
  MCIWavUnit& operator=(const MCIWavUnit& other);
  /// Ends a playback as MCIClose does.
  ~MCIWavUnit();

  /// Ends a playback of before and starts the file's. Returns once it has started.
  /// @param file path in the system's code page
  /// @return true; false: there is no such file (a playback of before then goes on), or it cannot be opened
  ///         or played (nothing is open then)
  bool WavPlay(const char* file);

  /// Stops a playback and closes the device.
  /// @return true; false when no device was open
  bool MCIClose();

 private:
  std::uint32_t deviceId = 0;  // of the open device; 0: none
};
