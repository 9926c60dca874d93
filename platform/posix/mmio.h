#pragma once
/// @file
/// Multimedia file I/O: buffered files and RIFF chunks under the published names.
///
/// Any thread, but one at a time for a handle. Sizes and positions are in bytes. Positions are unsigned
/// 32-bit values in the published signed types, so files work up to the format's limit of 4 GiB. A handle
/// that is null, closed or foreign is refused and changes nothing. GetLastError (errors.h) has the system's
/// reason when opening, reading, writing or closing fails.

#include <cstdio>  // SEEK_SET, SEEK_CUR, SEEK_END

#include "platform/posix/multimedia.h"
#include "platform/posix/types.h"

using HPSTR = char*;
using HMMIO = struct HMMIO__*;

/// Four characters, in their order in the file.
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
/// The buffer is the file's.
struct MMIOINFO {
  DWORD dwFlags;     ///< those of mmioOpenA; the caller adds MMIO_DIRTY
  FOURCC fccIOProc;  ///< 0, as all fields without a comment
  void* pIOProc;
  UINT wErrorRet;
  HANDLE htask;
  LONG cchBuffer;     ///< size of the buffer
  HPSTR pchBuffer;    ///< first byte of the buffer's contents
  HPSTR pchNext;      ///< the position
  HPSTR pchEndRead;   ///< end of what may be read
  HPSTR pchEndWrite;  ///< end of what may be written; pchBuffer in a file that is only read
  LONG lBufOffset;    ///< file position of pchBuffer
  LONG lDiskOffset;   ///< file position after the last transfer with the disk
  DWORD adwInfo[3];
  DWORD dwReserved1;
  DWORD dwReserved2;
  HMMIO hmmio;  ///< the file
};

/// A chunk of a RIFF file.
struct MMCKINFO {
  FOURCC ckid;         ///< the chunk's identifier
  DWORD cksize;        ///< bytes of the data portion; of a RIFF or LIST chunk with the form type's four
  FOURCC fccType;      ///< form type, of RIFF and LIST chunks
  DWORD dwDataOffset;  ///< file position of the data portion; of a RIFF or LIST chunk that of the form type
  DWORD dwFlags;       ///< MMIO_DIRTY from mmioCreateChunk to mmioAscend
};
#pragma pack(pop)
using LPMMIOINFO = MMIOINFO*;
using LPCMMIOINFO = const MMIOINFO*;
using LPMMCKINFO = MMCKINFO*;

/// Opens a file, with a buffer of the layer's own (MMIO_ALLOCBUF). The position is its start.
/// @param name  path; '/' and '\' both separate, except for the second byte of a double-byte character in
///              code page 932
/// @param info  null
/// @param flags MMIO_ALLOCBUF with MMIO_READ, or with MMIO_CREATE and MMIO_READWRITE (an existing file is cut
///              to zero length)
/// @return the handle, for mmioClose
/// @return null: the file cannot be opened, another handle does not share it, it has no positions (a folder,
///         a pipe), memory or handles are short, or an argument is refused
CMM_API HMMIO mmioOpenA(LPSTR name, LPMMIOINFO info, DWORD flags);

/// Writes what the buffer still holds and closes the file. The handle is closed afterwards, whatever the
/// result.
/// @param flags not used
/// @return 0: closed, and all is written
/// @return MMIOERR_CANNOTWRITE: the disk did not take all
/// @return MMIOERR_CANNOTCLOSE: what was written may not be on the disk
/// @return MMSYSERR_INVALHANDLE
CMM_API MMRESULT mmioClose(HMMIO file, UINT flags);

/// Writes what the buffer holds to the disk.
/// @param flags not used
/// @return 0: written
/// @return MMIOERR_CANNOTWRITE: what the disk did not take is dropped, and the position is the end of what it
///         took
/// @return MMSYSERR_INVALHANDLE
CMM_API MMRESULT mmioFlush(HMMIO file, UINT flags);

/// Reads from the position on.
/// @param data the caller's, of @p count bytes
/// @return bytes read: fewer than @p count at the end of the file, or when reading has failed after them
/// @return -1: reading failed before the first byte, or an argument is refused
CMM_API LONG mmioRead(HMMIO file, HPSTR data, LONG count);

/// Writes from the position on, into the buffer or to the disk.
/// @return bytes written: fewer than @p count when the disk is full; the position is the end of what it took
/// @return -1: the file is only read, memory is short, or an argument is refused
CMM_API LONG mmioWrite(HMMIO file, const char* data, LONG count);

