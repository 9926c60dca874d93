#pragma once
// Files that the programs write. Every problem is thrown as a Failure with the file's name.

#include <cstdint>
#include <filesystem>
#include <string>

/// Checks all that can be checked without writing: a missing folder, a name that is too long, a file that
/// exists already.
/// @param force an existing file may be overwritten
void CheckOutput(const std::string& file, bool force);

/// Checks that a file can be written: the rights, a read-only disk. An existing file stays as it is.
void CheckWritable(const std::string& file);

/// Checks that the file's disk has room for so many bytes.
void CheckSpace(const std::string& file, double bytes);

/// A file that is being written, under a temporary name in the folder of the wanted one. The destructor
/// removes it unless it was kept.
class PartialFile {
 public:
  /// Creates it, empty.
  explicit PartialFile(const std::string& wanted);
  ~PartialFile();
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;

  std::string Name() const;  ///< the temporary name, as the library takes it
  /// Writes the finished file through to the disk and gives it the wanted name. Calls CheckOutput again
  /// before: another program may have made that file meanwhile. Owner and rights of a replaced file are kept.
  void Keep(bool force);

 private:
  const std::string name_;
  const std::filesystem::path wanted_;
  const std::filesystem::path path_;
};
