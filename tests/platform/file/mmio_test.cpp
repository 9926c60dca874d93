// Multimedia file I/O. More tests of chunks and of full disks are those of the WAV files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <random>
#include <string>

#include "platform/platform.h"
#include "tests/support/files.h"

namespace {

constexpr DWORD kRead = MMIO_ALLOCBUF | MMIO_READ;
constexpr DWORD kCreate = MMIO_ALLOCBUF | MMIO_CREATE | MMIO_READWRITE;

DWORD Position(HMMIO file) {
  return static_cast<DWORD>(mmioSeek(file, 0, SEEK_CUR));
}
std::string Pattern(std::size_t count, std::uint32_t seed) {
  const test::Bytes bytes = test::Pattern(count, seed);
  return {bytes.begin(), bytes.end()};
}
class Mmio : public testing::Test {
 protected:
  HMMIO Open(std::string path, DWORD flags) { return mmioOpenA(path.data(), nullptr, flags); }
  HMMIO Create() { return Open(path_, kCreate); }
  LONG Write(HMMIO file, const std::string& bytes) {
    return mmioWrite(file, bytes.data(), static_cast<LONG>(bytes.size()));
  }
  std::string Read(HMMIO file, std::size_t count) {
    std::string bytes(count, '\0');
    bytes.resize(static_cast<std::size_t>(mmioRead(file, bytes.data(), static_cast<LONG>(count))));
    return bytes;
  }
  TempFolder folder_;
  const std::string path_ = folder_.File("file");
};

TEST_F(Mmio, OpensFilesAlone) {
  mkfifo(folder_.File("pipe").c_str(), 0600);  // its opening must not wait for the other end
  for (const std::string& path :
       {folder_.Name(), folder_.File("missing/file"), std::string(10000, 'x'), folder_.File("pipe")}) {
    EXPECT_EQ(Open(path, kRead), nullptr) << path;
    EXPECT_EQ(Open(path, kCreate), nullptr) << path;
  }
  EXPECT_EQ(Open(folder_.File("missing"), kRead), nullptr);
  EXPECT_EQ(mmioOpenA(nullptr, nullptr, kRead), nullptr);  // no files in memory
}

/// Everything that moves bytes or the position, at random, against a plain copy of the file.
TEST_F(Mmio, ReadsAndWritesMayBeMixed) {
  std::minstd_rand random(7);
  const auto below = [&](std::size_t limit) { return random() % limit; };
  std::string copy;
  std::size_t position = 0;
  HMMIO const file = Create();
  for (std::uint32_t step = 0; step < 1000; ++step) {
    const std::size_t size = below(4) == 0 ? below(200000) : below(5000);
    if (below(4) == 0) {
      position = below(2) != 0 ? below(copy.size() + 1) : position - std::min(position, below(2000));
      ASSERT_EQ(mmioSeek(file, static_cast<LONG>(position), SEEK_SET), static_cast<LONG>(position));
      continue;
    }
    const bool writes = below(3) != 0;
    const std::string bytes = writes ? Pattern(size, step) : copy.substr(position, size);
    if (writes) copy.replace(position, size, bytes);
    if (below(2) != 0) {
      ASSERT_TRUE(writes ? Write(file, bytes) == static_cast<LONG>(size) : Read(file, size) == bytes);
    } else {  // through the buffer, byte by byte
      MMIOINFO info;
      ASSERT_EQ(mmioGetInfo(file, &info, 0), 0u);
      for (const char each : bytes) {
        if (writes) info.dwFlags |= MMIO_DIRTY;
        const bool isAtEnd = info.pchNext == (writes ? info.pchEndWrite : info.pchEndRead);
        ASSERT_TRUE(!isAtEnd || mmioAdvance(file, &info, writes ? MMIO_WRITE : MMIO_READ) == 0);
        if (writes) *info.pchNext = each;
        ASSERT_EQ(*info.pchNext++, each);
      }
      ASSERT_EQ(mmioSetInfo(file, &info, 0), 0u);
    }
    position += bytes.size();
    ASSERT_EQ(Position(file), position);
  }
  ASSERT_EQ(static_cast<std::size_t>(mmioSeek(file, 0, SEEK_END)), copy.size());
  ASSERT_EQ(mmioClose(file, 0), 0u);
  ASSERT_TRUE(std::ranges::equal(test::Load(path_), copy));
}

TEST_F(Mmio, RefusesAStructureOfAnotherBufferAndThePositionThatMeansFailure) {
  constexpr DWORD kFar = 0xF0000000;
  HMMIO const file = Create();
  MMIOINFO old;
  mmioGetInfo(file, &old, 0);
  EXPECT_EQ(static_cast<DWORD>(mmioSeek(file, static_cast<LONG>(kFar), SEEK_SET)), kFar);
  EXPECT_NE(mmioSetInfo(file, &old, 0), 0u);
  mmioGetInfo(file, &old, 0);
  old.pchNext = old.pchEndWrite + 1;
  old.dwFlags |= MMIO_DIRTY;
  EXPECT_NE(mmioSetInfo(file, &old, 0), 0u);
  EXPECT_EQ(mmioSeek(file, -1, SEEK_SET), -1);
  EXPECT_EQ(Position(file), kFar);
  EXPECT_EQ(mmioClose(file, 0), 0u);
}

TEST_F(Mmio, AChunkSearchEndsWhereTheHeaderDoesNotFitTheParent) {
  HMMIO const file = Create();
  Write(file, {'w', 'a', 'n', 't', 0, 0, 0, 0});
  mmioSeek(file, 0, SEEK_SET);
  const MMCKINFO parent = {FOURCC_RIFF, 7, 0, 0, 0};
  MMCKINFO chunk = {mmioFOURCC('w', 'a', 'n', 't'), 0, 0, 0, 0};
  EXPECT_EQ(mmioDescend(file, &chunk, &parent, MMIO_FINDCHUNK), MMIOERR_CHUNKNOTFOUND);
  EXPECT_EQ(mmioClose(file, 0), 0u);
}

}  // namespace
