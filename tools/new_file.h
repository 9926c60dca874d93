#pragma once
// Files on each system: who may read and make new ones, and when they are on the disk.

#include <filesystem>
#include <memory>
#include <system_error>

/// A file that this program alone makes, as long as the object lives. The system ends that with the program,
/// however it ends: what a killed one has left is nobody's.
class NewFile {
 public:
  NewFile() = default;
  virtual ~NewFile() = default;
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  /// Writes the finished file through to the disk, with the owner and the rights of the file that it is to
  /// replace, as far as the system lets this user give them.
  virtual std::error_code Finish() = 0;
};

/// Creates a file, in place of one that a killed program has left. When it is to replace a file, only this
/// user may read it until Finish. It may be cut and written by its name.
/// @param error receives why there is none:
///              device_or_resource_busy when another program makes it now,
///              file_exists when the name is that of a link, a folder or a device, which stays
/// @return null on failure
std::unique_ptr<NewFile> CreateNewFile(const std::filesystem::path& path,
                                       const std::filesystem::path& replaced, std::error_code& error);

/// Whether a file can be written. It stays as it is; one that does not exist is made and removed again.
std::error_code TryToWrite(const std::filesystem::path& path);

/// A file that others write, opened once more.
class ForcedFile {
 public:
  ForcedFile() = default;
  virtual ~ForcedFile() = default;
  ForcedFile(const ForcedFile&) = delete;
  ForcedFile& operator=(const ForcedFile&) = delete;

  /// Waits until all that has been written is on the disk. Any thread may call it.
  virtual std::error_code Force() noexcept = 0;
};

/// @param error receives why there is none
/// @return null on failure
std::unique_ptr<ForcedFile> OpenForced(const std::filesystem::path& path, std::error_code& error);
