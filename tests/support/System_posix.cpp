#include "tests/support/System.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <string>

#include "platform/posix/layer.h"

std::size_t OpenFiles(const std::filesystem::path& folder) {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::count_if(begin(all), end(all), [&](const auto& entry) {
    std::error_code ignored;
    return std::filesystem::read_symlink(entry.path(), ignored).string().starts_with(folder.string());
  }));
}

bool UseCodePage(unsigned codePage) {
  platform::SetCodePage(codePage);
  return true;
}

HWND NewComboBox() {
  return platform::CreateComboBox();
}

void DropComboBox(HWND combo) {
  platform::DestroyComboBox(combo);
}
