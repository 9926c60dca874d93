#pragma once
// What the tests of CMMWav have in common.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/TempFolder.h"
#include "tests/support/files.h"
#include "wavfile/CMMWav.h"

namespace test {

inline WAVEFORMATEX Pcm(int channels, int rate, int bits) {
  return {77,  // the tag, and block and byte rate further down, are the class's own business
          static_cast<WORD>(channels),
          static_cast<DWORD>(rate),
          12345,
          999,
          static_cast<WORD>(bits),
          0};
}

inline std::uint32_t Number(const Bytes& file, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) value = value << 8 | static_cast<std::uint8_t>(file.at(offset + i));
  return value;
}

inline void SetNumber(Bytes& file, std::size_t offset, std::uint32_t value, std::size_t count = 4) {
  for (std::size_t i = 0; i < count; ++i) file.at(offset + i) = static_cast<char>(value >> (8 * i));
}

class WavTest : public testing::Test {
 protected:
  /// Writes bytes at once, expecting all to be taken.
  static void Write(CMMWav& wav, const Bytes& bytes) {
    std::uint32_t taken = 99;
    ASSERT_EQ(wav.Write(static_cast<std::uint32_t>(bytes.size()), bytes.data(), &taken), 1);
    ASSERT_EQ(taken, bytes.size());
  }
  /// Reads up to that many bytes; empty, with a failure, when Read fails.
  static Bytes Read(CMMWav& wav, std::uint32_t count) {
    Bytes bytes(count);
    std::uint32_t delivered = 99;
    EXPECT_EQ(wav.Read(count, bytes.data(), &delivered), 1);
    bytes.resize(delivered);
    return bytes;
  }
  /// A finished file with that data.
  std::string Make(const WAVEFORMATEX& format, const Bytes& data, const std::string& name = "a.wav") {
    CMMWav wav;
    EXPECT_EQ(wav.Open(format, name.c_str(), folder_.Path().c_str()), 1);
    Write(wav, data);
    EXPECT_EQ(wav.Close(0), 1);
    return folder_.File(name);
  }
  /// Whether bytes as a file open for reading.
  bool Opens(CMMWav& wav, const Bytes& file) {
    const std::string path = folder_.File("given.wav");
    Store(path, file);
    return wav.Open(path.c_str(), nullptr) == 1;
  }

  TempFolder folder_;
};

}  // namespace test
