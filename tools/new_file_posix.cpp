#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "tools/new_file.h"

namespace fs = std::filesystem;

namespace {

std::error_code LastError() {
  return {errno, std::system_category()};
}

class File {
 public:
  File(const fs::path& path, int flags, mode_t mode = 0)
      : number_(open(path.c_str(), flags | O_CLOEXEC, mode)) {}
  ~File() {
    if (number_ >= 0) close(number_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool IsOpen() const { return number_ >= 0; }
  int Number() const { return number_; }

 private:
  const int number_;
};

// Where the system refuses, the file has fewer readers, not more.
void CopyRights(const File& file, const struct stat& from) {
  mode_t mode = from.st_mode & 07777;
  const bool sameGroup = fchown(file.Number(), from.st_uid, from.st_gid) == 0 ||
                         fchown(file.Number(), static_cast<uid_t>(-1), from.st_gid) == 0;
  if (!sameGroup) mode &= ~static_cast<mode_t>(S_IRWXG);
  [[maybe_unused]] const int ignored = fchmod(file.Number(), mode);
}

// False when another program has the lock. Where the disk knows no locks, all go on without.
bool Lock(const File& file) {
  return flock(file.Number(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

// Whether the file still has its name: between opening and locking another program may have removed or renamed
// it.
bool HasName(const File& file, const fs::path& path) {
  struct stat opened, named;
  return fstat(file.Number(), &opened) == 0 && lstat(path.c_str(), &named) == 0 &&
         opened.st_dev == named.st_dev && opened.st_ino == named.st_ino;
}

// Removes what a killed program has left. It is not cut and used again: it may have other names, and rights that
// are not those of a new file.
std::error_code RemoveLeftover(const fs::path& path) {
  struct stat found;
  if (lstat(path.c_str(), &found) != 0) return errno == ENOENT ? std::error_code() : LastError();
  if (!S_ISREG(found.st_mode)) return make_error_code(std::errc::file_exists);
  const File file(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK);
  if (!file.IsOpen()) return errno == ENOENT ? std::error_code() : LastError();
  if (!Lock(file)) return make_error_code(std::errc::device_or_resource_busy);
  if (!HasName(file, path) || unlink(path.c_str()) == 0) return {};
  return LastError();
}

class LockedFile final : public NewFile {
 public:
  LockedFile(const fs::path& path, fs::path replaced, mode_t mode)
      : file(path, O_WRONLY | O_CREAT | O_EXCL, mode), replaced_(std::move(replaced)) {}

  std::error_code Finish() override {
    struct stat old;
    if (stat(replaced_.c_str(), &old) == 0) CopyRights(file, old);
    return fsync(file.Number()) == 0 ? std::error_code() : LastError();
  }

  const File file;

 private:
  const fs::path replaced_;
};

class OpenedFile final : public ForcedFile {
 public:
  explicit OpenedFile(const fs::path& path) : file(path, O_WRONLY) {}
  std::error_code Force() noexcept override {
    return fdatasync(file.Number()) == 0 ? std::error_code() : LastError();
  }

  const File file;
};

}  // namespace

std::unique_ptr<NewFile> CreateNewFile(const fs::path& path, const fs::path& replaced,
                                       std::error_code& error) {
  struct stat old;
  const mode_t mode = stat(replaced.c_str(), &old) == 0 ? 0600 : 0666;
  error.clear();
  // Each further round means that another program has made or removed the file in between.
  for (int round = 0; round < 10; ++round) {
    auto made = std::make_unique<LockedFile>(path, replaced, mode);
    if (made->file.IsOpen()) {
      if (!Lock(made->file)) break;  // taken for a leftover by another program that wants to make it
      if (HasName(made->file, path)) return made;
      continue;
    }
    error = errno == EEXIST ? RemoveLeftover(path) : LastError();
    if (error) return nullptr;
  }
  error = make_error_code(std::errc::device_or_resource_busy);
  return nullptr;
}

std::error_code TryToWrite(const fs::path& path) {
  if (File(path, O_WRONLY | O_CREAT | O_EXCL, 0666).IsOpen()) {
    unlink(path.c_str());
    return {};
  }
  if (errno != EEXIST) return LastError();
  // With O_CREAT for a link whose file does not exist yet.
  return File(path, O_WRONLY | O_CREAT, 0666).IsOpen() ? std::error_code() : LastError();
}

std::unique_ptr<ForcedFile> OpenForced(const fs::path& path, std::error_code& error) {
  auto opened = std::make_unique<OpenedFile>(path);
  if (opened->file.IsOpen()) return opened;
  error = LastError();
  return nullptr;
}
