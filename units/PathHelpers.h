#pragma once
/// @file
/// Takes paths apart: into directory and file name, and a name into stem and extension.
///
/// @code
///   char directory[MAX_PATH];
///   char stem[MAX_PATH];
///   DividePath(directory, "C:\\takes\\a.wav");                        // C:\takes
///   DivideFileName(stem, GetFileNamefromPass("C:\\takes\\a.wav"));  // a
/// @endcode
///
/// Strings are in the system's code page, where a character may take two bytes and the second one may look
/// like a separator; it is never taken for one. Lengths have no limit. No pointer may be null.
///
/// Threads: any, at any time.

#include <cstdint>

#include "platform/export.h"

/// @addtogroup units
/// @{

/// Finds the file name of a path: what follows the last '\', '/' or ':'.
/// @param path the caller's
/// @return a pointer into @p path: to its terminator when it ends with a separator, @p path itself without
///         one
CMM_API char* GetFileNamefromPass(char* path);
/// @copydoc GetFileNamefromPass(char*)
CMM_API const char* GetFileNamefromPass(const char* path);

/// Copies the directory of a path: what precedes the last '\', '/' or ':', without that separator.
/// @param out  the caller's, with room for the complete path and its terminator; receives an empty string
///             when the path has no separator
/// @param path the path
/// @return 1
CMM_API std::int32_t DividePath(char* out, const char* path);

/// Copies a name without its extension: what precedes the last '.'. Separators mean nothing here, so the '.'
/// of a directory counts too: "c.d\e" gives "c".
/// @param out  the caller's, with room for the complete name and its terminator; receives an empty string
///             when the name has no '.'
/// @param name the name
/// @return 1
CMM_API std::int32_t DivideFileName(char* out, const char* name);

/// @}
