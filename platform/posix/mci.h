#pragma once
/// @file
/// Media control under the published names: playing WAV files in the background.
///
/// Commands may be sent from any thread; those to one device wait for one another.

#include "platform/posix/multimedia.h"
#include "platform/posix/types.h"

using MCIERROR = DWORD;
using MCIDEVICEID = UINT;

// Results, besides 0.
inline constexpr MCIERROR MCIERR_INVALID_DEVICE_ID = 257;
inline constexpr MCIERROR MCIERR_UNRECOGNIZED_COMMAND = 261;
inline constexpr MCIERROR MCIERR_INVALID_DEVICE_NAME = 263;
inline constexpr MCIERROR MCIERR_OUT_OF_MEMORY = 264;
inline constexpr MCIERROR MCIERR_MISSING_PARAMETER = 273;
inline constexpr MCIERROR MCIERR_UNSUPPORTED_FUNCTION = 274;
inline constexpr MCIERROR MCIERR_FILE_NOT_FOUND = 275;
inline constexpr MCIERROR MCIERR_INVALID_FILE = 296;
inline constexpr MCIERROR MCIERR_NULL_PARAMETER_BLOCK = 297;
inline constexpr MCIERROR MCIERR_WAVE_OUTPUTSINUSE = 320;
inline constexpr MCIERROR MCIERR_WAVE_OUTPUTSUNSUITABLE = 326;

// Commands.
inline constexpr UINT MCI_OPEN = 0x803;
inline constexpr UINT MCI_CLOSE = 0x804;
inline constexpr UINT MCI_PLAY = 0x806;
inline constexpr UINT MCI_STOP = 0x808;
inline constexpr UINT MCI_STATUS = 0x814;

// Flags of every command.
inline constexpr DWORD MCI_NOTIFY = 0x00000001;
inline constexpr DWORD MCI_WAIT = 0x00000002;

// Flags of MCI_OPEN.
inline constexpr DWORD MCI_OPEN_ELEMENT = 0x00000200;      ///< lpstrElementName is given
inline constexpr DWORD MCI_OPEN_TYPE_ID = 0x00001000;      ///< lpstrDeviceType is a number
inline constexpr DWORD MCI_OPEN_TYPE = 0x00002000;         ///< lpstrDeviceType is given
inline constexpr DWORD MCI_WAVE_OPEN_BUFFER = 0x00010000;  ///< dwBufferSeconds is given

inline constexpr DWORD MCI_DEVTYPE_WAVEFORM_AUDIO = 522;

inline constexpr DWORD MCI_STATUS_ITEM = 0x00000100;  ///< of MCI_STATUS: dwItem is given
inline constexpr DWORD MCI_STATUS_POSITION = 2;       ///< item: how far the sound has come, in milliseconds
inline constexpr DWORD MCI_STATUS_MODE = 4;           ///< item: what the device is doing

// Values of MCI_STATUS_MODE.
inline constexpr DWORD MCI_MODE_STOP = 525;
inline constexpr DWORD MCI_MODE_PLAY = 526;

#pragma pack(push, 1)
/// Parameters of MCI_STOP and MCI_CLOSE; not used.
struct MCI_GENERIC_PARMS {
  DWORD_PTR dwCallback;
};
/// Parameters of MCI_OPEN; the caller's, not kept.
struct MCI_WAVE_OPEN_PARMSA {
  DWORD_PTR dwCallback;
  MCIDEVICEID wDeviceID;    ///< receives the opened device
  LPCSTR lpstrDeviceType;   ///< the number MCI_DEVTYPE_WAVEFORM_AUDIO
  LPCSTR lpstrElementName;  ///< the file's path, as mmioOpenA takes it
  LPCSTR lpstrAlias;        ///< not used
  DWORD dwBufferSeconds;    ///< length of the device's buffer in seconds; 1 to 10 are given
};
/// Parameters of MCI_PLAY; not used.
struct MCI_PLAY_PARMS {
  DWORD_PTR dwCallback;
  DWORD dwFrom;
  DWORD dwTo;
};
/// Parameters of MCI_STATUS.
struct MCI_STATUS_PARMS {
  DWORD_PTR dwCallback;
  DWORD_PTR dwReturn;  ///< receives the item's value
  DWORD dwItem;        ///< MCI_STATUS_MODE or MCI_STATUS_POSITION
  DWORD dwTrack;
};
#pragma pack(pop)
static_assert(sizeof(MCI_WAVE_OPEN_PARMSA) == (sizeof(void*) == 4 ? 24 : 40), "the published structure");
static_assert(sizeof(MCI_STATUS_PARMS) == (sizeof(void*) == 4 ? 16 : 24), "the published structure");

