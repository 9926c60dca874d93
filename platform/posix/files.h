#pragma once
/// @file
/// Files without a buffer under the published names.
///
/// A handle goes to CloseHandle (sync.h). One that is null, closed or of another kind is refused with the
/// published result and touches nothing. A file of more than 4 GiB can be read and written on from beginning
/// to end; sizes and positions are told in 32 bits.

#include "platform/posix/types.h"

struct SECURITY_ATTRIBUTES;
using LPSECURITY_ATTRIBUTES = SECURITY_ATTRIBUTES*;
struct OVERLAPPED;
using LPOVERLAPPED = OVERLAPPED*;
using PLONG = LONG*;

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;
inline constexpr DWORD INVALID_FILE_SIZE = 0xFFFFFFFF;
inline constexpr DWORD INVALID_SET_FILE_POINTER = 0xFFFFFFFF;

/// Opens a file, at its start.
/// @param name        path, as mmioOpenA takes it
/// @param access      GENERIC_READ, GENERIC_WRITE or both
/// @param share       FILE_SHARE_READ, FILE_SHARE_WRITE: what the file may be opened for besides, and may be
///                    open for already, in this process; files of mmioOpenA share both
/// @param security    null
/// @param disposition OPEN_EXISTING, or with GENERIC_WRITE CREATE_ALWAYS: an existing file is cut to zero
/// length
/// @param flags       FILE_ATTRIBUTE_NORMAL
/// @param model       null
/// @return the handle; INVALID_HANDLE_VALUE when the file cannot be opened so: it is then as it was
CMM_API HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                           DWORD disposition, DWORD flags, HANDLE model);

/// Reads on from the position. @param moved receives the bytes read, fewer than @p bytes at the end of the
/// file
/// @param overlapped null
/// @return TRUE, at the end of the file too; FALSE on failure
CMM_API BOOL ReadFile(HANDLE file, LPVOID data, DWORD bytes, LPDWORD moved, LPOVERLAPPED overlapped);

/// Writes on from the position. @param moved receives the bytes written
/// @param overlapped null
/// @return TRUE; FALSE when not all could be written, as on a full disk
CMM_API BOOL WriteFile(HANDLE file, LPCVOID data, DWORD bytes, LPDWORD moved, LPOVERLAPPED overlapped);

/// @param high null
/// @return the new position; INVALID_SET_FILE_POINTER when it would lie ahead of the file or beyond 32 bits
CMM_API DWORD SetFilePointer(HANDLE file, LONG distance, PLONG high, DWORD origin);

/// @param high null
/// @return the low 32 bits of the size in bytes; INVALID_FILE_SIZE on failure
CMM_API DWORD GetFileSize(HANDLE file, LPDWORD high);
