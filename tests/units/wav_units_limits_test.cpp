// The two readers at the system's limits, and with other programs' files.
#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <vector>

#include "tests/support/FileSizeLimit.h"
#include "tests/support/SystemCalls.h"
#include "tests/units/wav_units.h"

using test::FileSizeLimit;

namespace {

class FromOutside : public Reader {
 protected:
  Bytes By(const std::string& command) {
    EXPECT_EQ(std::system((command + " >" + given_).c_str()), 0) << command;
    return Load(given_);
  }
};

TEST_F(FromOutside, AcceptsAndRefuses) {
  const std::string sox = "sox -n -r 8000 -c 2 -t wav ";
  const std::string made = folder_.File("made.wav");
  Expect("of sox", By(sox + "-b 16 " + made + " synth 1 noise; cat " + made), 1, 0, 0);
  Expect("extra bytes", By(sox + "-e ima-adpcm " + made + " synth 1 noise; cat " + made), 1, 8, 0);
  Expect("of libsndfile", By("sndfile-convert -pcm24 " + made + " " + made + "x.wav; cat " + made + "x.wav"),
         1, 0, 0);
  Expect("through a pipe", By("ffmpeg -v error -f lavfi -i sine=d=0.1 -f wav -"), 1, 7, 0);
}

// Not every platform's search sees that such a chunk ends behind the file.
TEST_F(Reader, RefusesAFormatSizeWithTheTopBit) {
  const Bytes plain = Riff({FormatChunk(16), Chunk("data", Pattern(100))});
  Expect("top bit", With(plain, 16, 0x80000010), 0, 8, 2);
}

TYPED_TEST(Mirror, OfAVeryLargeFile) {
  const std::uint32_t size = 0xFFFFFF00;
  const Bytes head = Part(With(With(this->source_, 4, size + 36), 40, size), 0, 44);
  Store(this->given_, head);
  std::filesystem::resize_file(this->given_, std::uint64_t{size} + 44);
  ASSERT_EQ(this->unit.OpenWFile(this->given_.c_str()), 0);
  EXPECT_EQ(this->Create(), 0);
  EXPECT_EQ(this->Written(), head);
}

TYPED_TEST(Mirror, WithoutDiskOrHeapIsClosedAndTheSourceIsNot) {
  this->Open(this->source_);
  for (const std::size_t limit : {30u, 500u}) {
    const FileSizeLimit full(limit);
    EXPECT_EQ(this->Create(), limit == 30 ? 17 : 0);
    EXPECT_EQ(this->unit.WriteMirrorBuf(this->source_.data(), 1000), limit == 30 ? 16 : 17);
    EXPECT_EQ(this->unit.CloseMFile(), 5);
  }
  EXPECT_EQ(this->unit.CloseWFile(), 0);
  std::vector<HANDLE> handles;
  while (const HANDLE handle = HeapCreate(0, 0, 0)) handles.push_back(handle);
  TypeParam poor;
  for (const HANDLE handle : handles) HeapDestroy(handle);
  ASSERT_EQ(poor.OpenWFile(this->given_.c_str()), 0);
  EXPECT_EQ(poor.CreateMirrorFile(this->mirror_.c_str()), 17);
}

// What is to be copied wraps round. What memory can hold is tried, and given back before a handle is closed.
TYPED_TEST(Mirror, OfAFileThatPromisesFarTooMuch) {
  constexpr bool kTellsShortReads = std::is_same_v<TypeParam, MMWavUnit>;
  constexpr std::size_t kMuch = 64 << 20;
  static bool heldAtClose;
  heldAtClose = false;
  for (const std::uint32_t huge : {1045u, 0x7FFFFFFFu, 0xA0000000u, 0xF0000000u}) {
    const bool refused = huge < 0x80000000;  // no 32-bit process has that much in one piece
    this->Open(With(this->source_, 40, huge));
    EXPECT_EQ(this->unit.PcmDataSize(), huge);
    const FileSizeLimit full(1 << 20);
    test::HookSystemCalls([](const char* name, int) {
      heldAtClose |= std::strcmp(name, "close") == 0 && mallinfo2().hblkhd > kMuch;
      return 0;
    });
    EXPECT_EQ(this->Create(), kTellsShortReads && !refused ? 2 : 17);
    test::HookSystemCalls(nullptr);
    EXPECT_EQ(this->unit.CloseMFile(), kTellsShortReads && !refused ? 0 : 5);
    EXPECT_EQ(this->unit.CloseWFile(), kTellsShortReads && !refused ? 5 : 0);
  }
  EXPECT_FALSE(heldAtClose);
  const std::uint32_t wrapped = 0xFE000000;
  const Bytes source = With(this->source_, 40, wrapped);
  this->Open(source);
  EXPECT_EQ(this->Create(), kTellsShortReads ? 2 : 0);
  const std::size_t zeros = std::size_t{1} + ~wrapped;
  EXPECT_EQ(this->Written(), kTellsShortReads ? Bytes() : Join({source, Bytes(zeros)}));
}

// The strict reader has no result for it.
TYPED_TEST(Mirror, ThatTheDiskRefusesAtTheClose) {
  this->Open(this->source_);
  ASSERT_EQ(this->Create(), 0);
  test::HookSystemCalls([](const char* name, int file) {
    if (std::strcmp(name, "close") != 0) return 0;
    close(file);
    return ENOSPC;
  });
  EXPECT_EQ(this->unit.CloseMFile(), (std::is_same_v<TypeParam, MMWavUnit> ? 17 : 0));
  test::HookSystemCalls(nullptr);
  EXPECT_EQ(this->unit.CloseMFile(), 5);
  EXPECT_EQ(this->Create(), 0);
}

TEST_F(SubBuffer, OnAFullDiskIsLostAndTheMirrorClosedOnce) {
  const Bytes data = Pattern(8192);
  const std::function<int()> kFailures[] = {[&] { return unit.CloseMFile(); },
                                            [&] { return unit.WriteFlushSubBuf(); },
                                            [&] { return unit.WriteMirrorSubBuf(data.data(), 8192); },
                                            [&] { return unit.WriteMirrorBuf(data.data(), 8192); }};
  for (const auto& fails : kFailures) {
    Open(source_);
    ASSERT_EQ(Create(), 0);
    const FileSizeLimit full(100);
    EXPECT_EQ(unit.WriteMirrorSubBuf(data.data(), 100), 0);
    EXPECT_EQ(fails(), 17);
    EXPECT_EQ(unit.WriteMirrorSubBuf(data.data(), 1), 16);
    EXPECT_EQ(unit.CloseMFile(), 5);
    EXPECT_EQ(Written().size(), 100u);
  }
}

}  // namespace
