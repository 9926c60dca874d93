#pragma once
/// @file
/// Sound capture: the published interfaces, structures and results. Offsets and lengths are in bytes of the
/// ring.
///
/// Every function and method may be called from any thread. An interface belongs to whoever has obtained it,
/// until its Release. Here are the devices and buffers of the layer; a registered device (layer.h) may
/// differ.
///
/// What the reader of a capture buffer may rely on:
///
/// - A notification is signalled once the read position has passed the byte at its offset. GetCurrentPosition
///   reads the position and, in the same step, withdraws every notification that this position covers. So a
///   reader that drains up to the position is never woken for what it has taken.
/// - A reader that locks and unlocks what it reads is never overrun, from its first Lock on, and before that
///   while a notification is signalled for which it has not woken yet. What it has not unlocked is not
///   overwritten; later sound waits in a backlog (60 seconds or 64 MiB, whichever is less) until an Unlock
///   has made room. A full backlog loses its oldest sound, the length of a ring at a time, and counts it: the
///   buffer has the interface of platform/capture_losses.h. For a reader that never locks, the ring
///   overwrites its oldest sound.
/// - Stop keeps the position and what waits, so that a late drain can follow; Start begins at offset 0.
/// - When the device has failed for good, the notifications are signalled. GetCurrentPosition works until all
///   sound up to the last notification point that was passed has been unlocked. From then on, until a Start,
///   it returns DSERR_NODRIVER.

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

/// A capture buffer, as CreateCaptureBuffer makes it.
struct DSCBUFFERDESC {
  DWORD dwSize;                ///< bytes of this structure
  DWORD dwFlags;               ///< 0
  DWORD dwBufferBytes;         ///< size of the ring: whole blocks, at most 0x0FFFFFFF bytes
  DWORD dwReserved;            ///< not used
  LPWAVEFORMATEX lpwfxFormat;  ///< PCM; the caller's, copied
};
using LPCDSCBUFFERDESC = const DSCBUFFERDESC*;

/// A notification point.
struct DSBPOSITIONNOTIFY {
  DWORD dwOffset;       ///< byte of the ring, or DSBPN_OFFSETSTOP
  HANDLE hEventNotify;  ///< event of CreateEventA; the caller's
};
using LPCDSBPOSITIONNOTIFY = const DSBPOSITIONNOTIFY*;

/// What a capture device can do.
struct DSCCAPS {
  DWORD dwSize;     ///< from the caller: bytes of this structure
  DWORD dwFlags;    ///< 0
  DWORD dwFormats;  ///< the published bits of formats: 11025, 22050, 44100 Hz, mono and stereo, 8 and 16 bits
  DWORD dwChannels;  ///< the most that it has
};

/// What a capture buffer is.
struct DSCBCAPS {
  DWORD dwSize;         ///< from the caller: bytes of this structure
  DWORD dwFlags;        ///< 0
  DWORD dwBufferBytes;  ///< size of the ring
  DWORD dwReserved;     ///< 0
};

/// What every interface has: the object's other interfaces, and its reference count.
struct IUnknown {
  /// Obtains another interface of the object.
  /// @param object receives it, for Release; null when there is none
  /// @return S_OK: obtained
  /// @return E_NOINTERFACE: the object has no such interface
  /// @return E_POINTER: @p object is null
  virtual HRESULT __stdcall QueryInterface(REFIID iid, void** object) = 0;
  /// Adds a reference. @return their number
  virtual ULONG __stdcall AddRef() = 0;
  /// Gives up a reference; without any the object is destroyed. @return their number
  virtual ULONG __stdcall Release() = 0;

 protected:
  ~IUnknown() = default;  // the last Release destroys an object, never a pointer to an interface
};
using LPUNKNOWN = IUnknown*;

/// A ring that the device fills. Every method returns DS_OK, or one of the failures listed with it;
/// DSERR_INVALIDPARAM when an argument is null that is needed.
struct IDirectSoundCaptureBuffer : IUnknown {
  /// @param caps receives what the buffer is
  /// @return DSERR_INVALIDPARAM: its dwSize is too small
  virtual HRESULT __stdcall GetCaps(DSCBCAPS* caps) = 0;
  /// Gives the positions, which are the same here: the offset up to which the ring is filled.
  /// @param capturePosition receives it; may be null
  /// @param readPosition    receives it, and withdraws the notifications; may be null
  /// @return DSERR_NODRIVER: the device has failed, and nothing is left to be read
  virtual HRESULT __stdcall GetCurrentPosition(LPDWORD capturePosition, LPDWORD readPosition) = 0;
  /// @param format  receives the first @p size bytes of the buffer's format, which has 18; may be null
  /// @param written receives how many those are, or 18 when @p format is null; may be null otherwise
  virtual HRESULT __stdcall GetFormat(LPWAVEFORMATEX format, DWORD size, LPDWORD written) = 0;
  /// @param status receives DSCBSTATUS_CAPTURING while capturing, and with it DSCBSTATUS_LOOPING; otherwise 0
  virtual HRESULT __stdcall GetStatus(LPDWORD status) = 0;
  /// @return DSERR_ALREADYINITIALIZED, always: CreateCaptureBuffer has done it
  virtual HRESULT __stdcall Initialize(struct IDirectSoundCapture* device, LPCDSCBUFFERDESC desc) = 0;
  /// Gives the memory of a region, which may continue at the ring's start. What the reader has not unlocked
  /// begins at @p offset then.
  /// @param offset        below the ring's size
  /// @param bytes         1 to the ring's size
  /// @param part1, bytes1 receive the region, or its part up to the ring's end; the buffer's, until Unlock
  /// @param part2, bytes2 receive the part from the ring's start on: null and 0 when there is none. Both may
  ///                      be null
  /// @param flags         0
  /// @return DSERR_INVALIDPARAM: an argument is outside its range
  virtual HRESULT __stdcall Lock(DWORD offset, DWORD bytes, LPVOID* part1, LPDWORD bytes1, LPVOID* part2,
                                 LPDWORD bytes2, DWORD flags) = 0;
  /// Begins to capture, at offset 0. While capturing it changes nothing.
  /// @param flags DSCBSTART_LOOPING; 0: until the ring's end
  /// @return DSERR_INVALIDPARAM: another flag
  /// @return DSERR_GENERIC: the device does not start
  virtual HRESULT __stdcall Start(DWORD flags) = 0;
  /// Ends the capture and signals the notification of the stop. What the device has captured by then is taken
  /// first.
  virtual HRESULT __stdcall Stop() = 0;
  /// Gives parts of Lock back, as read. They come in their order, by one call or by one each.
  /// @param part1, bytes1 a part, or the beginning of one
  /// @param part2, bytes2 the other part; null and 0 when there is none
  /// @return DSERR_INVALIDPARAM: not inside the ring
  virtual HRESULT __stdcall Unlock(LPVOID part1, DWORD bytes1, LPVOID part2, DWORD bytes2) = 0;

