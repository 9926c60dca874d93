#include "platform/platform.h"
#include "tools/new_file.h"

namespace fs = std::filesystem;

namespace {

class File {
 public:
  File(const fs::path& path, DWORD creation)
      : handle_(
            CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, creation, FILE_ATTRIBUTE_NORMAL, nullptr)),
        error_(handle_ != INVALID_HANDLE_VALUE ? 0 : static_cast<int>(GetLastError()),
               std::system_category()) {}
  ~File() {
    if (!error_) CloseHandle(handle_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  HANDLE Handle() const { return handle_; }
  std::error_code Error() const { return error_; }

 private:
  const HANDLE handle_;
  const std::error_code error_;
};

}  // namespace

// A new file gets its rights from the folder, as the replaced one did unless somebody has changed them.
std::error_code CreateNewFile(const fs::path& path, const fs::path& /*replaced*/) {
  return File(path, CREATE_NEW).Error();
}

std::error_code FinishNewFile(const fs::path& path, const fs::path& /*replaced*/) {
  const File file(path, OPEN_EXISTING);
  if (file.Error() || FlushFileBuffers(file.Handle())) return file.Error();
  return {static_cast<int>(GetLastError()), std::system_category()};
}

std::error_code TryToWrite(const fs::path& path) {
  const std::error_code error = File(path, CREATE_NEW).Error();
  if (error.value() == ERROR_FILE_EXISTS) return File(path, OPEN_EXISTING).Error();
  if (!error) DeleteFileW(path.c_str());
  return error;
}
