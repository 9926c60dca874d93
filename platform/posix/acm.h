#pragma once
/// @file
/// The audio compression manager: conversion of audio between formats, and the list of the drivers that do
/// it. Sizes are in bytes.
///
/// Every function may be called from any thread; the calls on one stream wait for one another. The drivers
/// are those of the layer, followed by those of platform::RegisterConversionDriver. These results are common
/// to the functions; the others are listed with each:
///
/// - MMSYSERR_INVALHANDLE: a handle is closed or of another kind, or null where it is needed;
/// - MMSYSERR_INVALPARAM: a pointer is null that is needed;
/// - MMSYSERR_INVALFLAG: a flag is not listed with the function (where none is, flags are 0);
/// - MMSYSERR_NOMEM: memory or handles are short.

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
inline constexpr DWORD ACM_STREAMOPENF_QUERY = 0x00000001;  ///< only asks whether it would open
inline constexpr DWORD ACM_STREAMOPENF_ASYNC = 0x00000002;
inline constexpr DWORD ACM_STREAMOPENF_NONREALTIME = 0x00000004;

// Flags of acmStreamSize.
inline constexpr DWORD ACM_STREAMSIZEF_SOURCE = 0;
inline constexpr DWORD ACM_STREAMSIZEF_DESTINATION = 1;

// Flags of acmStreamConvert.
inline constexpr DWORD ACM_STREAMCONVERTF_BLOCKALIGN = 0x00000004;  ///< take and make whole blocks only
inline constexpr DWORD ACM_STREAMCONVERTF_START = 0x00000010;       ///< begin a new stream
inline constexpr DWORD ACM_STREAMCONVERTF_END = 0x00000020;  ///< without BLOCKALIGN: finish a last block

// ACMSTREAMHEADER::fdwStatus.
inline constexpr DWORD ACMSTREAMHEADER_STATUSF_DONE = 0x00010000;
inline constexpr DWORD ACMSTREAMHEADER_STATUSF_PREPARED = 0x00020000;

inline constexpr std::size_t ACMDRIVERDETAILS_SHORTNAME_CHARS = 32;
inline constexpr std::size_t ACMDRIVERDETAILS_LONGNAME_CHARS = 128;
inline constexpr std::size_t ACMDRIVERDETAILS_COPYRIGHT_CHARS = 80;
inline constexpr std::size_t ACMDRIVERDETAILS_LICENSING_CHARS = 128;
inline constexpr std::size_t ACMDRIVERDETAILS_FEATURES_CHARS = 512;

/// DWORDs at the end of a stream header; the published structure has more of them with wider pointers.
inline constexpr std::size_t DRVRESERVED = sizeof(void*) == 4 ? 10 : 15;

