#include "platform/platform.h"
#include "tools/paths.h"

// std::filesystem knows one separator. The second byte of a double-byte character is never one.
std::filesystem::path NativePath(const std::string& path) {
  std::string native = path;
  for (std::size_t i = 0; i < native.size(); ++i) {
    if (IsDBCSLeadByte(static_cast<BYTE>(native[i])) != FALSE) {
      ++i;
    } else if (native[i] == '\\') {
      native[i] = '/';
    }
  }
  return native;
}

std::string PathText(const std::filesystem::path& path) {
  return path.string();
}
