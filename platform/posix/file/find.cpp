// The search for a file by its name.
#include "platform/posix/find.h"

#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <new>
#include <string_view>

#include "platform/posix/core/handles.h"
#include "platform/posix/files.h"
#include "platform/posix/sync.h"
#include "platform/posix/text/codepage.h"

using namespace platform::detail;

namespace {

class Search final : public Object {};

FILETIME FileTime(const timespec& time) {
  constexpr std::int64_t kSecondsFrom1601 = 11'644'473'600;
  const auto ticks =
      static_cast<std::uint64_t>((time.tv_sec + kSecondsFrom1601) * 10'000'000 + time.tv_nsec / 100);
  return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

DWORD Attributes(const char* path, mode_t mode) {
  const DWORD directory = S_ISDIR(mode) ? FILE_ATTRIBUTE_DIRECTORY : 0;
  const DWORD readOnly = access(path, W_OK) != 0 ? FILE_ATTRIBUTE_READONLY : 0;
  return (directory | readOnly) != 0 ? directory | readOnly : FILE_ATTRIBUTE_NORMAL;
}

}  // namespace

HANDLE FindFirstFileA(LPCSTR name, LPWIN32_FIND_DATAA data) try {
  char path[PATH_MAX];
  struct stat found;
  if (data == nullptr || !NativePath(name, path, sizeof path)) return INVALID_HANDLE_VALUE;
  const std::string_view nativePath = path;
  const std::string_view last = nativePath.substr(nativePath.rfind('/') + 1);  // npos + 1 is 0
  if (last.empty() || last.size() >= MAX_PATH || stat(path, &found) != 0) return INVALID_HANDLE_VALUE;
  const HANDLE search = OpenHandle(std::make_shared<Search>());
  if (search == nullptr) return INVALID_HANDLE_VALUE;
  *data = {};
  data->dwFileAttributes = Attributes(path, found.st_mode);
  data->ftLastAccessTime = FileTime(found.st_atim);
  data->ftLastWriteTime = FileTime(found.st_mtim);
  data->nFileSizeHigh = static_cast<DWORD>(static_cast<std::uint64_t>(found.st_size) >> 32);
  data->nFileSizeLow = static_cast<DWORD>(found.st_size);
  last.copy(data->cFileName, last.size());
  return search;
} catch (const std::bad_alloc&) {
  return INVALID_HANDLE_VALUE;
}

BOOL FindClose(HANDLE search) {
  return FindObject<Search>(search) != nullptr ? CloseHandle(search) : FALSE;
}
