#pragma once
/// @file
/// The audio compression manager: conversion of audio between formats, and the list of the drivers that do
/// it.
///
/// Every function may be called from any thread; the calls on one stream wait for one another. A handle that
/// is null, closed or of another kind is refused with MMSYSERR_INVALHANDLE and touches nothing. The drivers
/// here are those of the layer, and those that platform::RegisterConversionDriver adds behind them.

#include "platform/posix/multimedia.h"
#include "platform/posix/types.h"

using HACMDRIVERID = struct HACMDRIVERID__*;  ///< an installed driver
using HACMDRIVER = struct HACMDRIVER__*;      ///< an opened one
using HACMSTREAM = struct HACMSTREAM__*;      ///< a conversion
using HACMOBJ = struct HACMOBJ__*;            ///< any of the three
using HICON = struct HICON__*;
using LPHACMDRIVERID = HACMDRIVERID*;
using LPHACMDRIVER = HACMDRIVER*;
using LPHACMSTREAM = HACMSTREAM*;
struct WAVEFILTER;
using LPWAVEFILTER = WAVEFILTER*;

// Results, besides the common ones.
inline constexpr MMRESULT ACMERR_NOTPOSSIBLE = 512;
inline constexpr MMRESULT ACMERR_BUSY = 513;
inline constexpr MMRESULT ACMERR_UNPREPARED = 514;

// Flags of acmDriverEnum.
inline constexpr DWORD ACM_DRIVERENUMF_NOLOCAL = 0x40000000;
inline constexpr DWORD ACM_DRIVERENUMF_DISABLED = 0x80000000;

// What a driver supports, ACMDRIVERDETAILSA::fdwSupport.
inline constexpr DWORD ACMDRIVERDETAILS_SUPPORTF_CODEC = 0x00000001;      ///< between format tags
inline constexpr DWORD ACMDRIVERDETAILS_SUPPORTF_CONVERTER = 0x00000002;  ///< within a format tag
inline constexpr DWORD ACMDRIVERDETAILS_SUPPORTF_FILTER = 0x00000004;     ///< within a format
inline constexpr DWORD ACMDRIVERDETAILS_SUPPORTF_HARDWARE = 0x00000008;
inline constexpr DWORD ACMDRIVERDETAILS_SUPPORTF_ASYNC = 0x00000010;
inline constexpr DWORD ACMDRIVERDETAILS_SUPPORTF_LOCAL = 0x40000000;     ///< not with ACM_DRIVERENUMF_NOLOCAL
inline constexpr DWORD ACMDRIVERDETAILS_SUPPORTF_DISABLED = 0x80000000;  ///< only with ..._DISABLED

// Flags of acmStreamOpen.
inline constexpr DWORD ACM_STREAMOPENF_QUERY = 0x00000001;  ///< only tells whether it would open
inline constexpr DWORD ACM_STREAMOPENF_ASYNC = 0x00000002;
inline constexpr DWORD ACM_STREAMOPENF_NONREALTIME = 0x00000004;

// Flags of acmStreamSize.
inline constexpr DWORD ACM_STREAMSIZEF_SOURCE = 0;
inline constexpr DWORD ACM_STREAMSIZEF_DESTINATION = 1;

// Flags of acmStreamConvert.
inline constexpr DWORD ACM_STREAMCONVERTF_BLOCKALIGN = 0x00000004;  ///< take and make whole blocks only
inline constexpr DWORD ACM_STREAMCONVERTF_START = 0x00000010;       ///< forget what went before
inline constexpr DWORD ACM_STREAMCONVERTF_END = 0x00000020;  ///< without BLOCKALIGN: finish a last block

// ACMSTREAMHEADER::fdwStatus.
inline constexpr DWORD ACMSTREAMHEADER_STATUSF_DONE = 0x00010000;
inline constexpr DWORD ACMSTREAMHEADER_STATUSF_PREPARED = 0x00020000;

inline constexpr std::size_t ACMDRIVERDETAILS_SHORTNAME_CHARS = 32;
inline constexpr std::size_t ACMDRIVERDETAILS_LONGNAME_CHARS = 128;
inline constexpr std::size_t ACMDRIVERDETAILS_COPYRIGHT_CHARS = 80;
inline constexpr std::size_t ACMDRIVERDETAILS_LICENSING_CHARS = 128;
inline constexpr std::size_t ACMDRIVERDETAILS_FEATURES_CHARS = 512;

/// DWORDs at the end of a stream header; the published record has more of them with wider pointers.
inline constexpr std::size_t DRVRESERVED = sizeof(void*) == 4 ? 10 : 15;

#pragma pack(push, 1)
/// The two buffers of a conversion, and how much of them a call has used.
struct ACMSTREAMHEADER {
  DWORD cbStruct;   ///< sizeof(ACMSTREAMHEADER)
  DWORD fdwStatus;  ///< 0 until acmStreamPrepareHeader
  DWORD_PTR dwUser;
  LPBYTE pbSrc;
  DWORD cbSrcLength;      ///< bytes to convert, no more than were prepared
  DWORD cbSrcLengthUsed;  ///< of these, taken by the last acmStreamConvert
  DWORD_PTR dwSrcUser;
  LPBYTE pbDst;
  DWORD cbDstLength;      ///< room, no more than was prepared
  DWORD cbDstLengthUsed;  ///< bytes that the last acmStreamConvert made
  DWORD_PTR dwDstUser;
  DWORD dwReservedDriver[DRVRESERVED];
};

