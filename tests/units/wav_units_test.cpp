// The two readers: what they accept, held against CMMWav; what is in a mirror, step by step.
#include "tests/units/wav_units.h"

namespace {

TEST_F(Reader, AcceptsAndRefusesShapeByShape) {
  const Bytes format = FormatChunk(16), data = Chunk("data", Pattern(100)), other = Chunk("LIST", Pattern(6));
  const Bytes plain = Riff({format, data}), finished = Load(Make(Pcm(2, 8000, 16), Pattern(400)));
  const struct {
    const char* what;
    Bytes file;
    int cmmWav, wavUnit, mmWavUnit;
  } kShapes[] = {
      {"never closed", With(With(finished, 4, 0), 52, 0), 0, 7, 2},
      {"chunk before fmt", Riff({other, format, data}), 1, 8, 0},
      {"chunk before data", Riff({format, other, data}), 1, 8, 0},
      {"fmt of 14", Riff({FormatChunk(14), data}), 0, 0, 0},
      {"fmt of 18", Riff({FormatChunk(18), data}), 1, 0, 0},
      {"fact of 8", Riff({format, Chunk("fact", Pattern(8)), data}), 1, 8, 0},
      {"RIFF size too small", With(plain, 4, Number(plain, 4) - 1), 1, 7, 0},
      {"RIFF size too large", With(plain, 4, Number(plain, 4) + 1), 1, 7, 0},
      {"38 bytes", With(Part(plain, 0, 38), 4, 30), 0, 2, 2},
      {"39 bytes", With(Part(plain, 0, 39), 4, 31), 0, 8, 2},
      {"ends after data's identifier", With(Part(plain, 0, 40), 4, 32), 0, 0, 2},
      {"not RIFF", With(plain, 0, 0), 0, 6, 2},
      {"not WAVE", Riff({format, data}, "WAVX"), 0, 8, 2},
  };
  for (const auto& shape : kShapes) {
    SCOPED_TRACE(shape.what);
    EXPECT_EQ(CMMWav().Open(Given(shape.file)), shape.cmmWav);
    EXPECT_EQ(strict_.OpenWFile(given_.c_str()), shape.wavUnit);
    EXPECT_EQ(searching_.OpenWFile(given_.c_str()), shape.mmWavUnit);
    EXPECT_EQ(strict_.CloseWFile(), shape.wavUnit == 0 ? 0 : 5);
    EXPECT_EQ(searching_.CloseWFile(), shape.mmWavUnit == 0 ? 0 : 5);
    EXPECT_EQ(strict_.PcmDataSize() + searching_.PcmDataSize(), 0u);
  }
  EXPECT_EQ(strict_.OpenWFile(Given(With(plain, 16, 0x80000010))), 8);  // not every platform's search sees it
  EXPECT_EQ(strict_.OpenWFile("no/such.wav") + searching_.OpenWFile("no/such.wav"), 2);
}

TEST_F(Reader, ComparesFormats) {
  const struct {
    std::uint16_t tag, channels;
    std::uint32_t rate;
    std::uint16_t bits;
    int strict, searching;
  } kAsked[] = {{1, 2, 8000, 12, 0, 4099},    {1, 2, 8000, 8, 4099, 0},     {3, 2, 8000, 12, 4096, 8195},
                {1, 1, 8000, 12, 4097, 8196}, {1, 2, 8001, 12, 4098, 8197}, {0, 0, 0, 0, 16390, 16390}};
  EXPECT_EQ(strict_.ChkPcmFile(0, 0, 0, 0), 0);
  EXPECT_EQ(searching_.ChkPcmFile(0, 0, 0, 0), 9);
  const std::string path = Make(Pcm(2, 8000, 12), Pattern(20));  // blocks of 2 bytes: 8 bits
  ASSERT_EQ(strict_.OpenWFile(path.c_str()) + searching_.OpenWFile(path.c_str()), 0);
  for (const auto& asked : kAsked) {
    EXPECT_EQ(strict_.ChkPcmFile(asked.tag, asked.channels, asked.rate, asked.bits), asked.strict);
    EXPECT_EQ(searching_.ChkPcmFile(asked.tag, asked.channels, asked.rate, asked.bits), asked.searching);
  }
  ASSERT_EQ(searching_.OpenWFile(Given(With(Riff({FormatChunk(16), Chunk("data", {})}), 22, 0, 2))), 0);
  EXPECT_EQ(searching_.ChkPcmFile(1, 0, 8000, 0), 4099);  // no channels have no bits
  Bytes got(1);
  EXPECT_EQ(searching_.ReadPcmData(got.data(), 0xFFFFFFFF), 2);  // more than a signed count can say
  ASSERT_EQ(strict_.OpenWFile(Given(Riff({FormatChunk(14), Chunk("data", {})}))), 0);
  EXPECT_EQ(strict_.ChkPcmFile(1, 1, 8000, 12), 0);  // bits of the file before: this one has none
}

TYPED_TEST(Mirror, GivesTheFirstResultThatApplies) {
  auto& one = this->unit;
  Bytes got(2000);
  EXPECT_EQ(one.ReadPcmData(got.data(), 0), 9);
  EXPECT_EQ(this->Create(), 9);
  EXPECT_FALSE(std::filesystem::exists(this->mirror_));
  EXPECT_EQ(one.WriteMirrorBuf("x", 1), 16);
  EXPECT_EQ(one.CloseWFile() + one.CloseMFile(), 5 + 5);
  this->Open(this->source_);
  EXPECT_EQ(one.CreateMirrorFile("no/such/folder.wav"), 17);
  EXPECT_EQ(one.CreateMirrorFile(this->given_.c_str()), 17);
  EXPECT_EQ(Load(this->given_), this->source_);  // a mirror never cuts its source
  ASSERT_EQ(this->Create(), 0);
  EXPECT_EQ(one.PcmDataSize(), 999u);
  // All but 999 bytes are the header, which takes the first sample byte of an odd count along.
  EXPECT_EQ(std::filesystem::file_size(this->mirror_), 45u);
  EXPECT_EQ(one.ReadPcmData(got.data(), 1000), this->kReportsShortReads ? 2 : 0);
  EXPECT_EQ(Part(got, 0, 999), Part(this->source_, 45, 999));
  EXPECT_EQ(one.CloseWFile(), this->kReportsShortReads ? 5 : 0);
  EXPECT_EQ(this->Create(), 4);
  EXPECT_EQ(one.OpenWFile(this->mirror_.c_str()), 1);  // nobody reads an open mirror
  EXPECT_EQ(one.WriteMirrorBuf(got.data(), 999), 0);
  EXPECT_EQ(this->Written(), this->source_);
}

TEST_F(SubBuffer, IsWrittenWhenAPieceWouldFillIt) {
  constexpr std::uint32_t kFlush = 0xFFFFFFFF;
  const struct {
    std::uint32_t piece, onDisk;
  } kSteps[] = {{4000, 0},      {4000, 0},     {4000, 8000}, {kFlush, 12000}, {4096, 12000}, {4096, 16096},
                {4095, 16096},  {8192, 24287}, {0, 32479},   {1, 32479},      {8193, 40673}, {100, 40673},
                {20000, 60773}, {8191, 60773}, {1, 68964},   {kFlush, 68965}};
  const Bytes data = Pattern(20000);
  EXPECT_EQ(unit.WriteMirrorSubBuf(data.data(), 1), 16);
  Open(source_);
  ASSERT_EQ(Create(), 0);
  Bytes expected = Part(source_, 0, 45);
  for (const auto& [piece, onDisk] : kSteps) {
    const std::uint32_t bytes = piece == kFlush ? 0 : piece;
    EXPECT_EQ(piece == kFlush ? unit.WriteFlushSubBuf() : unit.WriteMirrorSubBuf(data.data(), bytes), 0);
    expected = Join({expected, Part(data, 0, bytes)});
    EXPECT_EQ(std::filesystem::file_size(mirror_), 45 + onDisk);
  }
  EXPECT_EQ(unit.WriteFlushSubBuf(), 16);
  unit.WriteMirrorSubBuf("ef", 2);
  EXPECT_EQ(unit.WriteMirrorBuf("cd", 2), 0);
  EXPECT_EQ(Written(), Join({expected, {'c', 'd', 'e', 'f'}}));
}

}  // namespace
