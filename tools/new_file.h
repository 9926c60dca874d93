#pragma once
// New files on each system: who may read them, and when they are on the disk.

#include <filesystem>
#include <system_error>

/// Creates an empty file under a name that is free. When it is to replace a file, only this user may read it
/// until FinishNewFile.
std::error_code CreateNewFile(const std::filesystem::path& path, const std::filesystem::path& replaced);

/// Writes a finished file through to the disk, with the owner and the rights of the file that it is to
/// replace, as far as the system lets this user give them.
std::error_code FinishNewFile(const std::filesystem::path& path, const std::filesystem::path& replaced);

/// Whether a file can be written. It stays as it is; one that does not exist is made and removed again.
std::error_code TryToWrite(const std::filesystem::path& path);
