#pragma once
/// @file
/// Looking for a file by its name, under the published names. Any thread.

#include "platform/posix/types.h"

inline constexpr std::size_t MAX_PATH = 260;

inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x00000001;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x00000010;

/// A time in steps of 100 ns since the beginning of 1601, UTC; 0: not known.
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

/// What a search has found.
struct WIN32_FIND_DATAA {
  DWORD dwFileAttributes;   ///< FILE_ATTRIBUTE_...
  FILETIME ftCreationTime;  ///< not known here
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;  ///< upper 32 bits of the size in bytes
  DWORD nFileSizeLow;   ///< lower 32 bits
  DWORD dwReserved0;
  DWORD dwReserved1;
  char cFileName[MAX_PATH];     ///< without its directory
  char cAlternateFileName[14];  ///< empty
};
static_assert(sizeof(WIN32_FIND_DATAA) == 320, "the published structure");
using LPWIN32_FIND_DATAA = WIN32_FIND_DATAA*;

/// Looks for a file or directory. '*' and '?' are characters like others, as file names may have them here.
/// @param name path, as mmioOpenA takes it, without a separator at its end
/// @param data the caller's; filled in on success, untouched on failure
/// @return a handle, for FindClose
/// @return INVALID_HANDLE_VALUE: there is no such file, its name has MAX_PATH bytes or more, an argument is
///         null, or memory or handles are short
CMM_API HANDLE FindFirstFileA(LPCSTR name, LPWIN32_FIND_DATAA data);

/// Ends a search.
/// @return TRUE: ended
/// @return FALSE: no open search
CMM_API BOOL FindClose(HANDLE search);
