// What an object and its copies share, in every class that holds files open: they are closed and destroyed in
// any order, and what one has closed is closed for the others.
#include <algorithm>
#include <array>
#include <memory>

#include "tests/support/Formats.h"
#include "tests/support/System.h"
#include "tests/units/wav_units.h"

namespace {

void Open(CMMWav& wav, const std::string& file) {
  std::uint8_t* output = nullptr;
  ASSERT_EQ(wav.Open(file.c_str()), 1);
  ASSERT_NE(wav.BeginConvert(0, Format(8000, 1, 8), &output, nullptr), 0u);
}
template <class Unit>
void Open(Unit& unit, const std::string& file) {
  ASSERT_EQ(unit.OpenWFile(file.c_str()), 0);
  ASSERT_EQ(unit.CreateMirrorFile((file + ".mirror").c_str()), 0);
}

void Close(CMMWav& wav) {
  wav.Close(0);
}
template <class Unit>
void Close(Unit& unit) {
  unit.CloseWFile();
  unit.CloseMFile();
}

/// Whether what is open can be used.
bool Works(CMMWav& wav) {
  return wav.Reset() == 1 && wav.Convert() == 500 && wav.GetConvertBuf()[499] != 77;
}
bool Works(WavUnit& unit) {
  return unit.PcmDataSize() == 1000 && unit.WriteMirrorBuf("abc", 3) == 0;
}
bool Works(MMWavUnit& unit) {
  return unit.PcmDataSize() == 1000 && unit.WriteMirrorSubBuf("abc", 3) == 0;
}

template <class Class>
class AnyOrder : public WavTest {};
using Classes = testing::Types<CMMWav, WavUnit, MMWavUnit>;
TYPED_TEST_SUITE(AnyOrder, Classes);

TYPED_TEST(AnyOrder, LeavesNothingOpenAndWorksWhileOpen) {
  const std::string file = this->Make(Format(8000, 1, 16), Pattern(1000));
  const std::string another = this->Make(Format(8000, 1, 16), Pattern(1000), "b.wav");
  std::array<std::size_t, 3> order = {0, 1, 2};
  do {
    for (unsigned closing = 0; closing < 8; ++closing) {
      std::array<std::unique_ptr<TypeParam>, 3> objects;
      for (auto& object : objects) object = std::make_unique<TypeParam>();
      Open(*objects[0], file);
      objects[1] = std::make_unique<TypeParam>(*objects[0]);
      Open(*objects[2], another);  // to be released by the assignment
      *objects[2] = *objects[1];
      *objects[1] = *&*objects[1];
      for (const auto& object : objects) EXPECT_TRUE(Works(*object));
      bool closed = false;
      for (const std::size_t index : order) {
        EXPECT_EQ(Works(*objects[index]), !closed);
        if (closed) Open(*objects[index], another);  // by itself: the others stay closed
        if ((closing >> index & 1) != 0) {
          Close(*objects[index]);
          closed = true;
        }
        objects[index].reset();
      }
      EXPECT_EQ(OpenFiles(this->folder_.Path()), 0u);
      if (std::is_same_v<TypeParam, MMWavUnit> && closing == 0) {
        EXPECT_EQ(Load(file + ".mirror").size(), 56u + 18) << "what is in each one's sub-buffer is written";
      }
      EXPECT_LE(Load(another + ".mirror").size(), 56u) << "what was for a closed mirror is not for the next";
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

// The conversion of one copy is not the other's, but an ended one is ended for both.
TEST_F(WavTest, CopiesShareTheConversionThatRanWhenTheyWereMade) {
  const std::string file = Make(Format(8000, 1, 16), Pattern(40000));
  CMMWav one;
  ASSERT_EQ(one.Open(file.c_str()), 1);
  CMMWav before(one);
  std::uint8_t *output = nullptr, *another = nullptr;
  ASSERT_NE(one.BeginConvert(1, Format(8000, 1, 8), &output, nullptr), 0u);
  CMMWav during(one);
  EXPECT_EQ(before.Convert() + before.EndConvert(), 0u);
  ASSERT_NE(before.BeginConvert(0, Format(16000, 1, 8), &another, nullptr), 0u);
  EXPECT_EQ(during.EndConvert(), 1u);
  EXPECT_EQ(one.Convert() + one.GetConvertSize() + one.EndConvert(), 0u);
  EXPECT_EQ(one.Close(), 1);
  EXPECT_EQ(before.Convert(), 0u);  // its own conversion, whose file is closed
}

// A copy does not have the writer's latest bytes: it finishes the file with those that have left the buffer.
TEST_F(WavTest, ACopyFinishesTheFileWithWhatHasLeftTheBuffer) {
  const std::string file = folder_.File("a.wav");
  const Bytes data = Pattern(300000);
  auto writer = std::make_unique<CMMWav>();
  ASSERT_EQ(writer->Open(Pcm(1, 8000, 8), file.c_str()), 1);
  CMMWav copy(*writer);
  for (std::size_t at = 0; at < data.size(); at += 100) Write(*writer, Part(data, at, 100));
  writer.reset();
  EXPECT_EQ(copy.Close(), 0);
  const Bytes left = Load(file);
  ASSERT_GT(left.size(), 200000u);
  EXPECT_EQ(Number(left, 4), left.size() - 8);
  ASSERT_EQ(copy.Open(file.c_str()), 1);
  EXPECT_EQ(Read(copy, 300000), Part(data, 0, left.size() - 56));
}

}  // namespace
