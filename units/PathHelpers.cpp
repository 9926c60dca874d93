#include "units/PathHelpers.h"

#include <cstddef>

#include "platform/platform.h"

namespace {

constexpr bool IsSeparator(char c) {
  return c == '\\' || c == '/' || c == ':';
}
constexpr bool IsExtensionMark(char c) {
  return c == '.';
}

/// @return the last character that is a mark; null when there is none. No lead byte is a mark, and CharNextA
/// skips the byte after it
const char* FindLast(const char* text, bool (*isMark)(char)) {
  const char* last = nullptr;
  for (; *text != '\0'; text = CharNextA(text)) {
    if (isMark(*text)) last = text;
  }
  return last;
}

std::int32_t CopyUpToLast(char* out, const char* text, bool (*isMark)(char)) {
  const char* const last = FindLast(text, isMark);
  const std::size_t cut = last != nullptr ? static_cast<std::size_t>(last - text) : 0;
  _mbsnbcpy(reinterpret_cast<unsigned char*>(out), reinterpret_cast<const unsigned char*>(text), cut);
  out[cut] = '\0';
  return 1;
}

}  // namespace

const char* GetFileNamefromPass(const char* path) {
  const char* const last = FindLast(path, IsSeparator);
  return last != nullptr ? last + 1 : path;
}

char* GetFileNamefromPass(char* path) {
  return const_cast<char*>(GetFileNamefromPass(static_cast<const char*>(path)));
}

std::int32_t DividePath(char* out, const char* path) {
  return CopyUpToLast(out, path, IsSeparator);
}

std::int32_t DivideFileName(char* out, const char* name) {
  return CopyUpToLast(out, name, IsExtensionMark);
}
