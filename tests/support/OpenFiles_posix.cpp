#include <algorithm>

#include "tests/support/OpenFiles.h"

std::size_t OpenFiles(const std::filesystem::path& folder) {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::count_if(begin(all), end(all), [&](const auto& entry) {
    std::error_code ignored;
    return std::filesystem::read_symlink(entry.path(), ignored).string().starts_with(folder.string());
  }));
}
