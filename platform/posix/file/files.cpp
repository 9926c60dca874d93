// Files without a buffer.
#include "platform/posix/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <memory>
#include <new>

#include "platform/posix/core/handles.h"
#include "platform/posix/errors.h"
#include "platform/posix/file/disk_file.h"
#include "platform/posix/file/limits.h"
#include "platform/posix/text/codepage.h"

namespace platform::detail {
namespace {

class File final : public Object {
 public:
  ~File() override {
    if (!closed_) File::Close();
  }

  bool Close() override {
    closed_ = true;
    entry_.reset();
    return file_ < 0 || close(file_) == 0 || errno == EINTR;
  }

  bool Open(const char* path, const FileUse& use, bool create) noexcept {
    file_ = OpenDiskFile(path, use, create, entry_);
    return file_ >= 0;
  }
  int Descriptor() const noexcept { return file_; }

 private:
  int file_ = -1;  // unchanged by Close: other calls may still be reading it
  bool closed_ = false;
  FileTableEntryPtr entry_;
};

bool IsSupported(DWORD access, DWORD share, DWORD disposition, DWORD flags) {
  return access != 0 && (access & ~(GENERIC_READ | GENERIC_WRITE)) == 0 &&
         (share & ~(FILE_SHARE_READ | FILE_SHARE_WRITE)) == 0 && flags == FILE_ATTRIBUTE_NORMAL &&
         (disposition == OPEN_EXISTING || (disposition == CREATE_ALWAYS && (access & GENERIC_WRITE) != 0));
}

// Calls @p transfer until all bytes are moved, or a call moves none. False: a call has failed.
template <class Transfer>
bool MoveAll(Transfer transfer, DWORD bytes, DWORD& moved) {
  for (moved = 0; moved < bytes;) {
    const ssize_t now = transfer(moved, bytes - moved);
    if (now < 0 && errno == EINTR) continue;
    if (now < 0) SetLastError(static_cast<DWORD>(errno));
    if (now <= 0) return now == 0;
    moved += static_cast<DWORD>(now);
  }
  return true;
}

}  // namespace
}  // namespace platform::detail

using namespace platform::detail;

HANDLE CreateFileA(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD disposition,
                   DWORD flags, HANDLE model) try {
  char path[PATH_MAX];
  if (security != nullptr || model != nullptr || !IsSupported(access, share, disposition, flags) ||
      !NativePath(name, path, sizeof(path))) {
    return INVALID_HANDLE_VALUE;
  }
  const FileUse use = {(access & GENERIC_READ) != 0, (access & GENERIC_WRITE) != 0,
                       (share & FILE_SHARE_READ) != 0, (share & FILE_SHARE_WRITE) != 0};
  const auto file = std::make_shared<File>();
  const HANDLE handle = file->Open(path, use, disposition == CREATE_ALWAYS) ? OpenHandle(file) : nullptr;
  return handle != nullptr ? handle : INVALID_HANDLE_VALUE;
} catch (const std::bad_alloc&) {
  return INVALID_HANDLE_VALUE;
}

BOOL ReadFile(HANDLE handle, LPVOID data, DWORD bytes, LPDWORD moved, LPOVERLAPPED overlapped) {
  const auto file = FindObject<File>(handle);
  if (!file || moved == nullptr || overlapped != nullptr) return FALSE;
  const auto transfer = [&](DWORD done, DWORD left) {
    return read(file->Descriptor(), static_cast<char*>(data) + done, left);
  };
  return MoveAll(transfer, bytes, *moved) ? TRUE : FALSE;
}

BOOL WriteFile(HANDLE handle, LPCVOID data, DWORD bytes, LPDWORD moved, LPOVERLAPPED overlapped) {
  const auto file = FindObject<File>(handle);
  if (!file || moved == nullptr || overlapped != nullptr) return FALSE;
  const auto transfer = [&](DWORD done, DWORD left) {
    return write(file->Descriptor(), static_cast<const char*>(data) + done, left);
  };
  return MoveAll(transfer, bytes, *moved) && *moved == bytes ? TRUE : FALSE;
}

DWORD SetFilePointer(HANDLE handle, LONG distance, PLONG high, DWORD origin) {
  constexpr int kOrigins[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  const auto file = FindObject<File>(handle);
  if (!file || high != nullptr || origin > FILE_END) return INVALID_SET_FILE_POINTER;
  const off_t before = lseek(file->Descriptor(), 0, SEEK_CUR);
  const off_t position = lseek(file->Descriptor(), distance, kOrigins[origin]);
  if (position > kLastPosition) {
    lseek(file->Descriptor(), before, SEEK_SET);
    return INVALID_SET_FILE_POINTER;
  }
  return static_cast<DWORD>(position);
}

DWORD GetFileSize(HANDLE handle, LPDWORD high) {
  const auto file = FindObject<File>(handle);
  struct stat status;
  if (!file || high != nullptr || fstat(file->Descriptor(), &status) != 0) return INVALID_FILE_SIZE;
  return static_cast<DWORD>(status.st_size);
}
