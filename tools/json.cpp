#include "tools/json.h"

#include <cstdio>

namespace {

// Bytes of the well-formed UTF-8 character that begins at @p at; 0 when there is none.
std::size_t CharacterBytes(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U; };
  const unsigned first = byte(at);
  if (first < 0x80) return 1;
  const std::size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4) return 0;
  for (std::size_t i = 1; i < bytes; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return 0;
  }
  const unsigned second = byte(at + 1);  // no long forms, no surrogates, nothing beyond 0x10FFFF
  if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
      (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F)) {
    return 0;
  }
  return bytes;
}

}  // namespace

std::string JsonString(const std::string& text) {
  std::string quoted = "\"";
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t bytes = CharacterBytes(text, at);
    const auto byte = static_cast<unsigned char>(text[at]);
    if (bytes == 0 || byte < 0x20) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", unsigned{byte});
      quoted += escaped;
    } else {
      if (byte == '"' || byte == '\\') quoted += '\\';
      quoted.append(text, at, bytes);
    }
    at += bytes == 0 ? 1 : bytes;
  }
  return quoted + '"';
}
