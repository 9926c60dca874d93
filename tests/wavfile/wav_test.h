#pragma once
// What the tests of CMMWav have in common.

#include <gtest/gtest.h>

#include <string>

#include "tests/support/files.h"
#include "wavfile/CMMWav.h"

using test::Bytes;
using test::Load;
using test::Number;
using test::Part;
using test::Pattern;
using test::SetNumber;
using test::Store;

inline WAVEFORMATEX Pcm(int channels, int rate, int bits) {
  // Tag, byte rate and block are the class's own business; the extra size is kept.
  return {77, static_cast<WORD>(channels), static_cast<DWORD>(rate), 12345, 999, static_cast<WORD>(bits), 22};
}

inline Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

/// The file with one number changed.
inline Bytes With(Bytes file, std::size_t offset, std::uint32_t value, std::size_t count = 4) {
  SetNumber(file, offset, value, count);
  return file;
}

inline Bytes Chunk(const std::string& id, const Bytes& data) {
  Bytes chunk(id.begin(), id.end());
  chunk.resize(8);
  SetNumber(chunk, 4, static_cast<std::uint32_t>(data.size()));
  return Join({chunk, data, Bytes(data.size() % 2)});
}

inline Bytes Riff(std::initializer_list<Bytes> chunks, const std::string& form = "WAVE") {
  return Chunk("RIFF", Join({Bytes(form.begin(), form.end()), Join(chunks)}));
}

/// A format chunk cut or filled up to a size, of PCM: 8000 frames a second, 16 bits, one channel.
inline Bytes FormatChunk(std::size_t size, std::uint32_t tag = 1) {
  Bytes data = With(With(With(With(Bytes(20), 0, tag | 0x10000), 4, 8000), 8, 16000), 12, 0x100002);
  data.resize(size);
  return Chunk("fmt ", data);
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
    EXPECT_EQ(wav.Open(format, name.c_str(), folder_.Name().c_str()), 1);
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
  CMMWav wav_;
  std::uint32_t count_ = 99;  ///< of bytes moved; a call that fails at once leaves it
};
