#pragma once
// Files that the programs take beside plain WAV files, for the fuzz targets.
#include <string>
#include <vector>

#include "fuzz/wav_files.h"

/// A chunk of a W64 file. Its identifier begins with the name; the rest is not looked at.
inline std::string W64Chunk(const char* id, const std::string& data) {
  const std::uint64_t size = data.size() + 24;
  std::string chunk = id + std::string(12, '\1');
  chunk.append(reinterpret_cast<const char*>(&size), sizeof size).append(data);
  return chunk.append((8 - size % 8) % 8, '\0');
}

inline const std::vector<std::string>& ToolSeeds() {
  static const std::vector<std::string> seeds = [] {
    const std::string format("\1\0\2\0\x40\x1F\0\0\0\x7D\0\0\4\0\x10\0", 16), sizes(28, '\2');
    const std::string law("\6\0\1\0\x40\x1F\0\0\x40\x1F\0\0\1\0\x08\0\0\0", 18), sound(600, 's');
    const std::string begin = "riff" + std::string("\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\4\xC1\0\0", 12) +
                              std::string(8, '\0') + "wave" +
                              std::string("\xF3\xAC\xD3\x11\x8C\xD1\0\xC0\x4F\x8E\xDB\x8A", 12);
    return std::vector<std::string>{
        WaveFile({1, 2, 8000, 32000, 4, 16, 0}),
        WaveFile({17, 1, 8000, 4066, 36, 4, 0}, std::string("\x41\0", 2)),
        begin + W64Chunk("fmt ", format) + W64Chunk("data", sound),
        begin + W64Chunk("fmt ", law) + W64Chunk("fact", std::string(8, '\1')) + W64Chunk("data", sound),
        Chunk("RF64", "WAVE" + Chunk("ds64", sizes) + Chunk("fmt ", law) + Chunk("data", sound)),
        "fLaC" + sound,
        "ID3" + sound};
  }();
  return seeds;
}
