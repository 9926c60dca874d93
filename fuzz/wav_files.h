#pragma once
// Valid WAV files to start from, in memory but with a name, for the fuzz targets.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/platform.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

/// A file in memory that has a name.
struct MemoryFile {
  int file = memfd_create("wav", MFD_CLOEXEC);
  std::string path = "/proc/self/fd/" + std::to_string(file);

  void Set(const std::uint8_t* data, std::size_t size) const {
    if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) std::abort();
  }
};

inline void Require(bool holds) {
  if (!holds) std::abort();
}

/// Reads both ends of a buffer, so that the sanitizer sees where they lie.
inline void ReadEnds(const std::uint8_t* data, std::size_t bytes) {
  const volatile std::uint8_t* const ends = data;
  if (bytes > 0) Require(ends[0] + ends[bytes - 1] >= 0);
}

inline std::string Chunk(const char* id, const std::string& data) {
  const auto size = static_cast<std::uint32_t>(data.size());
  std::string chunk(id, 4);
  chunk.append(reinterpret_cast<const char*>(&size), sizeof(size)).append(data);
  return chunk.append(size % 2, '\0');
}

/// @param extra the bytes that a format other than PCM has after WAVEFORMATEX
inline std::string WaveFile(WAVEFORMATEX format, const std::string& extra = "") {
  format.cbSize = static_cast<WORD>(extra.size());
  const std::string bytes(reinterpret_cast<const char*>(&format), sizeof(format));
  return Chunk("RIFF", "WAVE" + Chunk("LIST", "odd") +
                           Chunk("fmt ", format.wFormatTag == 1 ? bytes.substr(0, 16) : bytes + extra) +
                           Chunk("fact", "0000") + Chunk("data", std::string(600, 's')));
}

/// Mutates, and sometimes starts again from a valid file, so that the header stays similar to a real one.
template <class Seeds>
std::size_t MutateFrom(const Seeds& seeds, std::uint8_t* data, std::size_t size, std::size_t maxSize,
                       unsigned seed) {
  if (size < 12 || seed % 64 == 0) {
    const std::string& valid = seeds[seed / 64 % seeds.size()];
    size = std::min(valid.size(), maxSize);
    std::memcpy(data, valid.data(), size);
  }
  return LLVMFuzzerMutate(data, size, maxSize);
}
