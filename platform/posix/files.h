#pragma once
/// @file
/// Files without a buffer under the published names. Sizes and positions are in bytes.
///
/// Any thread, but one at a time for a handle. CloseHandle (sync.h) closes a handle. One that is null, closed
/// or of another kind is refused with the published result and changes nothing. A file of more than 4 GiB can
/// be read and written from beginning to end; sizes and positions are given in 32 bits. GetLastError
/// (errors.h) has the system's reason when opening, reading or writing fails.

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

/// Opens a file. The position is its start.
/// @param name        path, as mmioOpenA takes it
/// @param access      GENERIC_READ, GENERIC_WRITE or both
/// @param share       0, FILE_SHARE_READ, FILE_SHARE_WRITE or both: what other handles of this process may
///                    use the file for at the same time; files of mmioOpenA share both
/// @param security    null
/// @param disposition OPEN_EXISTING; or CREATE_ALWAYS, with GENERIC_WRITE: makes the file, or cuts an
///                    existing one to zero length
/// @param flags       FILE_ATTRIBUTE_NORMAL
/// @param model       null
/// @return the handle, for CloseHandle
/// @return INVALID_HANDLE_VALUE: the file cannot be opened, another handle does not share it, it has no
///         positions (a folder, a pipe), or an argument is refused; an existing file keeps its contents
CMM_API HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                           DWORD disposition, DWORD flags, HANDLE model);

/// Reads from the position on.
/// @param data       the caller's, of @p bytes
/// @param moved      receives the bytes read: fewer than @p bytes at the end of the file and on failure
/// @param overlapped null
/// @return TRUE: read; at the end of the file too
/// @return FALSE: reading failed, or an argument is refused; then @p moved is untouched
CMM_API BOOL ReadFile(HANDLE file, LPVOID data, DWORD bytes, LPDWORD moved, LPOVERLAPPED overlapped);

/// Writes from the position on.
/// @param moved      receives the bytes written
/// @param overlapped null
/// @return TRUE: all are written
/// @return FALSE: fewer are, as on a full disk; or an argument is refused, then @p moved is untouched
CMM_API BOOL WriteFile(HANDLE file, LPCVOID data, DWORD bytes, LPDWORD moved, LPOVERLAPPED overlapped);

/// Sets the position.
/// @param distance signed, from @p origin
/// @param high     null
/// @param origin   FILE_BEGIN, FILE_CURRENT, FILE_END
/// @return the new position, at most 2^32 - 2; it may be after the file's end
/// @return INVALID_SET_FILE_POINTER: the position would be before the file's start or beyond that, or an
///         argument is refused; the position is unchanged
CMM_API DWORD SetFilePointer(HANDLE file, LONG distance, PLONG high, DWORD origin);

/// @param high null
/// @return the low 32 bits of the size
/// @return INVALID_FILE_SIZE: the size cannot be had, or an argument is refused
CMM_API DWORD GetFileSize(HANDLE file, LPDWORD high);
