#pragma once
/// @file
/// The layer's own additions: what a host, a test or a demonstration program can set outside Windows. Every
/// function may be called from any thread.

#include <memory>

#include "platform/posix/acm_driver.h"
#include "platform/posix/dsound.h"
#include "platform/posix/types.h"

namespace platform {

/// Receives the text given to OutputDebugStringA, on the thread that has called that; one call at a time. The
/// text is valid during the call. Must not throw.
using DebugSink = void (*)(void* context, const char* text);

/// Sets the receiver of debug messages. After the return the previous sink is not called any more. A sink may
/// call SetDebugSink itself.
/// @param sink    null: nobody, as without a debugger
/// @param context passed to each call of the sink; the host's
CMM_API void SetDebugSink(DebugSink sink, void* context);

/// Sets the code page in which file names and texts are read.
/// @param codePage 932: Shift_JIS; any other number: no double-byte characters, as for 65001, which is UTF-8;
///                 0: that of the environment again
CMM_API void SetCodePage(unsigned codePage);

/// @return what SetCodePage has set, if anything; otherwise 932 where the environment's locale (LC_ALL,
///         LC_CTYPE, LANG) names Shift_JIS by one of its names, and 65001 where it does not
CMM_API unsigned CodePage();

/// Opens a device of the host's own, on the thread that has called DirectSoundCaptureCreate. Must not throw.
/// @param context that of RegisterCaptureDevice
/// @param device  receives an interface, which the caller releases
/// @return DS_OK, or the failure that DirectSoundCaptureCreate shall return
using CaptureFactory = HRESULT (*)(void* context, IDirectSoundCapture** device);

/// Adds a capture device to those that DirectSoundCaptureCreate opens.
/// @param name    copied
/// @param context the host's, passed to each call of the factory
/// @return true: added
/// @return false: the GUID is taken, @p name or @p factory is null, or memory is short
CMM_API bool RegisterCaptureDevice(const GUID& id, const char* name, CaptureFactory factory, void* context);

/// Removes a device of RegisterCaptureDevice; opening it gives DSERR_NODRIVER from then on. Open devices keep
/// working, and a call of the factory on another thread may still be running.
/// @return true: removed
/// @return false: no such device
CMM_API bool UnregisterCaptureDevice(const GUID& id);

/// The built-in capture device: a voice-like signal in real time, the same on every run, in any PCM format of
/// 8 or 16 bits.
extern CMM_API const GUID kSignalDevice;

/// Makes any capture device of the sound system's configuration one that DirectSoundCaptureCreate opens: a
/// card ("hw:1,0"), or a source of a sound server ("pulse:NAME"). It does not appear in the list of devices.
/// @param name ALSA's name of it; copied
/// @param id   receives its GUID, the same in every process; untouched on failure
/// @return true: it can be opened, now or once no other program has it
/// @return false: there is no such device, this build has no sound system, or memory is short
CMM_API bool CaptureDeviceByName(const char* name, GUID* id);

/// Sets the device that media control plays on; what plays already goes on where it is.
/// @param name ALSA's name of it ("hw:1,0", "pulse:NAME"), copied; null: the default device again
/// @return true: set, whether or not there is such a device
/// @return false: this build has no sound system, or memory is short
CMM_API bool SetPlaybackDevice(const char* name);

/// Adds a driver after those that the audio compression manager has.
/// @return its identifier, valid until UnregisterConversionDriver
/// @return null: no driver is given, or memory is short
CMM_API HACMDRIVERID RegisterConversionDriver(std::shared_ptr<const ConversionDriver> driver);

/// Removes a driver of RegisterConversionDriver. What is open on it keeps working, and keeps the driver until
/// it is closed.
/// @return true: removed
/// @return false: no such driver, or one of the layer's own
CMM_API bool UnregisterConversionDriver(HACMDRIVERID driver);

/// Makes a combo box: a list of texts with data, which answers the messages of window.h.
/// @return its handle, for DestroyComboBox
/// @return null: memory or handles are short
CMM_API HWND CreateComboBox();
/// Destroys a combo box; does nothing for another handle.
CMM_API void DestroyComboBox(HWND combo);

}  // namespace platform
