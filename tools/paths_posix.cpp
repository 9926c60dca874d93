#include <dirent.h>

#include <cerrno>
#include <memory>
#include <string_view>
#include <system_error>

#include "platform/platform.h"
#include "tools/paths.h"

namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

}  // namespace

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

// Not with a directory_iterator, which ends the program when memory is short.
std::vector<std::filesystem::path> PathsIn(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> paths;
  const std::unique_ptr<DIR, CloseFolder> opened(opendir(folder.c_str()));
  errno = opened ? 0 : errno;
  while (const dirent* const entry = opened ? readdir(opened.get()) : nullptr) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") paths.push_back(folder / name);
    errno = 0;
  }
  if (errno == 0) return paths;
  throw std::filesystem::filesystem_error("cannot read the folder", folder,
                                          std::error_code(errno, std::generic_category()));
}
