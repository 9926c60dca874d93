#pragma once
// Names of files in the layer's code page.

#include <cstddef>

namespace platform::detail {

/// Copies a path with '\' turned to '/', but for the second byte of a double-byte character in code page 932.
/// @param size bytes at @p out
/// @return false when @p path is null, or does not fit with its terminator; @p out is then empty
bool NativePath(const char* path, char* out, std::size_t size) noexcept;

}  // namespace platform::detail
