// Opening files, and the table of those that are open.
#include "platform/posix/file/disk_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <new>

#include "platform/posix/core/descriptor.h"
#include "platform/posix/errors.h"

namespace platform::detail {

static_assert(sizeof(off_t) == 8, "positions need 64 bits: build with _FILE_OFFSET_BITS=64");

struct FileTableEntry {
  dev_t device;
  ino_t number;  // with the device: which file it is, whatever its names
  FileUse use;
  FileTableEntry* next;
};

namespace {

constinit std::mutex tableMutex;  // guards the list
constinit FileTableEntry* firstEntry = nullptr;

bool Forbids(const FileUse& use, const FileUse& other) noexcept {
  return (other.reads && !use.sharesReading) || (other.writes && !use.sharesWriting);
}

// Enters a file into the table. False: another use of it forbids this one, or memory is short.
bool Enter(const struct stat& status, const FileUse& use, FileTableEntryPtr& entry) noexcept {
  std::unique_ptr<FileTableEntry> made(new (std::nothrow)
                                           FileTableEntry{status.st_dev, status.st_ino, use, nullptr});
  if (made == nullptr) return false;
  const std::lock_guard lock(tableMutex);
  for (const FileTableEntry* other = firstEntry; other != nullptr; other = other->next) {
    if (other->device == made->device && other->number == made->number &&
        (Forbids(other->use, use) || Forbids(use, other->use))) {
      return false;
    }
  }
  made->next = firstEntry;
  firstEntry = made.get();
  entry.reset(made.release());
  return true;
}

// Enters an opened file and, for creation, cuts it to zero length. In this order: one that is refused keeps
// its contents. Files that are not regular have no entry, and must have positions.
bool EnterOpened(int file, const FileUse& use, bool create, FileTableEntryPtr& entry) noexcept {
  struct stat status;
  if (fstat(file, &status) != 0) return false;
  if (S_ISREG(status.st_mode)) {
    return Enter(status, use, entry) && (!create || status.st_size == 0 || ftruncate(file, 0) == 0);
  }
  return (S_ISCHR(status.st_mode) || S_ISBLK(status.st_mode)) && lseek(file, 0, SEEK_CUR) != -1;
}

}  // namespace

void LeaveFileTable::operator()(FileTableEntry* entry) const noexcept {
  {
    const std::lock_guard lock(tableMutex);
    FileTableEntry** link = &firstEntry;
    while (*link != entry) link = &(*link)->next;
    *link = entry->next;
  }
  delete entry;
}

int OpenDiskFile(const char* path, const FileUse& use, bool create, FileTableEntryPtr& entry) noexcept {
  const int access = use.writes ? use.reads ? O_RDWR : O_WRONLY : O_RDONLY;
  // Without O_NONBLOCK, opening a pipe waits for its other end.
  const int mode = O_CLOEXEC | O_NOCTTY | O_NONBLOCK | access | (create ? O_CREAT : 0);
  int file;
  do file = open(path, mode, 0666);
  while (file < 0 && errno == EINTR);
  file = BehindStandard(file);
  if (file < 0) {
    SetLastError(static_cast<DWORD>(errno));
    return -1;
  }
  if (EnterOpened(file, use, create, entry)) return file;
  SetLastError(EBUSY);  // another use of the file forbids it, or it has no positions
  entry.reset();
  close(file);
  return -1;
}

}  // namespace platform::detail
