#include "tests/support/System.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

std::size_t OpenFiles(const std::filesystem::path& folder) {
  const std::filesystem::directory_iterator all(folder);
  return static_cast<std::size_t>(std::count_if(begin(all), end(all), [](const auto& entry) {
    // It cannot be opened without sharing while it is open.
    const HANDLE file =
        CreateFileW(entry.path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return true;
    CloseHandle(file);
    return false;
  }));
}

bool UseCodePage(unsigned codePage) {
  // A run for a certain code page names it here, so that no test is skipped unnoticed.
  if (const char* const expected = std::getenv("CMM_CODE_PAGE")) {
    EXPECT_EQ(std::to_string(GetACP()), expected);
  }
  return codePage == 0 || codePage == GetACP();
}

HWND NewComboBox() {
  return CreateWindowExA(0, "COMBOBOX", "", WS_CHILD | CBS_DROPDOWNLIST | CBS_HASSTRINGS, 0, 0, 0, 0,
                         HWND_MESSAGE, nullptr, nullptr, nullptr);
}

void DropComboBox(HWND combo) {
  DestroyWindow(combo);
}