#pragma pack(push, 1)
/// The two buffers of a conversion, and how much of them a call has used.
struct ACMSTREAMHEADER {
  DWORD cbStruct;         ///< sizeof(ACMSTREAMHEADER)
  DWORD fdwStatus;        ///< 0 until acmStreamPrepareHeader
  DWORD_PTR dwUser;       ///< the caller's, as the other two
  LPBYTE pbSrc;           ///< source; the caller's
  DWORD cbSrcLength;      ///< bytes to convert, no more than were prepared
  DWORD cbSrcLengthUsed;  ///< of these, taken by the last acmStreamConvert
  DWORD_PTR dwSrcUser;
  LPBYTE pbDst;           ///< output; the caller's
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
static_assert(sizeof(ACMSTREAMHEADER) == (sizeof(void*) == 4 ? 84 : 124), "the published structure");
static_assert(sizeof(ACMDRIVERDETAILSA) == (sizeof(void*) == 4 ? 920 : 924), "the published structure");
using LPACMSTREAMHEADER = ACMSTREAMHEADER*;
using LPACMDRIVERDETAILSA = ACMDRIVERDETAILSA*;

/// Receives one driver, on the thread that has called acmDriverEnum. Must not throw.
/// @param instance that of acmDriverEnum
/// @param support  ACMDRIVERDETAILS_SUPPORTF_...
/// @return TRUE: go on
/// @return FALSE: end the enumeration
using ACMDRIVERENUMCB = BOOL(__stdcall*)(HACMDRIVERID driver, DWORD_PTR instance, DWORD support);

/// Calls @p callback for each driver, in the order in which streams try them. It may call any function here.
/// @param instance passed to the callback
/// @param flags    0; ACM_DRIVERENUMF_DISABLED: the disabled ones too; ACM_DRIVERENUMF_NOLOCAL: no local ones
/// @return 0: done, or ended by the callback
CMM_API MMRESULT acmDriverEnum(ACMDRIVERENUMCB callback, DWORD_PTR instance, DWORD flags);

/// Fills in what a driver says about itself, as much of it as cbStruct has room for.
/// @param details the caller's; untouched on failure
/// @return 0: filled in
/// @return MMSYSERR_INVALPARAM: cbStruct is below 4
/// @return the driver's own failure
CMM_API MMRESULT acmDriverDetailsA(HACMDRIVERID driver, LPACMDRIVERDETAILSA details, DWORD flags);

/// Gives the identifier of a driver.
/// @param object a stream, also one whose driver the manager has chosen; an open driver; or an identifier
/// @param driver receives the identifier; untouched on failure
/// @return 0: given
CMM_API MMRESULT acmDriverID(HACMOBJ object, LPHACMDRIVERID driver, DWORD flags);

/// Opens a driver, to be passed to acmStreamOpen.
/// @param driver receives the handle, for acmDriverClose; null on failure
/// @return 0: open
/// @return MMSYSERR_NOTENABLED: the driver is disabled
CMM_API MMRESULT acmDriverOpen(LPHACMDRIVER driver, HACMDRIVERID id, DWORD flags);
/// Closes an open driver.
/// @return 0: closed
/// @return ACMERR_BUSY: a stream is open on it; it stays open
CMM_API MMRESULT acmDriverClose(HACMDRIVER driver, DWORD flags);

/// Opens a conversion.
/// @param stream              receives the handle, for acmStreamClose; null on failure and for a query. For a
///                            query the pointer itself may be null
/// @param driver              an open driver; null: the first driver that takes both formats
/// @param source, destination each with its cbSize further bytes, unless it is PCM; not kept
/// @param filter              null: no driver here filters
/// @param callback            0: conversions are never asynchronous
/// @param instance            not used
/// @param flags               ACM_STREAMOPENF_NONREALTIME, which changes nothing; ACM_STREAMOPENF_QUERY
/// @return 0: open; for a query: it would open
/// @return ACMERR_NOTPOSSIBLE: no driver makes this conversion, or a filter is given
/// @return MMSYSERR_NOTSUPPORTED: ACM_STREAMOPENF_ASYNC or a callback is given
/// @return the driver's own failure
CMM_API MMRESULT acmStreamOpen(LPHACMSTREAM stream, HACMDRIVER driver, LPWAVEFORMATEX source,
                               LPWAVEFORMATEX destination, LPWAVEFILTER filter, DWORD_PTR callback,
                               DWORD_PTR instance, DWORD flags);

/// Closes a conversion. Headers need not be unprepared before; afterwards they cannot be.
/// @return 0: closed
CMM_API MMRESULT acmStreamClose(HACMSTREAM stream, DWORD flags);

/// Computes how large a buffer has to be.
/// @param inputBytes  above 0
/// @param outputBytes receives the size; 0 on failure. ACM_STREAMSIZEF_SOURCE: room that always suffices for
///                    the output of @p inputBytes of source. ACM_STREAMSIZEF_DESTINATION: source whose output
///                    is never more than @p inputBytes
/// @return 0: computed
/// @return MMSYSERR_INVALPARAM: @p inputBytes is 0
/// @return ACMERR_NOTPOSSIBLE: there is no such size
CMM_API MMRESULT acmStreamSize(HACMSTREAM stream, DWORD inputBytes, LPDWORD outputBytes, DWORD flags);

/// Makes a header known to a stream. Until acmStreamUnprepareHeader its address and its buffers must not
/// change; the lengths may be smaller in between. A header that is prepared already stays as it is.
/// @return 0: prepared
/// @return MMSYSERR_INVALPARAM: cbStruct is too small, a buffer is null or a length is 0
/// @return the driver's own failure
CMM_API MMRESULT acmStreamPrepareHeader(HACMSTREAM stream, LPACMSTREAMHEADER header, DWORD flags);
/// Ends the preparation of a header.
/// @return 0: ended
/// @return ACMERR_UNPREPARED: the stream does not know the header
/// @return MMSYSERR_INVALPARAM: buffers or lengths are not those of the preparation, or cbStruct is too small
CMM_API MMRESULT acmStreamUnprepareHeader(HACMSTREAM stream, LPACMSTREAMHEADER header, DWORD flags);

/// Converts from one buffer of the header to the other, and continues where the stream's last call ended. It
/// reads at most cbSrcLength bytes and writes at most cbDstLength bytes; cbSrcLengthUsed and cbDstLengthUsed
/// receive how many. Source that is not a whole block is not taken, nor is source for which there is no room.
/// With ACM_STREAMCONVERTF_END and without ACM_STREAMCONVERTF_BLOCKALIGN a codec of blocks also takes part of
/// a last block: it decodes the frames that are there, and encodes them as a block filled up with the last
/// frame.
/// @param flags ACM_STREAMCONVERTF_...
/// @return 0: converted
/// @return ACMERR_UNPREPARED: the stream does not know the header
/// @return MMSYSERR_INVALPARAM: other buffers or greater lengths than were prepared, or cbStruct is too small
/// @return the driver's own failure
CMM_API MMRESULT acmStreamConvert(HACMSTREAM stream, LPACMSTREAMHEADER header, DWORD flags);
