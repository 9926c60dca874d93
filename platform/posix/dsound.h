#pragma once
/// @file
/// Sound capture: the published interfaces, records and results.
///
/// What the reader of a capture buffer may rely on:
///
/// - A notification is signalled once the byte at its offset lies before the read position, and
///   GetCurrentPosition withdraws, in one step with reading the position, every notification that this
///   position covers. A reader that drains up to the position is so never woken for what it has taken.
/// - A reader that locks and unlocks what it reads is never overrun, from its first Lock on, and before that
///   as long as a notification waits for it unheard. What it has not unlocked stays, and the position does
///   not come round to it from behind; later sound waits in a backlog (60 seconds or 64 MiB, whichever is
///   less) until an Unlock has made room. A backlog that is full loses its oldest sound, a ring's worth at a
///   time, and counts it: the buffer has the interface of platform/capture_losses.h. To a reader that never
///   locks the buffer is a ring that goes round.
/// - Stop keeps the position and what waits, so that a late drain can follow; Start begins at offset 0.
/// - When the device is gone, the notifications are signalled. GetCurrentPosition goes on working until the
///   last whole piece up to a notification point has been unlocked, and gives DSERR_NODRIVER from then on,
///   until a Start.

#include "platform/posix/multimedia.h"
#include "platform/posix/types.h"

inline constexpr HRESULT DS_OK = S_OK;
inline constexpr HRESULT DSERR_ALLOCATED = platform::detail::Result(0x8878000Au);
inline constexpr HRESULT DSERR_INVALIDCALL = platform::detail::Result(0x88780032u);
inline constexpr HRESULT DSERR_BADFORMAT = platform::detail::Result(0x88780064u);
inline constexpr HRESULT DSERR_NODRIVER = platform::detail::Result(0x88780078u);
inline constexpr HRESULT DSERR_ALREADYINITIALIZED = platform::detail::Result(0x88780082u);
inline constexpr HRESULT DSERR_UNINITIALIZED = platform::detail::Result(0x887800AAu);
inline constexpr HRESULT DSERR_GENERIC = E_FAIL;
inline constexpr HRESULT DSERR_INVALIDPARAM = E_INVALIDARG;
inline constexpr HRESULT DSERR_OUTOFMEMORY = E_OUTOFMEMORY;
inline constexpr HRESULT DSERR_NOINTERFACE = E_NOINTERFACE;
inline constexpr HRESULT DSERR_NOAGGREGATION = CLASS_E_NOAGGREGATION;

inline constexpr DWORD DSCBSTART_LOOPING = 1;
inline constexpr DWORD DSCBSTATUS_CAPTURING = 1;
inline constexpr DWORD DSCBSTATUS_LOOPING = 2;
inline constexpr DWORD DSBPN_OFFSETSTOP = 0xFFFFFFFF;

inline constexpr IID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
inline constexpr IID IID_IDirectSoundCapture = {
    0xB0210781, 0x89CD, 0x11D0, {0xAF, 0x08, 0x00, 0xA0, 0xC9, 0x25, 0xCD, 0x16}};
inline constexpr IID IID_IDirectSoundCaptureBuffer = {
    0xB0210782, 0x89CD, 0x11D0, {0xAF, 0x08, 0x00, 0xA0, 0xC9, 0x25, 0xCD, 0x16}};
inline constexpr IID IID_IDirectSoundNotify = {
    0xB0210783, 0x89CD, 0x11D0, {0xAF, 0x08, 0x00, 0xA0, 0xC9, 0x25, 0xCD, 0x16}};

struct DSCBUFFERDESC {
  DWORD dwSize;         ///< bytes of this record
  DWORD dwFlags;        ///< 0
  DWORD dwBufferBytes;  ///< size of the ring, whole blocks
  DWORD dwReserved;     ///< 0
  LPWAVEFORMATEX lpwfxFormat;
};
using LPCDSCBUFFERDESC = const DSCBUFFERDESC*;

struct DSBPOSITIONNOTIFY {
  DWORD dwOffset;  ///< byte of the ring, or DSBPN_OFFSETSTOP
  HANDLE hEventNotify;
};
using LPCDSBPOSITIONNOTIFY = const DSBPOSITIONNOTIFY*;

