#pragma once
// What the programs ask of the system about files that they make.

#include <filesystem>
#include <system_error>

/// Creates an empty file under a name that is free. Nobody may read it who may not read the file that it is
/// to replace, if there is one.
std::error_code CreateNewFile(const std::filesystem::path& path, const std::filesystem::path& replaced);

/// Brings a finished file to the disk. It gets the owner and the rights of the file that it is to replace, as
/// far as the system lets this user give them.
std::error_code SettleNewFile(const std::filesystem::path& path, const std::filesystem::path& replaced);

/// Whether a file can be written. It stays as it is; one that does not exist is made and removed again.
std::error_code TryToWrite(const std::filesystem::path& path);
