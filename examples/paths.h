#pragma once
// A file's path as std::filesystem takes it.

#include <filesystem>
#include <string>

#include "platform/platform.h"

/// The library takes '/' and '\' as separators on every system; std::filesystem only the system's own. The
/// second byte of a double-byte character is never one.
inline std::filesystem::path NativePath(std::string path) {
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (IsDBCSLeadByte(static_cast<BYTE>(path[i])) != FALSE) {
      ++i;
    } else if (path[i] == '\\') {
      path[i] = '/';
    }
  }
  return path;
}