/// Sends a command to a device. There are no windows to notify: MCI_NOTIFY means only that the command does
/// not wait, and a callback is not used.
///
/// - MCI_OPEN opens a WAV file: PCM, or a format that a conversion driver converts to PCM. It needs
///   MCI_WAVE_OPEN_PARMSA with MCI_OPEN_TYPE, MCI_OPEN_TYPE_ID and MCI_OPEN_ELEMENT, and takes
///   MCI_WAVE_OPEN_BUFFER; without that the buffer has four seconds. The sound device is not opened yet. An
///   identifier is not given out again before all others have been.
/// - MCI_PLAY opens the system's default sound device and plays from the position at which the last playback
///   was stopped, at first from the beginning. It returns once the playback has begun. When the last frame
///   has been heard, the sound device is closed and the mode is MCI_MODE_STOP. For a file that is playing it
///   changes nothing.
/// - MCI_STOP silences a playback, within a tenth of a second, and closes the sound device.
/// - MCI_CLOSE does the same, and closes the file and the identifier.
/// - MCI_STATUS, with MCI_STATUS_PARMS and MCI_STATUS_ITEM, gives MCI_STATUS_MODE or MCI_STATUS_POSITION: the
///   milliseconds heard since the file's beginning, updated five times a second. A device that fails is
///   closed within half a second; then the mode is MCI_MODE_STOP, and the position is before the end.
///
/// @param device     of MCI_OPEN; not used by MCI_OPEN itself
/// @param flags      of the command; also MCI_WAIT and MCI_NOTIFY, but no MCI_WAIT with MCI_PLAY. MCI_STOP
///                   and MCI_CLOSE take any
/// @param parameters address of the command's structure, the caller's; 0 will do for MCI_PLAY, MCI_STOP and
///                   MCI_CLOSE
/// @return 0: done
/// @return MCIERR_INVALID_DEVICE_ID: no open device
/// @return MCIERR_UNRECOGNIZED_COMMAND: no command of media control
/// @return MCIERR_UNSUPPORTED_FUNCTION: a command, flag or item that is not named above
/// @return MCIERR_NULL_PARAMETER_BLOCK: @p parameters is 0 where it is needed
/// @return MCIERR_MISSING_PARAMETER: a flag that is needed is not given, or the path is null
/// @return MCIERR_OUT_OF_MEMORY: memory or threads are short
/// @return MCIERR_INVALID_DEVICE_NAME: of MCI_OPEN: no waveform device
/// @return MCIERR_FILE_NOT_FOUND: of MCI_OPEN: the file cannot be opened
/// @return MCIERR_INVALID_FILE: of MCI_OPEN: no WAV file, or one whose format contradicts itself; of
///         MCI_PLAY: the file cannot be read any more
/// @return MCIERR_WAVE_OUTPUTSINUSE: of MCI_PLAY: another program has the sound device
/// @return MCIERR_WAVE_OUTPUTSUNSUITABLE: of MCI_PLAY: there is no sound device, or none for this format
CMM_API MCIERROR mciSendCommandA(MCIDEVICEID device, UINT command, DWORD_PTR flags, DWORD_PTR parameters);
