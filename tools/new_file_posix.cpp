#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

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

}  // namespace

std::error_code CreateNewFile(const fs::path& path, const fs::path& replaced) {
  struct stat old;
  const mode_t mode = stat(replaced.c_str(), &old) == 0 ? 0600 : 0666;
  return File(path, O_WRONLY | O_CREAT | O_EXCL, mode).IsOpen() ? std::error_code() : LastError();
}

std::error_code FinishNewFile(const fs::path& path, const fs::path& replaced) {
  const File file(path, O_WRONLY);
  if (!file.IsOpen()) return LastError();
  struct stat old;
  if (stat(replaced.c_str(), &old) == 0) CopyRights(file, old);
  return fsync(file.Number()) == 0 ? std::error_code() : LastError();
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
