#pragma once
// Files that the programs make. What keeps a program from it is told as a Failure, with the file's name.

#include <cstdint>
#include <filesystem>
#include <string>

/// Looks for what can be said without touching the disk: no such folder, a name that is too long, a file that
/// exists already and may not be overwritten.
/// @param force it may
void CheckOutput(const std::string& file, bool force);

/// Looks whether a file can be written in its place: the rights, a disk that is read-only. It stays as it is.
void CheckWritable(const std::string& file);

/// Looks whether the file's disk has room for so many bytes.
void CheckSpace(const std::string& file, double bytes);

/// A file that is being made, under a name of its own in the folder where it is wanted. It is gone with the
/// object unless it was kept.
class PartialFile {
 public:
  /// Creates it, empty.
  explicit PartialFile(const std::string& wanted);
  ~PartialFile();
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;

  std::string Name() const;  ///< as the library takes it
  /// Brings the finished file to the disk and gives it its wanted name, after another CheckOutput: somebody
  /// else may have made one. A file that it replaces leaves it its owner and its rights.
  void Keep(bool force);

 private:
  const std::string name_;
  const std::filesystem::path wanted_;
  const std::filesystem::path path_;
};