/// What a driver says about itself.
struct ACMDRIVERDETAILSA {
  DWORD cbStruct;  ///< from the caller: its room; back: the bytes filled in
  FOURCC fccType;
  FOURCC fccComp;
  WORD wMid;
  WORD wPid;
  DWORD vdwACM;
  DWORD vdwDriver;
  DWORD fdwSupport;  ///< ACMDRIVERDETAILS_SUPPORTF_...
  DWORD cFormatTags;
  DWORD cFilterTags;
  HICON hicon;
  char szShortName[ACMDRIVERDETAILS_SHORTNAME_CHARS];
  char szLongName[ACMDRIVERDETAILS_LONGNAME_CHARS];
  char szCopyright[ACMDRIVERDETAILS_COPYRIGHT_CHARS];
  char szLicensing[ACMDRIVERDETAILS_LICENSING_CHARS];
  char szFeatures[ACMDRIVERDETAILS_FEATURES_CHARS];
};
#pragma pack(pop)
static_assert(sizeof(ACMSTREAMHEADER) == (sizeof(void*) == 4 ? 84 : 124), "the published record");
static_assert(sizeof(ACMDRIVERDETAILSA) == (sizeof(void*) == 4 ? 920 : 924), "the published record");
using LPACMSTREAMHEADER = ACMSTREAMHEADER*;
using LPACMDRIVERDETAILSA = ACMDRIVERDETAILSA*;

/// @return FALSE ends the enumeration
using ACMDRIVERENUMCB = BOOL(__stdcall*)(HACMDRIVERID driver, DWORD_PTR instance, DWORD support);

/// Calls @p callback for each driver, in the order in which streams try them. It may call any function here.
/// @param flags 0; ACM_DRIVERENUMF_DISABLED: the disabled ones too; ACM_DRIVERENUMF_NOLOCAL: no local ones
/// @return 0, also when the callback ended it; MMSYSERR_INVALPARAM, MMSYSERR_INVALFLAG, MMSYSERR_NOMEM
CMM_API MMRESULT acmDriverEnum(ACMDRIVERENUMCB callback, DWORD_PTR instance, DWORD flags);

/// Fills in what a driver says about itself, as much of it as cbStruct has room for.
/// @return 0; the driver's own failure; on failure @p details is untouched
CMM_API MMRESULT acmDriverDetailsA(HACMDRIVERID driver, LPACMDRIVERDETAILSA details, DWORD flags);

/// Names the driver of an open driver or of a stream (of the latter also when it was chosen by the manager).
CMM_API MMRESULT acmDriverID(HACMOBJ object, LPHACMDRIVERID driver, DWORD flags);

/// Opens a driver, to name it to acmStreamOpen. @return 0; MMSYSERR_NOTENABLED for a disabled one
CMM_API MMRESULT acmDriverOpen(LPHACMDRIVER driver, HACMDRIVERID id, DWORD flags);
/// @return 0; ACMERR_BUSY while a stream is open on it
CMM_API MMRESULT acmDriverClose(HACMDRIVER driver, DWORD flags);

/// Opens a conversion.
/// @param stream      receives the handle, for acmStreamClose; null on failure. May be null for a query.
/// @param driver      the one to use; null: the first that takes both formats
/// @param source,destination with their cbSize further bytes, unless they are PCM
/// @param filter      null: no driver here filters
/// @param callback,instance 0: conversions are never asynchronous
/// @param flags       ACM_STREAMOPENF_NONREALTIME and ACM_STREAMOPENF_QUERY
/// @return 0; ACMERR_NOTPOSSIBLE: no driver does this; MMSYSERR_NOTSUPPORTED: asynchronous
CMM_API MMRESULT acmStreamOpen(LPHACMSTREAM stream, HACMDRIVER driver, LPWAVEFORMATEX source,
                               LPWAVEFORMATEX destination, LPWAVEFILTER filter, DWORD_PTR callback,
                               DWORD_PTR instance, DWORD flags);

/// Closes a conversion; headers still prepared are forgotten.
CMM_API MMRESULT acmStreamClose(HACMSTREAM stream, DWORD flags);

/// Tells how large a buffer has to be.
/// @param inputBytes   above 0
/// @param outputBytes  ACM_STREAMSIZEF_SOURCE: room that always suffices for what @p inputBytes of source
///                     give; ACM_STREAMSIZEF_DESTINATION: source that never gives more than @p inputBytes. 0
///                     on failure.
/// @return 0; ACMERR_NOTPOSSIBLE: there is none such
CMM_API MMRESULT acmStreamSize(HACMSTREAM stream, DWORD inputBytes, LPDWORD outputBytes, DWORD flags);

/// Makes a header known to a stream. Its buffers and lengths must not change until acmStreamUnprepareHeader,
/// but the lengths may be smaller in between. A header that is prepared already stays as it is.
CMM_API MMRESULT acmStreamPrepareHeader(HACMSTREAM stream, LPACMSTREAMHEADER header, DWORD flags);
/// @return 0; ACMERR_UNPREPARED; MMSYSERR_INVALPARAM when buffers or lengths are not those of the preparation
CMM_API MMRESULT acmStreamUnprepareHeader(HACMSTREAM stream, LPACMSTREAMHEADER header, DWORD flags);

/// Converts from one buffer of the header to the other, and goes on from where the stream's last call ended.
/// It reads cbSrcLength bytes at most and writes cbDstLength bytes at most; cbSrcLengthUsed and
/// cbDstLengthUsed tell how many. Source that does not make a whole block is left, and so is source for which
/// there was no room. With ACM_STREAMCONVERTF_END and without ACM_STREAMCONVERTF_BLOCKALIGN a codec makes the
/// most of a last block that is not whole.
CMM_API MMRESULT acmStreamConvert(HACMSTREAM stream, LPACMSTREAMHEADER header, DWORD flags);