 protected:
  ~IDirectSoundCaptureBuffer() = default;
};
using LPDIRECTSOUNDCAPTUREBUFFER = IDirectSoundCaptureBuffer*;

/// A capture device.
struct IDirectSoundCapture : IUnknown {
  /// Makes the device's buffer; it has one at a time. Either may be released first.
  /// @param buffer receives it, for Release; null on failure
  /// @param outer  null
  /// @return DS_OK: made
  /// @return DSERR_ALLOCATED: the device has a buffer
  /// @return DSERR_BADFORMAT: not PCM, a format that disagrees with itself, or one that the device does not
  ///         have
  /// @return DSERR_INVALIDPARAM: an argument is null, or another field of @p desc is outside its range
  /// @return DSERR_NOAGGREGATION: @p outer is not null
  /// @return DSERR_OUTOFMEMORY: memory or threads are short
  virtual HRESULT __stdcall CreateCaptureBuffer(LPCDSCBUFFERDESC desc, LPDIRECTSOUNDCAPTUREBUFFER* buffer,
                                                LPUNKNOWN outer) = 0;
  /// @param caps receives what the device can do
  /// @return DS_OK: filled in
  /// @return DSERR_INVALIDPARAM: @p caps is null, or its dwSize too small
  virtual HRESULT __stdcall GetCaps(DSCCAPS* caps) = 0;
  /// @return DSERR_ALREADYINITIALIZED, always: DirectSoundCaptureCreate has done it
  virtual HRESULT __stdcall Initialize(LPCGUID device) = 0;

 protected:
  ~IDirectSoundCapture() = default;
};
using LPDIRECTSOUNDCAPTURE = IDirectSoundCapture*;

/// The notification points of a capture buffer, obtained from it by QueryInterface.
struct IDirectSoundNotify : IUnknown {
  /// Sets the notification points, in place of those before. One event may serve several points.
  /// @param positions @p count of them, copied; may be null when that is 0
  /// @return DS_OK: set
  /// @return DSERR_INVALIDCALL: the buffer is capturing
  /// @return DSERR_INVALIDPARAM: an offset is beyond the ring, or an event is null
  /// @return DSERR_OUTOFMEMORY
  virtual HRESULT __stdcall SetNotificationPositions(DWORD count, LPCDSBPOSITIONNOTIFY positions) = 0;

 protected:
  ~IDirectSoundNotify() = default;
};

/// Opens a capture device.
/// @param device  null for the system's default device
/// @param capture receives the device, for Release; null on failure
/// @param outer   null
/// @return DS_OK: open
/// @return DSERR_NODRIVER: no such device, or it cannot be opened
/// @return DSERR_ALLOCATED: another program has it
/// @return DSERR_INVALIDPARAM: @p capture is null
/// @return DSERR_NOAGGREGATION: @p outer is not null
/// @return DSERR_OUTOFMEMORY
/// @return a registered device's own failure; DSERR_GENERIC when its factory gives no device
CMM_API HRESULT DirectSoundCaptureCreate(LPCGUID device, LPDIRECTSOUNDCAPTURE* capture, LPUNKNOWN outer);

/// Receives one device, on the thread that has called DirectSoundCaptureEnumerateA. Must not throw.
/// @param device      its GUID; null for the default device
/// @param description its name, for people; this and the GUID are valid during the call
/// @param module      empty
/// @return TRUE: go on
/// @return FALSE: end the enumeration
using LPDSENUMCALLBACKA = BOOL(__stdcall*)(LPGUID device, LPCSTR description, LPCSTR module, LPVOID context);
/// Calls @p callback for each capture device: the default device, where there is one; the machine's devices;
/// the registered ones; the built-in one. A device's GUID is the same on every call and in every process. The
/// callback may open, register and enumerate devices.
/// @param context passed to the callback
/// @return DS_OK: done, or ended by the callback
/// @return DSERR_INVALIDPARAM: @p callback is null
/// @return DSERR_OUTOFMEMORY
CMM_API HRESULT DirectSoundCaptureEnumerateA(LPDSENUMCALLBACKA callback, LPVOID context);
