// std::filesystem may read narrow names in another code page than the library; wide names are unambiguous.

#include "platform/platform.h"
#include "tools/paths.h"

std::filesystem::path NativePath(const std::string& path) {
  const int bytes = static_cast<int>(path.size());
  const int count = MultiByteToWideChar(CP_ACP, 0, path.data(), bytes, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(count), L'\0');
  MultiByteToWideChar(CP_ACP, 0, path.data(), bytes, wide.data(), count);
  return wide;
}

std::string PathText(const std::filesystem::path& path) {
  const std::wstring& wide = path.native();
  const int count = static_cast<int>(wide.size());
  const int bytes = WideCharToMultiByte(CP_ACP, 0, wide.data(), count, nullptr, 0, nullptr, nullptr);
  std::string text(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_ACP, 0, wide.data(), count, text.data(), bytes, nullptr, nullptr);
  return text;
}

std::vector<std::filesystem::path> PathsIn(const std::filesystem::path& folder) {
  const std::filesystem::directory_iterator first(folder);
  return {first, std::filesystem::directory_iterator()};
}
