#pragma once
// What the tests of the two readers have in common.

#include <filesystem>
#include <string>

#include "tests/wavfile/wav_test.h"
#include "units/MMWavUnit.h"
#include "units/WavUnit.h"

inline Bytes With(Bytes file, std::size_t offset, std::uint32_t value, std::size_t count = 4) {
  SetNumber(file, offset, value, count);
  return file;
}

/// 8000 frames a second, 16 bits, one channel.
inline Bytes FormatChunk(std::size_t size) {
  const Bytes data = With(With(With(With(Bytes(20), 0, 0x10001), 4, 8000), 12, 2), 14, 16);
  return Chunk("fmt ", Part(data, 0, size));
}

class Reader : public WavTest {
 protected:
  const char* Given(const Bytes& file) {
    Store(given_, file);
    return given_.c_str();
  }

  /// Whether CMMWav opens the file, and the codes of the two readers.
  void Expect(const char* what, const Bytes& file, int cmmWav, int wavUnit, int mmWavUnit) {
    SCOPED_TRACE(what);
    CMMWav wav;
    EXPECT_EQ(wav.Open(Given(file)), cmmWav);
    EXPECT_EQ(strict_.OpenWFile(given_.c_str()), wavUnit);
    EXPECT_EQ(searching_.OpenWFile(given_.c_str()), mmWavUnit);
    EXPECT_EQ(WavUnit(strict_).CloseWFile(), wavUnit == 0 ? 0 : 5);
    EXPECT_EQ(MMWavUnit(searching_).CloseWFile(), mmWavUnit == 0 ? 0 : 5);
    EXPECT_EQ(strict_.PcmDataSize() + searching_.PcmDataSize(), 0u);
    EXPECT_EQ(strict_.OpenWFile(folder_.Name().c_str()) + searching_.OpenWFile("no/such.wav"), 2);
  }

  const std::string given_ = folder_.File("given.wav");
  const std::string mirror_ = folder_.File("mirror.wav");
  WavUnit strict_;  // one for all: each opening closes the source before
  MMWavUnit searching_;
};

template <class Unit>
class Mirror : public Reader {
 protected:
  void Open(const Bytes& source) { ASSERT_EQ(unit.OpenWFile(Given(source)), 0); }
  int Create() { return unit.CreateMirrorFile(mirror_.c_str()); }
  Bytes Written() { return Load(mirror_); }
  /// Its bytes cannot be read everywhere while it is open, but counted.
  std::uintmax_t WrittenSize() { return std::filesystem::file_size(mirror_); }
  static int Append(WavUnit& to, const void* data, std::uint32_t bytes) {
    return to.WriteMirrorBuf(data, bytes);
  }
  static int Append(MMWavUnit& to, const void* data, std::uint32_t bytes) {
    return to.WriteMirrorSubBuf(data, bytes);
  }

  Unit unit;
  const Bytes source_ = Riff({FormatChunk(16), Chunk("data", Pattern(1000))});
};
using Readers = testing::Types<WavUnit, MMWavUnit>;
TYPED_TEST_SUITE(Mirror, Readers);
using SubBuffer = Mirror<MMWavUnit>;
