#pragma once
// New descriptors and the standard ones.

#include <fcntl.h>
#include <unistd.h>

namespace platform::detail {

/// Moves a new descriptor behind those of standard input, output and error. A host that has closed one of
/// these must not find a file of the layer in its place, and write into it.
/// @param file  closed on exec, as the result is; -1 passes
/// @return -1 when there is no other descriptor; @p file is closed then
inline int BehindStandard(int file) noexcept {
  if (file < 0 || file > STDERR_FILENO) return file;
  const int moved = fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  close(file);
  return moved;
}

}  // namespace platform::detail
