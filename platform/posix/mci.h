#pragma once
/// @file
/// Media control: playing WAV files in the background.
///
/// Every function may be called from any thread; the commands to one device wait for one another.

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
struct MCI_GENERIC_PARMS {
  DWORD_PTR dwCallback;
};
struct MCI_WAVE_OPEN_PARMSA {
  DWORD_PTR dwCallback;
  MCIDEVICEID wDeviceID;  ///< filled in: the opened device
  LPCSTR lpstrDeviceType;
  LPCSTR lpstrElementName;  ///< the file's path
  LPCSTR lpstrAlias;
  DWORD dwBufferSeconds;  ///< how much sound the device shall hold
};
struct MCI_PLAY_PARMS {
  DWORD_PTR dwCallback;
  DWORD dwFrom;
  DWORD dwTo;
};
struct MCI_STATUS_PARMS {
  DWORD_PTR dwCallback;
  DWORD_PTR dwReturn;  ///< filled in: the item's value
  DWORD dwItem;
  DWORD dwTrack;
};
#pragma pack(pop)
static_assert(sizeof(MCI_WAVE_OPEN_PARMSA) == (sizeof(void*) == 4 ? 24 : 40), "the published record");
static_assert(sizeof(MCI_STATUS_PARMS) == (sizeof(void*) == 4 ? 16 : 24), "the published record");

/// Sends a command to a device. There are no windows to notify: MCI_NOTIFY says no more than that the command
/// shall not wait, and a callback is not looked at.
///
/// - MCI_OPEN, with MCI_WAVE_OPEN_PARMSA, @p device 0 and the four MCI_OPEN_... flags above, opens a WAV
///   file: PCM, or what a conversion driver makes PCM of. The sound device is not touched yet. Identifiers
///   are not given out again before all others have been.
/// - MCI_PLAY opens the system's default sound device and plays on it from where the last playback was
///   stopped, at first from the beginning. It returns once that has begun. When the last frame has been heard
///   the sound device is closed again and the mode is MCI_MODE_STOP. A file that is playing goes on.
/// - MCI_STOP silences a playback, within a tenth of a second, and closes the sound device.
/// - MCI_CLOSE does the same, and closes the file; the identifier is dead then.
/// - MCI_STATUS, with MCI_STATUS_PARMS and MCI_STATUS_ITEM, tells MCI_STATUS_MODE, and MCI_STATUS_POSITION:
///   milliseconds heard since the file's beginning, renewed five times a second. A device that fails is
///   closed within half a second; the mode is MCI_MODE_STOP then, and the position short of the end.
///
/// @param flags      of the command; MCI_WAIT and MCI_NOTIFY with each, but no MCI_WAIT with MCI_PLAY
/// @param parameters the address of the command's record; may be 0 for MCI_PLAY, MCI_STOP and MCI_CLOSE
/// @return 0; MCIERR_INVALID_DEVICE_ID; MCIERR_UNRECOGNIZED_COMMAND: no media control command;
///         MCIERR_UNSUPPORTED_FUNCTION: a command, flag or item that is not named above;
///         MCIERR_NULL_PARAMETER_BLOCK; MCIERR_MISSING_PARAMETER; MCIERR_OUT_OF_MEMORY.
///         Of MCI_OPEN also MCIERR_INVALID_DEVICE_NAME: no waveform device; MCIERR_FILE_NOT_FOUND: cannot be
///         read; MCIERR_INVALID_FILE: no WAV file, or one whose format makes no sense.
///         Of MCI_PLAY also MCIERR_WAVE_OUTPUTSINUSE: another program has the device;
///         MCIERR_WAVE_OUTPUTSUNSUITABLE: there is no device, or none for this format.
CMM_API MCIERROR mciSendCommandA(MCIDEVICEID device, UINT command, DWORD_PTR flags, DWORD_PTR parameters);
