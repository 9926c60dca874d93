// The two readers: what they accept, held against CMMWav; what is in a mirror, step by step, and what is left
// when something fails.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <functional>
#include <memory>

#include "tests/units/wav_units.h"

namespace {

TEST_F(Reader, AcceptsAndRefusesShapeByShape) {
  const Bytes format = FormatChunk(16);
  const Bytes data = Chunk("data", Pattern(100));
  const Bytes other = Chunk("LIST", Pattern(6));
  const Bytes plain = Riff({format, data});
  const Bytes finished = Load(Make(Pcm(2, 8000, 16), Pattern(400)));
  const struct {
    const char* what;
    Bytes file;
    int cmmWav, wavUnit, mmWavUnit;
  } kShapes[] = {
      {"finished by CMMWav", finished, 1, 0, 0},
      {"never closed", With(With(finished, 4, 0), 52, 0), 0, 7, 2},
      {"no fact", plain, 1, 0, 0},
      {"chunk ahead of fmt", Riff({other, format, data}), 1, 8, 0},
      {"chunk ahead of data", Riff({format, other, data}), 1, 8, 0},
      {"data ahead of fmt", Riff({data, format}), 1, 8, 2},
      {"fmt of 14", Riff({FormatChunk(14), data}), 0, 0, 0},
      {"fmt of 18", Riff({FormatChunk(18), data}), 1, 0, 0},
      {"fmt of 20", Riff({FormatChunk(20), data}), 1, 8, 0},
      {"fmt beyond the file", With(plain, 16, 5000), 0, 8, 2},
      {"fact of 8", Riff({format, Chunk("fact", Pattern(8)), data}), 1, 8, 0},
      {"RIFF size too small", With(plain, 4, Number(plain, 4) - 1), 1, 7, 0},
      {"RIFF size too large", With(plain, 4, Number(plain, 4) + 1), 1, 7, 0},
      {"38 bytes", With(Part(plain, 0, 38), 4, 30), 0, 2, 2},
      {"39 bytes", With(Part(plain, 0, 39), 4, 31), 0, 8, 2},
      {"ends behind data's name", With(Part(plain, 0, 40), 4, 32), 0, 0, 2},
      {"not RIFF", With(plain, 0, 0), 0, 6, 2},
      {"not WAVE", Riff({format, data}, "WAVX"), 0, 8, 2},
      {"chunk ahead of RIFF", Join({other, plain}), 0, 6, 0},
  };
  for (const auto& shape : kShapes) {
    Expect(shape.what, shape.file, shape.cmmWav, shape.wavUnit, shape.mmWavUnit);
  }
}

TEST_F(Reader, ComparesFormats) {
  const struct {
    std::uint16_t tag, channels;
    std::uint32_t rate;
    std::uint16_t bits;
    int sum;
  } kAsked[] = {{1, 2, 8000, 12, 0},    {3, 2, 8000, 12, 4096}, {1, 1, 8000, 12, 4097},
                {1, 2, 8001, 12, 4098}, {1, 2, 8000, 11, 4099}, {1, 1, 8000, 11, 8196},
                {0, 0, 0, 0, 16390}};
  WavUnit strict;
  MMWavUnit searching;
  EXPECT_EQ(strict.PcmDataSize() + searching.PcmDataSize(), 0u);
  EXPECT_EQ(strict.ChkPcmFile(0, 0, 0, 0), 0);
  EXPECT_EQ(searching.ChkPcmFile(0, 0, 0, 0), 9);
  const std::string path = Make(Pcm(2, 8000, 12), Pattern(20));
  ASSERT_EQ(strict.OpenWFile(path.c_str()) + searching.OpenWFile(path.c_str()), 0);
  for (const auto& a : kAsked) {
    EXPECT_EQ(strict.ChkPcmFile(a.tag, a.channels, a.rate, a.bits), a.sum);
    // Blocks of 2 bytes for 2 channels: 8 bits.
    const auto bits = static_cast<std::uint16_t>(a.bits == 12 ? 8 : a.bits);
    EXPECT_EQ(searching.ChkPcmFile(a.tag, a.channels, a.rate, bits), a.sum);
  }
  const Bytes noChannels = With(Riff({FormatChunk(16), Chunk("data", {})}), 22, 0, 2);
  ASSERT_EQ(searching.OpenWFile(Given(noChannels)), 0);
  EXPECT_EQ(searching.ChkPcmFile(1, 0, 8000, 0), 4099);
  ASSERT_EQ(strict.OpenWFile(Given(Riff({FormatChunk(14), Chunk("data", {})}))), 0);
  strict.CloseWFile();
  EXPECT_EQ(strict.ChkPcmFile(1, 1, 8000, 12), 0);  // bits of the file before: the last one has none
}

TEST_F(Reader, ReadsToTheEndAndBeyond) {
  const Bytes data = Pattern(1000);
  const std::string path = Make(Pcm(1, 8000, 8), data);
  Bytes got(2400);
  WavUnit strict;
  ASSERT_EQ(strict.OpenWFile(path.c_str()), 0);
  for (const std::uint32_t from : {0u, 400u, 1000u}) EXPECT_EQ(strict.ReadPcmData(&got[from], from + 400), 0);
  EXPECT_EQ(got, Join({data, Bytes(1400)}));
  EXPECT_EQ(strict.ReadPcmData(nullptr, 0), 0);
  MMWavUnit searching;
  for (const std::uint32_t beyond : {1u, 0xFFFFFFFFu, 1001u}) {
    ASSERT_EQ(searching.OpenWFile(path.c_str()), 0);
    EXPECT_EQ(searching.ReadPcmData(got.data(), 0), 0);  // it stands at the end, until there is a mirror
    EXPECT_TRUE(beyond == 1 || searching.CreateMirrorFile(mirror_.c_str()) == 0);
    EXPECT_EQ(searching.ReadPcmData(got.data(), beyond), 2);
    EXPECT_EQ(searching.ReadPcmData(got.data(), 0), 9);
    searching.CloseMFile();
  }
  EXPECT_EQ(got, Join({data, Bytes(1400)}));
}

TYPED_TEST(Mirror, OfAPlainCopyIsTheSource) {
  for (const std::size_t size : {0u, 7u, 4096u, 1000000u}) {  // an odd one takes its first sample along
    const Bytes data = Pattern(size);
    for (const Bytes& source :
         {Load(this->Make(Pcm(1, 8000, 8), data)), Riff({FormatChunk(18), Chunk("data", data)})}) {
      this->Open(source);
      ASSERT_EQ(this->Create(), 0);
      EXPECT_EQ(this->WrittenSize(), source.size() - size);
      for (std::uint32_t left = this->unit.PcmDataSize(), step = 2; left > 0; step *= 9) {
        const std::uint32_t bytes = std::min(step, left);
        Bytes block(bytes);
        ASSERT_EQ(this->unit.ReadPcmData(block.data(), bytes), 0);
        ASSERT_EQ(this->unit.WriteMirrorBuf(block.data(), bytes), 0);
        left -= bytes;
      }
      EXPECT_EQ(this->unit.CloseWFile() + this->unit.CloseMFile(), 0);
      EXPECT_EQ(this->Written(), source);
    }
  }
}

TYPED_TEST(Mirror, AnswersInItsOrder) {
  auto& one = this->unit;
  EXPECT_EQ(this->Create(), 9);
  EXPECT_FALSE(std::filesystem::exists(this->mirror_));
  EXPECT_EQ(one.WriteMirrorBuf("x", 1), 16);
  EXPECT_EQ(one.CloseWFile() + one.CloseMFile(), 5 + 5);
  this->Open(this->source_);
  EXPECT_EQ(one.CreateMirrorFile("no/such/folder.wav"), 17);
  EXPECT_EQ(one.CreateMirrorFile(this->given_.c_str()), 17);
  EXPECT_EQ(Load(this->given_), this->source_);  // a mirror never cuts its source
  ASSERT_EQ(this->Create(), 0);
  EXPECT_EQ(one.CloseWFile(), 0);
  EXPECT_EQ(this->Create(), 4);
  EXPECT_EQ(one.OpenWFile(this->mirror_.c_str()), 1);  // nobody reads an open mirror
  EXPECT_EQ(one.WriteMirrorBuf(&this->source_[44], 1000), 0);
  EXPECT_EQ(one.CloseMFile(), 0);
  EXPECT_EQ(one.OpenWFile(this->mirror_.c_str()), 0);
}

// What is said to be samples is more than the file: the size of the rest wraps round.
TYPED_TEST(Mirror, OfAFileThatPromisesTooMuch) {
  constexpr bool kTellsShortReads = std::is_same_v<TypeParam, MMWavUnit>;
  const Bytes slight = With(this->source_, 40, 0xFFFFFFFF);  // a rest of one byte more than there are
  this->Open(slight);
  EXPECT_EQ(this->Create(), kTellsShortReads ? 2 : 0);
  EXPECT_EQ(this->unit.CloseWFile(), kTellsShortReads ? 5 : 0);
  EXPECT_EQ(this->unit.CloseMFile(), 0);
  EXPECT_EQ(this->Written(), kTellsShortReads ? Bytes() : Join({slight, Bytes(1)}));
}

TYPED_TEST(Mirror, IsSharedByCopiesThatGoInAnyOrder) {
  this->Open(this->source_);
  std::array<std::size_t, 3> order = {0, 1, 2};
  do {
    std::array<std::unique_ptr<TypeParam>, 3> units;
    units[0] = std::make_unique<TypeParam>();
    units[1] = std::make_unique<TypeParam>(*units[0]);
    units[2] = std::make_unique<TypeParam>(this->unit);
    *units[2] = *units[1];
    *units[2] = *units[0];
    EXPECT_EQ(units[1]->OpenWFile(this->given_.c_str()), 0);
    EXPECT_EQ(units[0]->CreateMirrorFile(this->mirror_.c_str()), 0);
    for (const std::size_t index : order) {
      EXPECT_EQ(units[index]->PcmDataSize(), 1000u);
      EXPECT_EQ(this->Append(*units[index], "abc", 3), 0);
      units[index].reset();
    }
    EXPECT_EQ(this->Written().size(), 53u);
  } while (std::next_permutation(order.begin(), order.end()));
  EXPECT_EQ(this->unit.CloseWFile(), 0);
}

TEST_F(SubBuffer, PushesOutWhatWaits) {
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
  EXPECT_EQ(unit.WriteFlushSubBuf(), 16);
  Bytes expected = Part(source_, 0, 44);
  for (const auto& step : kSteps) {
    const std::uint32_t bytes = step.piece == kFlush ? 0 : step.piece;
    EXPECT_EQ(step.piece == kFlush ? unit.WriteFlushSubBuf() : unit.WriteMirrorSubBuf(data.data(), bytes), 0);
    expected = Join({expected, Part(data, 0, bytes)});
    EXPECT_EQ(WrittenSize(), 44 + step.onDisk);
  }
  EXPECT_EQ(unit.WriteFlushSubBuf(), 16);
  unit.WriteMirrorSubBuf("ef", 2);
  EXPECT_EQ(unit.WriteMirrorBuf("cd", 2), 0);
  EXPECT_EQ(unit.CloseMFile(), 0);
  EXPECT_EQ(Written(), Join({expected, {'c', 'd', 'e', 'f'}}));
}

}  // namespace
