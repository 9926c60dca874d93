#pragma once
// What tests ask of the system outside the published calls.

#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "platform/platform.h"

/// How many of the files of a folder this process has open; on Windows those that are open at all.
std::size_t OpenFiles(const std::filesystem::path& folder);

/// Has the process take names and texts in this code page; 0 is what it begins with.
/// @return false when it cannot: on Windows a process keeps the one that it begins with
bool UseCodePage(unsigned codePage);

HWND NewComboBox();
void DropComboBox(HWND combo);
