#pragma once
// Opening files, and the rules by which one process may have the same file open twice.

#include <memory>

namespace platform::detail {

/// What an open file is used for, and what others may use the same file for meanwhile.
struct FileUse {
  bool reads;
  bool writes;
  bool sharesReading;
  bool sharesWriting;
};

struct LeaveFileTable {
  void operator()(struct FileTableEntry* entry) const noexcept;
};
/// An open file's entry in the process's table of files, which is left before the descriptor is closed. Files
/// of other processes are not in the table.
using FileTableEntryPtr = std::unique_ptr<struct FileTableEntry, LeaveFileTable>;

/// Opens a file that has positions: a folder, a pipe, a socket or a terminal has none.
/// @param path   native
/// @param create makes the file, or cuts an existing one to zero length; for writing only
/// @param entry  receives the file's entry in the table
/// @return the descriptor
/// @return -1: it cannot be opened, or another use of it in this process forbids it; an existing file keeps
///         its contents
int OpenDiskFile(const char* path, const FileUse& use, bool create, FileTableEntryPtr& entry) noexcept;

}  // namespace platform::detail
