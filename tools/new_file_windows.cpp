#include <cwchar>
#include <utility>

#include "platform/platform.h"
#include "tools/new_file.h"

namespace fs = std::filesystem;

namespace {

class File {
 public:
  File(const fs::path& path, DWORD creation, DWORD shares = 0)
      : handle_(CreateFileW(path.c_str(), GENERIC_WRITE, shares, nullptr, creation, FILE_ATTRIBUTE_NORMAL,
                            nullptr)),
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

std::error_code LastError() {
  return {static_cast<int>(GetLastError()), std::system_category()};
}

// Tells the file, whatever name and link leads to it.
struct Identity {
  std::error_code error;
  BY_HANDLE_FILE_INFORMATION file{};
};
Identity OpenOrCreate(const fs::path& path) {
  Identity found;
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
  if (file == INVALID_HANDLE_VALUE) {
    found.error = LastError();
    return found;
  }
  if (!GetFileInformationByHandle(file, &found.file)) found.error = LastError();
  CloseHandle(file);
  return found;
}

// A mutex that only this program has says that it makes the file. A handle of the file's own would be in the
// way of the library, which opens it for itself alone.
class OwnedFile final : public NewFile {
 public:
  OwnedFile(fs::path path, HANDLE owner) : path_(std::move(path)), owner_(owner) {}
  ~OwnedFile() override { CloseHandle(owner_); }

  // A new file has got its rights from the folder, as the replaced one did unless somebody has changed them.
  std::error_code Finish() override {
    const File file(path_, OPEN_EXISTING);
    if (file.Error() || FlushFileBuffers(file.Handle())) return file.Error();
    return LastError();
  }

 private:
  const fs::path path_;
  const HANDLE owner_;
};

class OpenedFile final : public ForcedFile {
 public:
  explicit OpenedFile(const fs::path& path)
      : file(path, OPEN_EXISTING, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE) {}
  std::error_code Force() noexcept override {
    return FlushFileBuffers(file.Handle()) ? std::error_code() : LastError();
  }

  const File file;
};

}  // namespace

std::unique_ptr<NewFile> CreateNewFile(const fs::path& path, const fs::path& /*replaced*/,
                                       std::error_code& error) {
  const Identity found = OpenOrCreate(path);
  error = found.error;
  if (error.value() == ERROR_SHARING_VIOLATION) error = make_error_code(std::errc::device_or_resource_busy);
  if (error) return nullptr;
  const BY_HANDLE_FILE_INFORMATION& file = found.file;
  // One with another name may be somebody's: writing would cut it there too.
  if ((file.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 || file.nNumberOfLinks > 1) {
    error = make_error_code(std::errc::file_exists);
    return nullptr;
  }
  wchar_t name[80];
  std::swprintf(name, sizeof name / sizeof *name, L"Global\\cmmaudio-part-%08lx-%08lx-%08lx",
                file.dwVolumeSerialNumber, file.nFileIndexHigh, file.nFileIndexLow);
  const HANDLE owner = CreateMutexW(nullptr, FALSE, name);
  const bool isTaken = GetLastError() == ERROR_ALREADY_EXISTS || GetLastError() == ERROR_ACCESS_DENIED;
  if (owner != nullptr && !isTaken) return std::make_unique<OwnedFile>(path, owner);
  error = isTaken ? make_error_code(std::errc::device_or_resource_busy) : LastError();
  if (owner != nullptr) CloseHandle(owner);
  return nullptr;
}

std::error_code TryToWrite(const fs::path& path) {
  const std::error_code error = File(path, CREATE_NEW).Error();
  if (error.value() == ERROR_FILE_EXISTS) return File(path, OPEN_EXISTING).Error();
  if (!error) DeleteFileW(path.c_str());
  return error;
}

std::unique_ptr<ForcedFile> OpenForced(const fs::path& path, std::error_code& error) {
  auto opened = std::make_unique<OpenedFile>(path);
  error = opened->file.Error();
  return error ? nullptr : std::move(opened);
}
