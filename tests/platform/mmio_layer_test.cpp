// What the layer promises of multimedia files beyond the published calls, and where it is stricter.
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/layer.h"
#include "tests/platform/MmioTools.h"
#include "tests/support/FileSizeLimit.h"

namespace {

TEST_F(Mmio, OpensFilesAlone) {
  mkfifo(folder_.File("pipe").c_str(), 0600);  // opening it must not wait for its other end
  EXPECT_EQ(Open(folder_.File("pipe"), kRead), nullptr);
  EXPECT_EQ(Open(folder_.File("pipe"), kCreate), nullptr);
  EXPECT_EQ(mmioOpenA(nullptr, nullptr, kRead), nullptr);  // no files in memory
}

TEST_F(Mmio, HandlesThatAreNotOpenAreRefusedEverywhere) {
  const std::string path = folder_.File("file");
  HMMIO const closed = Open(path, kCreate);
  ASSERT_NE(closed, nullptr);
  ASSERT_EQ(mmioClose(closed, 0), 0u);
  HMMIO const open = Open(path, kCreate);  // in the place of the closed one
  int foreign = 0;
  char byte = 0;
  MMCKINFO chunk = {};
  for (HMMIO file :
       {HMMIO{nullptr}, closed, reinterpret_cast<HMMIO>(&foreign),
        reinterpret_cast<HMMIO>(~std::uintptr_t{0}), reinterpret_cast<HMMIO>(std::uintptr_t{5})}) {
    ASSERT_NE(file, open);
    MMIOINFO info = {};
    EXPECT_EQ(mmioRead(file, &byte, 1), -1);
    EXPECT_EQ(mmioWrite(file, &byte, 1), -1);
    EXPECT_EQ(mmioSeek(file, 0, SEEK_SET), -1);
    EXPECT_EQ(mmioGetInfo(file, &info, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(mmioSetInfo(file, &info, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(mmioAdvance(file, &info, MMIO_READ), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(mmioFlush(file, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(mmioDescend(file, &chunk, nullptr, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(mmioAscend(file, &chunk, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(mmioCreateChunk(file, &chunk, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(mmioClose(file, 0), MMSYSERR_INVALHANDLE);
  }
  EXPECT_EQ(mmioClose(open, 0), 0u);
}

TEST_F(Mmio, ReadsAndWritesMayBeMixed) {
  ExpectTheTrafficOfAPlainCopy(Order::kMixed);
}

TEST_F(Mmio, ARecordOfAnotherWindowIsRefused) {
  HMMIO const file = Open(folder_.File("file"), kCreate);
  Write(file, Pattern(100));
  MMIOINFO old;
  mmioGetInfo(file, &old, 0);
  mmioSeek(file, 200000, SEEK_SET);
  EXPECT_NE(mmioSetInfo(file, &old, 0), 0u);
  mmioGetInfo(file, &old, 0);
  old.pchNext = old.pchEndWrite + 1;
  old.dwFlags |= MMIO_DIRTY;
  EXPECT_NE(mmioSetInfo(file, &old, 0), 0u);
  EXPECT_EQ(Position(file), 200000u);
  EXPECT_EQ(mmioClose(file, 0), 0u);
  EXPECT_EQ(test::Load(folder_.File("file")), Pattern(100));
}

TEST_F(Mmio, PositionsReachFourGibibytes) {
  constexpr DWORD kFar = 0xF0000000;
  HMMIO const file = Open(folder_.File("file"), kCreate);
  EXPECT_EQ(static_cast<DWORD>(mmioSeek(file, static_cast<LONG>(kFar), SEEK_SET)), kFar);
  EXPECT_EQ(Write(file, Pattern(10)), 10);
  EXPECT_EQ(mmioSeek(file, -1, SEEK_SET), -1);  // 0xFFFFFFFF could not be told from a failure
  EXPECT_EQ(static_cast<DWORD>(mmioSeek(file, -10, SEEK_END)), kFar);
  EXPECT_EQ(mmioSeek(file, -11, SEEK_SET), -11);  // 0xFFFFFFF5: behind the end, and no failure
  EXPECT_EQ(mmioClose(file, 0), 0u);
}

TEST_F(Mmio, AFullDiskDropsWhatDoesNotFit) {
  const std::string path = folder_.File("file");
  HMMIO const file = Open(path, kCreate);
  const Bytes bytes = Pattern(100);
  const test::FileSizeLimit limit(60);
  EXPECT_EQ(Write(file, bytes), 100);  // in the buffer
  EXPECT_EQ(mmioFlush(file, 0), MMIOERR_CANNOTWRITE);
  EXPECT_EQ(Position(file), 60u);

  MMIOINFO info;
  mmioGetInfo(file, &info, 0);
  std::fill(info.pchNext, info.pchEndWrite, 'x');
  info.pchNext = info.pchEndWrite;
  info.dwFlags |= MMIO_DIRTY;
  EXPECT_NE(mmioAdvance(file, &info, MMIO_WRITE), 0u);
  EXPECT_EQ(info.pchNext, info.pchEndWrite);
  info.dwFlags |= MMIO_DIRTY;
  EXPECT_NE(mmioAdvance(file, &info, MMIO_WRITE), 0u);  // and stays so
  EXPECT_EQ(Position(file), 60u);
  EXPECT_EQ(Write(file, Pattern(100000)), 0);  // past the buffer
  EXPECT_EQ(Position(file), 60u);

  mmioSeek(file, 10, SEEK_SET);  // in place there is room
  EXPECT_EQ(Write(file, Bytes(4, '!')), 4);
  EXPECT_EQ(mmioClose(file, 0), 0u);
  Bytes expected(bytes.begin(), bytes.begin() + 60);
  std::fill_n(expected.begin() + 10, 4, '!');
  EXPECT_EQ(test::Load(path), expected);
}

TEST_F(Mmio, ChunkWalksEndAtTheParentAndNeverLoop) {
  const Bytes wanted = Chunk("want", 4, "data");
  EXPECT_EQ(Find(Behind(Chunk("odd ", 3, "abcd"), wanted), 19), -1);  // the header straddles its end
  for (const DWORD size : {0xFFFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFF8u, 0xFFFFFFF0u, 0x80000000u}) {
    EXPECT_EQ(Find(Behind(Chunk("huge", size, ""), wanted), 0xFFFFFFFF), -1) << size;
  }
}

TEST_F(Mmio, NamesAreTakenInTheCodePage) {
  const std::string name = "\x83\x5C.wav";  // begins with one character, whose second byte is the backslash's
  const unsigned before = platform::CodePage();
  platform::SetCodePage(932);
  HMMIO const file = Open(folder_.Path().string() + "\\" + name, kCreate);
  platform::SetCodePage(before);
  EXPECT_EQ(mmioClose(file, 0), 0u);
  EXPECT_EQ(access(folder_.File(name).c_str(), F_OK), 0);
}

}  // namespace
