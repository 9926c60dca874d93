#pragma once
/// @file
/// Takes paths apart: strings in the system's code page, where a character may take two bytes and the second
/// one may look like a separator. No pointer may be null. Lengths have no limit. Any thread.

#include <cstdint>

#include "platform/export.h"

/// The file name of a path: what stands behind the last '\', '/' or ':'.
/// @return a pointer into @p path: at its terminator when it ends with a separator, @p path without one
CMM_API char* GetFileNamefromPass(char* path);
CMM_API const char* GetFileNamefromPass(const char* path);

/// Copies the directory of a path: what stands before the last '\', '/' or ':', without that separator.
/// @param out room for the whole path; an empty string when the path has no separator
/// @return 1
CMM_API std::int32_t DividePath(char* out, const char* path);

/// Copies a name without its extension: what stands before the last '.'. Separators mean nothing here, so the
/// '.' of a directory counts too: of "c.d\e" it makes "c".
/// @param out room for the whole name; an empty string when the name has no '.'
/// @return 1
CMM_API std::int32_t DivideFileName(char* out, const char* name);
