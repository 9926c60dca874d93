#pragma once
/// @file
/// Looking for a file by its name.

#include "platform/posix/types.h"

inline constexpr std::size_t MAX_PATH = 260;

inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x00000001;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x00000010;

/// Units of 100 ns since the beginning of 1601, UTC; 0: not known.
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

/// What a search has found.
struct WIN32_FIND_DATAA {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;  ///< not known here
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  char cFileName[MAX_PATH];     ///< without its directory
  char cAlternateFileName[14];  ///< empty
};
static_assert(sizeof(WIN32_FIND_DATAA) == 320, "the published record");
using LPWIN32_FIND_DATAA = WIN32_FIND_DATAA*;

/// Looks for a file or directory. '*' and '?' are characters like others, as file names may hold them here.
/// @param name no separator at its end
/// @return a handle, for FindClose; INVALID_HANDLE_VALUE when there is none such, and @p data is untouched
CMM_API HANDLE FindFirstFileA(LPCSTR name, LPWIN32_FIND_DATAA data);

/// @return TRUE; FALSE for what is no open search
CMM_API BOOL FindClose(HANDLE search);
