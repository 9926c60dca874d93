#include <algorithm>

#include "platform/platform.h"
#include "tests/support/OpenFiles.h"

std::size_t OpenFiles(const std::filesystem::path& folder) {
  const std::filesystem::directory_iterator all(folder);
  return static_cast<std::size_t>(std::count_if(begin(all), end(all), [](const auto& entry) {
    // Nobody may have it to himself while somebody has it open.
    const HANDLE file =
        CreateFileW(entry.path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return true;
    CloseHandle(file);
    return false;
  }));
}
