#pragma once
// What the tests of the two readers have in common.

#include <filesystem>
#include <string>
#include <type_traits>

#include "tests/wavfile/wav_test.h"
#include "units/MMWavUnit.h"
#include "units/WavUnit.h"

class Reader : public WavTest {
 protected:
  const char* Given(const Bytes& file) {
    Store(given_, file);
    return given_.c_str();
  }

  const std::string given_ = folder_.File("given.wav");
  const std::string mirror_ = folder_.File("mirror.wav");
  WavUnit strict_;  // one for all: each opening closes the source before
  MMWavUnit searching_;
};

template <class Unit>
class Mirror : public Reader {
 protected:
  static constexpr bool kReportsShortReads = std::is_same_v<Unit, MMWavUnit>;

  void Open(const Bytes& source) { ASSERT_EQ(unit.OpenWFile(Given(source)), 0); }
  int Create() { return unit.CreateMirrorFile(mirror_.c_str()); }
  /// Closes both. @return what is in the mirror
  Bytes Written() {
    unit.CloseWFile();
    EXPECT_EQ(unit.CloseMFile(), 0);
    return Load(mirror_);
  }

  Unit unit;
  const Bytes source_ = Riff({FormatChunk(16), Chunk("data", Pattern(999))});  // odd: with a pad byte
};
using Readers = testing::Types<WavUnit, MMWavUnit>;
TYPED_TEST_SUITE(Mirror, Readers);
using SubBuffer = Mirror<MMWavUnit>;
