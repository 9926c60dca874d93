#pragma once
/// @file
/// The layer's own additions: what a host, a test or a demonstration can set where no Windows is underneath.

#include <memory>

#include "platform/posix/acm_driver.h"
#include "platform/posix/dsound.h"
#include "platform/posix/types.h"

namespace platform {

/// Receives the bytes given to OutputDebugStringA, on the thread that gave them. Must not throw.
using DebugSink = void (*)(void* context, const char* text);

/// Sets who receives debug messages. Null: nobody, as without a debugger. After the return the sink of before
/// is not called any more. A sink may call SetDebugSink itself. Any thread.
CMM_API void SetDebugSink(DebugSink sink, void* context);

/// Sets the code page in which names and texts are taken: 932, 65001 or another single-byte one; 0 goes back to
/// the environment's. Any thread.
CMM_API void SetCodePage(unsigned codePage);

/// @return what SetCodePage has set; until then 932 where the environment's locale (LC_ALL, LC_CTYPE, LANG)
///         names Shift_JIS or its kin, and 65001 otherwise. Any thread.
CMM_API unsigned CodePage();

/// Makes a device: on DS_OK *device holds an interface that the caller releases. Must not throw.
using CaptureFactory = HRESULT (*)(void* context, IDirectSoundCapture** device);

/// Adds a capture device to those that DirectSoundCaptureCreate opens. Any thread.
/// @param name copied
/// @return false when the GUID is taken, an argument is null, or memory is short
CMM_API bool RegisterCaptureDevice(const GUID& id, const char* name, CaptureFactory factory, void* context);

/// Takes a device out; opening it gives DSERR_NODRIVER from then on. Open ones go on, and so does a factory that
/// another thread is just calling. The built-in device stays.
/// @return false when there is none such
CMM_API bool UnregisterCaptureDevice(const GUID& id);

/// The built-in capture device: a deterministic voice-like signal in real time, in any PCM format of 8 or 16
/// bits.
extern CMM_API const GUID kSignalDevice;

/// Adds a driver behind those that the audio compression manager has. Any thread.
/// @return its identifier, in use until UnregisterConversionDriver; null: no driver given, or memory is short
CMM_API HACMDRIVERID RegisterConversionDriver(std::shared_ptr<const ConversionDriver> driver);

/// Takes a driver out. Streams and drivers open on it go on, and keep it until they are closed. The layer's
/// own drivers stay. @return false when there is none such
CMM_API bool UnregisterConversionDriver(HACMDRIVERID driver);

/// Makes a combo box: a list of texts with data, which answers the messages of window.h. Any thread.
/// @return its handle, for DestroyComboBox; null when memory is short
CMM_API HWND CreateComboBox();
/// Does nothing for what is no combo box.
CMM_API void DestroyComboBox(HWND combo);

}  // namespace platform
