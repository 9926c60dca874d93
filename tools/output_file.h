#pragma once
// Files that the programs write. Every problem is thrown as a Failure with the file's name.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "tools/new_file.h"

/// Checks all that can be checked without writing: a missing folder, a name that is too long, a file that
/// exists already.
/// @param force an existing file may be overwritten
void CheckOutput(const std::string& file, bool force);

/// Checks that a file can be written: the rights, a read-only disk. An existing file stays as it is.
void CheckWritable(const std::string& file);

/// Checks that the file's disk has room for so many bytes.
void CheckSpace(const std::string& file, double bytes);

/// A file that is being written, beside the wanted one and under its name with ".part" behind it. The
/// destructor removes it unless it was kept. One that a killed program has left is replaced; while another
/// program writes it, the constructor fails.
class PartialFile {
 public:
  /// Creates it, empty or to be cut by who writes it.
  /// @param suffix another ending, for a second file beside the same one
  explicit PartialFile(const std::string& wanted, const char* suffix = ".part");
  ~PartialFile();
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;

  std::string Name() const;  ///< the temporary name, as the library takes it
  /// Writes the finished file through to the disk, with owner and rights of the file that it replaces. Calls
  /// CheckOutput again before: another program may have made that file meanwhile. For one of several files;
  /// Keep does it too.
  void Prepare(bool force);
  /// Gives the finished file the wanted name.
  void Keep(bool force);

 private:
  const std::string name_;
  const std::filesystem::path wanted_;
  const std::filesystem::path path_;
  std::unique_ptr<NewFile> file_;  // lives until the file has been renamed or removed
  bool isPrepared_ = false;
  bool isKept_ = false;
};