/// Sets the position. It may be after the end of the file.
/// @param offset SEEK_SET: a position, unsigned in 32 bits; otherwise a signed distance
/// @param origin SEEK_SET, SEEK_CUR, SEEK_END
/// @return the new position, unsigned in 32 bits: negative values but -1 are no failures
/// @return -1: the position would be before the file's start or after 2^32 - 2, and is unchanged; or what the
///         buffer holds could not be written, and the position is the end of what the disk took
CMM_API LONG mmioSeek(HMMIO file, LONG offset, int origin);

/// Gives the state of a file's buffer. It is valid until another call on the file.
/// @param info  receives it; the caller's
/// @param flags not used
/// @return 0: given
/// @return MMSYSERR_INVALPARAM: @p info is null
/// @return MMSYSERR_INVALHANDLE
CMM_API MMRESULT mmioGetInfo(HMMIO file, LPMMIOINFO info, UINT flags);
/// Takes a structure of mmioGetInfo back: the position becomes pchNext. With MMIO_DIRTY the bytes between the
/// two positions count as written.
/// @param flags not used
/// @return 0: taken
/// @return MMSYSERR_INVALPARAM: null, or not of this state of the buffer; nothing has changed
/// @return MMSYSERR_INVALHANDLE
CMM_API MMRESULT mmioSetInfo(HMMIO file, LPCMMIOINFO info, UINT flags);
/// Takes a structure of mmioGetInfo back, as mmioSetInfo does, and moves the buffer on.
/// @param info  receives the new state
/// @param flags MMIO_READ: fills the buffer from the file; at the file's end pchNext equals pchEndRead then.
///              MMIO_WRITE: writes what it holds, and empties it
/// @return 0: done
/// @return MMIOERR_CANNOTREAD: reading failed, or memory is short
/// @return MMIOERR_CANNOTWRITE: the file is only read, or the disk did not take all: the rest is dropped, and
///         MMIO_WRITE fails until the next mmioSeek, mmioFlush, mmioSetInfo or mmioWrite
/// @return MMIOERR_OUTOFMEMORY: of MMIO_WRITE
/// @return MMSYSERR_INVALPARAM: as of mmioSetInfo, or another flag
/// @return MMSYSERR_INVALHANDLE
CMM_API MMRESULT mmioAdvance(HMMIO file, LPMMIOINFO info, UINT flags);

/// Reads the header of a chunk. The position is the beginning of its data then; in a RIFF or LIST chunk that
/// follows the form type.
/// @param chunk  receives the header; for a search with the identifier or the form type to be found
/// @param parent the chunk whose end is the end of the search; null: the file's end
/// @param flags  0: the header at the position. MMIO_FINDCHUNK: the next chunk with this identifier.
///               MMIO_FINDRIFF, MMIO_FINDLIST: the next RIFF or LIST chunk with this form type
/// @return 0: there
/// @return MMIOERR_CHUNKNOTFOUND: no such chunk, or reading failed; the position is undefined
/// @return MMSYSERR_INVALPARAM: @p chunk is null, or other flags
/// @return MMSYSERR_INVALHANDLE
CMM_API MMRESULT mmioDescend(HMMIO file, LPMMCKINFO chunk, const MMCKINFO* parent, UINT flags);
/// Sets the position to the end of a chunk. One of mmioCreateChunk is finished first: it is padded to an even
/// length, and its size is written where it differs.
/// @param chunk of mmioDescend or mmioCreateChunk
/// @param flags not used
/// @return 0: there
/// @return MMIOERR_CANNOTWRITE: the chunk cannot be finished
/// @return MMIOERR_CANNOTSEEK: what the buffer holds could not be written
/// @return MMSYSERR_INVALPARAM: @p chunk is null
/// @return MMSYSERR_INVALHANDLE
CMM_API MMRESULT mmioAscend(HMMIO file, LPMMCKINFO chunk, UINT flags);
/// Writes the header of a chunk at the position: cksize as the size, which mmioAscend corrects.
/// @param chunk has identifier and size; receives the data's position and MMIO_DIRTY
/// @param flags 0; MMIO_CREATERIFF, MMIO_CREATELIST: identifier RIFF or LIST, followed by the form type
/// @return 0: written
/// @return MMIOERR_CANNOTWRITE: mmioWrite fails, or the position is too near to 4 GiB
/// @return MMSYSERR_INVALPARAM: @p chunk is null, or other flags
/// @return MMSYSERR_INVALHANDLE
CMM_API MMRESULT mmioCreateChunk(HMMIO file, LPMMCKINFO chunk, UINT flags);
