#pragma once
// A file's path as the library takes it, and as std::filesystem does.

#include <filesystem>
#include <string>
#include <vector>

/// The library takes '/' and '\' as separators on every system, and names in the system's code page.
std::filesystem::path NativePath(const std::string& path);

/// The reverse: the name of that file for the library.
std::string PathText(const std::filesystem::path& path);

/// All that is in a folder. Throws a std::filesystem::filesystem_error.
std::vector<std::filesystem::path> PathsIn(const std::filesystem::path& folder);
