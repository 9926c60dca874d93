#pragma once

#include <cstddef>
#include <filesystem>

/// How many of the files of a folder this process has open; on Windows those that are open at all.
std::size_t OpenFiles(const std::filesystem::path& folder);
