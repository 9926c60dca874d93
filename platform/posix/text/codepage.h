#pragma once
// Paths in the layer's code page, as the system takes them.

#include <cstddef>

namespace platform::detail {

/// Copies a path with '/' for every '\', except for the second byte of a double-byte character in code page
/// 932.
/// @param size bytes at @p out
/// @return true: copied
/// @return false: @p path is null, or does not fit with its terminator; @p out is empty then
bool NativePath(const char* path, char* out, std::size_t size) noexcept;

}  // namespace platform::detail
