#pragma once
/// @file
/// Playing a WAV file in the background.

#include <cstdint>

#include "platform/export.h"
#include "platform/platform.h"

/// Plays one WAV file in the background through the platform's media control.
///
/// The order of calls: WavPlay; MCIClose, or WavPlay for the next file.
/// @code
///   MCIWavUnit player;
///   if (!player.WavPlay("take.wav")) return;  // no such file, no device, or a format that nothing plays
///   Sleep(5000);                              // the sound goes on by itself
///   player.MCIClose();                        // as does the destructor
/// @endcode
///
/// Threads: any thread, but the same one for an object from WavPlay to MCIClose: on another one Windows may
/// not know the device. WavPlay waits until the device is open, MCIClose until it is closed; neither waits
/// for the sound.
///
/// The unit does not read the file: the device does all the work, and nothing reports the end of the sound. A
/// file that has played to its end leaves its device open and stopped until MCIClose, the next WavPlay or the
/// destructor. A host that needs the end works out the length, as with CMMWav::GetPlayTime, and waits.
///
/// Copies share the device: whichever calls MCIClose first closes it, and the other one's MCIClose then gives
/// true and does no more.
/// @ingroup units
class CMM_API MCIWavUnit {
 public:
  /// Without a device.
  MCIWavUnit();
  /// Shares the device of @p other.
  MCIWavUnit(const MCIWavUnit& other);
  /// Shares the device of @p other. Does not close the one that this object has had: a copy may still use it.
  MCIWavUnit& operator=(const MCIWavUnit& other);
  /// Ends a playback as MCIClose does.
  ~MCIWavUnit();

  /// Ends the playback that is running and starts the file's. Returns once it has started.
  /// @param file path in the system's code page
  /// @return true: the file plays
  /// @return false: there is no such file, and a running playback goes on; or the file cannot be opened or
  ///         played, and no device is open
  bool WavPlay(const char* file);

  /// Stops a playback and closes the device.
  /// @return true: closed
  /// @return false: no device was open
  bool MCIClose();

 private:
  std::uint32_t deviceId = 0;  // of the open device; 0: none
};