struct DSCCAPS {
  DWORD dwSize;
  DWORD dwFlags;
  DWORD dwFormats;
  DWORD dwChannels;
};

struct DSCBCAPS {
  DWORD dwSize;
  DWORD dwFlags;
  DWORD dwBufferBytes;
  DWORD dwReserved;
};

struct IUnknown {
  virtual HRESULT __stdcall QueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG __stdcall AddRef() = 0;
  virtual ULONG __stdcall Release() = 0;

 protected:
  ~IUnknown() = default;  // an object goes with its last Release, never through a pointer to an interface
};
using LPUNKNOWN = IUnknown*;

/// A ring that the device fills.
struct IDirectSoundCaptureBuffer : IUnknown {
  virtual HRESULT __stdcall GetCaps(DSCBCAPS* caps) = 0;
  virtual HRESULT __stdcall GetCurrentPosition(LPDWORD capturePosition, LPDWORD readPosition) = 0;
  virtual HRESULT __stdcall GetFormat(LPWAVEFORMATEX format, DWORD size, LPDWORD written) = 0;
  virtual HRESULT __stdcall GetStatus(LPDWORD status) = 0;
  virtual HRESULT __stdcall Initialize(struct IDirectSoundCapture* device, LPCDSCBUFFERDESC desc) = 0;
  virtual HRESULT __stdcall Lock(DWORD offset, DWORD bytes, LPVOID* part1, LPDWORD bytes1, LPVOID* part2,
                                 LPDWORD bytes2, DWORD flags) = 0;
  virtual HRESULT __stdcall Start(DWORD flags) = 0;
  virtual HRESULT __stdcall Stop() = 0;
  virtual HRESULT __stdcall Unlock(LPVOID part1, DWORD bytes1, LPVOID part2, DWORD bytes2) = 0;

 protected:
  ~IDirectSoundCaptureBuffer() = default;
};
using LPDIRECTSOUNDCAPTUREBUFFER = IDirectSoundCaptureBuffer*;

/// A capture device.
struct IDirectSoundCapture : IUnknown {
  virtual HRESULT __stdcall CreateCaptureBuffer(LPCDSCBUFFERDESC desc, LPDIRECTSOUNDCAPTUREBUFFER* buffer,
                                                LPUNKNOWN outer) = 0;
  virtual HRESULT __stdcall GetCaps(DSCCAPS* caps) = 0;
  virtual HRESULT __stdcall Initialize(LPCGUID device) = 0;

 protected:
  ~IDirectSoundCapture() = default;
};
using LPDIRECTSOUNDCAPTURE = IDirectSoundCapture*;

/// The notification points of a capture buffer, obtained from it by QueryInterface.
struct IDirectSoundNotify : IUnknown {
  virtual HRESULT __stdcall SetNotificationPositions(DWORD count, LPCDSBPOSITIONNOTIFY positions) = 0;

 protected:
  ~IDirectSoundNotify() = default;
};

/// Opens a capture device.
/// @param device null for the system's default device
/// @param capture receives the device, for Release; null on failure
/// @param outer  null
/// @return DS_OK; DSERR_NODRIVER: no such device; DSERR_ALLOCATED: busy; DSERR_INVALIDPARAM,
///         DSERR_NOAGGREGATION, DSERR_OUTOFMEMORY
CMM_API HRESULT DirectSoundCaptureCreate(LPCGUID device, LPDIRECTSOUNDCAPTURE* capture, LPUNKNOWN outer);

using LPDSENUMCALLBACKA = BOOL(__stdcall*)(LPGUID device, LPCSTR description, LPCSTR module, LPVOID context);
/// Calls @p callback for each capture device until it gives FALSE: the default device, where there is one,
/// with a null GUID; the machine's devices; the registered ones and the built-in one. A device's GUID is the
/// same on every call and in every process.
CMM_API HRESULT DirectSoundCaptureEnumerateA(LPDSENUMCALLBACKA callback, LPVOID context);
