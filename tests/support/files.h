#pragma once
// Files for tests: complete contents, and the numbers in them.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"

namespace test {

using Bytes = std::vector<char>;

template <class Byte = char>
std::vector<Byte> Load(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::vector<Byte>(std::istreambuf_iterator<char>(file), {});
}

inline void Store(const std::string& path, const Bytes& bytes) {
  std::ofstream(path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

/// Writes a WAV file with exactly these format bytes.
/// @param frames for the "fact" chunk
template <class Element, class Sample>
void StoreWav(const std::string& path, const std::vector<Element>& format, const std::vector<Sample>& data,
              std::uint32_t frames) {
  std::ofstream file(path, std::ios::binary);
  const auto number = [&](std::size_t value) {
    const auto narrow = static_cast<std::uint32_t>(value);
    file.write(reinterpret_cast<const char*>(&narrow), sizeof narrow);
  };
  const auto chunk = [&](const char* id, const auto* content, std::size_t bytes) {
    file.write(id, 4);
    number(bytes);
    file.write(reinterpret_cast<const char*>(content), static_cast<std::streamsize>(bytes));
    if (bytes % 2) file.put(0);
  };
  const std::size_t formatBytes = format.size() * sizeof(Element);
  const std::size_t dataBytes = data.size() * sizeof(Sample);
  file << "RIFF";
  number(4 + 8 + formatBytes + 12 + 8 + dataBytes + dataBytes % 2);
  file << "WAVE";
  chunk("fmt ", format.data(), formatBytes);
  chunk("fact", &frames, sizeof frames);
  chunk("data", data.data(), dataBytes);
}

/// Pseudo-random bytes, so that an offset error shows.
inline Bytes Pattern(std::size_t count, std::uint32_t seed = 1) {
  Bytes bytes(count);
  for (char& byte : bytes) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<char>(seed >> 24);
  }
  return bytes;
}

/// At most @p count bytes from an offset on.
inline Bytes Part(const Bytes& bytes, std::size_t from, std::size_t count) {
  from = std::min(from, bytes.size());
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
  return Bytes(begin, begin + static_cast<std::ptrdiff_t>(std::min(count, bytes.size() - from)));
}

inline std::uint32_t Number(const Bytes& file, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<std::uint8_t>(file.at(offset + i));
  return value;
}

inline void SetNumber(Bytes& file, std::size_t offset, std::uint32_t value, std::size_t count = 4) {
  for (std::size_t i = 0; i < count; ++i) file.at(offset + i) = static_cast<char>(value >> (8 * i));
}

}  // namespace test
