#pragma once
/// @file
/// Multimedia file I/O: buffered files and RIFF chunks under the published names.
///
/// A handle serves one thread at a time; different handles may be used side by side. Positions are unsigned
/// 32-bit values carried in the published signed types, so files work up to the format's limit of 4 GiB.

#include <cstdio>  // SEEK_SET, SEEK_CUR, SEEK_END

#include "platform/posix/multimedia.h"
#include "platform/posix/types.h"

using HPSTR = char*;
using HMMIO = struct HMMIO__*;

/// Four characters as they stand in the file.
constexpr FOURCC mmioFOURCC(char a, char b, char c, char d) {
  return static_cast<FOURCC>(static_cast<BYTE>(a)) | static_cast<FOURCC>(static_cast<BYTE>(b)) << 8 |
         static_cast<FOURCC>(static_cast<BYTE>(c)) << 16 | static_cast<FOURCC>(static_cast<BYTE>(d)) << 24;
}
inline constexpr FOURCC FOURCC_RIFF = mmioFOURCC('R', 'I', 'F', 'F');
inline constexpr FOURCC FOURCC_LIST = mmioFOURCC('L', 'I', 'S', 'T');

// Results, besides the common ones.
inline constexpr MMRESULT MMIOERR_OUTOFMEMORY = 258;
inline constexpr MMRESULT MMIOERR_CANNOTCLOSE = 260;
inline constexpr MMRESULT MMIOERR_CANNOTREAD = 261;
inline constexpr MMRESULT MMIOERR_CANNOTWRITE = 262;
inline constexpr MMRESULT MMIOERR_CANNOTSEEK = 263;
inline constexpr MMRESULT MMIOERR_CHUNKNOTFOUND = 265;

// Flags of mmioOpenA, and MMIOINFO::dwFlags.
inline constexpr DWORD MMIO_READ = 0x00000000;
inline constexpr DWORD MMIO_WRITE = 0x00000001;
inline constexpr DWORD MMIO_READWRITE = 0x00000002;
inline constexpr DWORD MMIO_CREATE = 0x00001000;
inline constexpr DWORD MMIO_ALLOCBUF = 0x00010000;
inline constexpr DWORD MMIO_DIRTY = 0x10000000;

// Flags of the chunk functions.
inline constexpr UINT MMIO_FINDCHUNK = 0x0010;
inline constexpr UINT MMIO_FINDRIFF = 0x0020;
inline constexpr UINT MMIO_FINDLIST = 0x0040;
inline constexpr UINT MMIO_CREATERIFF = 0x0020;
inline constexpr UINT MMIO_CREATELIST = 0x0040;

#pragma pack(push, 1)
/// State of a file's buffer, for callers that move bytes in it directly: between mmioGetInfo and mmioSetInfo
/// the bytes from pchNext to pchEndRead may be read, those up to pchEndWrite written (and MMIO_DIRTY set).
struct MMIOINFO {
  DWORD dwFlags;
  FOURCC fccIOProc;
  void* pIOProc;
  UINT wErrorRet;
  HANDLE htask;
  LONG cchBuffer;
  HPSTR pchBuffer;
  HPSTR pchNext;
  HPSTR pchEndRead;
  HPSTR pchEndWrite;
  LONG lBufOffset;   ///< file position of the buffer's first byte
  LONG lDiskOffset;  ///< file position behind the last transfer with the disk
  DWORD adwInfo[3];
  DWORD dwReserved1;
  DWORD dwReserved2;
  HMMIO hmmio;
};

/// A chunk of a RIFF file.
struct MMCKINFO {
  FOURCC ckid;
  DWORD cksize;        ///< bytes of the data portion; of a RIFF or LIST chunk with the form type's four
  FOURCC fccType;      ///< form type, of RIFF and LIST chunks
  DWORD dwDataOffset;  ///< file position of the data portion; of a RIFF or LIST chunk that of the form type
  DWORD dwFlags;       ///< MMIO_DIRTY from mmioCreateChunk on
};
#pragma pack(pop)
using LPMMIOINFO = MMIOINFO*;
using LPCMMIOINFO = const MMIOINFO*;
using LPMMCKINFO = MMCKINFO*;

/// Opens a file, with a buffer of the layer's own (MMIO_ALLOCBUF).
/// @param name  path; '/' and '\' both separate, but for the second byte of a double-byte character in code
///              page 932
/// @param info  null; another open is refused
/// @param flags MMIO_ALLOCBUF with MMIO_READ, or with MMIO_CREATE and MMIO_READWRITE (an existing file is cut
///              to zero length)
/// @return the handle, for mmioClose; null when the file cannot be opened so
CMM_API HMMIO mmioOpenA(LPSTR name, LPMMIOINFO info, DWORD flags);

/// Writes what the buffer still holds and closes the file. The handle is dead afterwards, whatever the result.
/// @return 0; MMSYSERR_INVALHANDLE; MMIOERR_CANNOTWRITE or MMIOERR_CANNOTCLOSE
CMM_API MMRESULT mmioClose(HMMIO file, UINT flags);

/// Writes what the buffer holds to the disk.
/// @return 0; MMSYSERR_INVALHANDLE; MMIOERR_CANNOTWRITE: what the disk did not take is dropped, and the
///         position is the end of what it took
CMM_API MMRESULT mmioFlush(HMMIO file, UINT flags);

/// @return bytes read, less than @p count at the end of the file; -1 on failure
CMM_API LONG mmioRead(HMMIO file, HPSTR data, LONG count);

/// @return bytes written, less than @p count when the disk is full (the position is then the end of what the
///         disk took); -1 on failure
CMM_API LONG mmioWrite(HMMIO file, const char* data, LONG count);

/// @param offset unsigned 32-bit position for SEEK_SET, signed distance otherwise
/// @return the new position as an unsigned 32-bit value in a signed field; -1 alone is failure
CMM_API LONG mmioSeek(HMMIO file, LONG offset, int origin);

CMM_API MMRESULT mmioGetInfo(HMMIO file, LPMMIOINFO info, UINT flags);
/// Takes back a record of mmioGetInfo. One marked MMIO_DIRTY makes the bytes up to pchNext count as written.
CMM_API MMRESULT mmioSetInfo(HMMIO file, LPCMMIOINFO info, UINT flags);
/// Refills the buffer (MMIO_READ; pchNext equals pchEndRead at the end of the file), or writes a dirty one and
/// presents it empty (MMIO_WRITE).
/// @return 0; non-zero on failure. After a failed write further ones fail until the next seek, and what did not
///         fit is dropped
CMM_API MMRESULT mmioAdvance(HMMIO file, LPMMIOINFO info, UINT flags);

/// Reads a chunk header at the position (flags 0), or walks to the chunk named in @p chunk (MMIO_FINDCHUNK,
/// MMIO_FINDRIFF) no further than the end of @p parent.
CMM_API MMRESULT mmioDescend(HMMIO file, LPMMCKINFO chunk, const MMCKINFO* parent, UINT flags);
/// Leaves a chunk: patches the size of one made by mmioCreateChunk, pads it to even, and goes behind it.
CMM_API MMRESULT mmioAscend(HMMIO file, LPMMCKINFO chunk, UINT flags);
/// Writes a chunk header at the position.
CMM_API MMRESULT mmioCreateChunk(HMMIO file, LPMMCKINFO chunk, UINT flags);
