#include "platform/posix/mmio.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <thread>

#include "platform/posix/layer.h"
#include "tests/support/FileSizeLimit.h"
#include "tests/support/TempFolder.h"
#include "tests/support/files.h"

namespace {

using test::Bytes;
using test::Pattern;

constexpr DWORD kRead = MMIO_ALLOCBUF | MMIO_READ;
constexpr DWORD kCreate = MMIO_ALLOCBUF | MMIO_CREATE | MMIO_READWRITE;

class Mmio : public testing::Test {
 protected:
  HMMIO Open(std::string path, DWORD flags) { return mmioOpenA(path.data(), nullptr, flags); }
  LONG Write(HMMIO file, const Bytes& bytes) {
    return mmioWrite(file, bytes.data(), static_cast<LONG>(bytes.size()));
  }
  TempFolder folder_;
};

DWORD Position(HMMIO file) {
  return static_cast<DWORD>(mmioSeek(file, 0, SEEK_CUR));
}

TEST_F(Mmio, RefusesWhatIsNoFileOrCannotBeOpened) {
  mkfifo(folder_.File("pipe").c_str(), 0600);  // opening it must not wait for its other end
  for (const std::string& path : {folder_.Path().string(), folder_.File("pipe"), folder_.File("missing/file"),
                                  std::string(10000, 'x')}) {
    EXPECT_EQ(Open(path, kRead), nullptr) << path;
    EXPECT_EQ(Open(path, kCreate), nullptr) << path;
  }
  EXPECT_EQ(Open(folder_.File("missing"), kRead), nullptr);
  EXPECT_EQ(mmioOpenA(nullptr, nullptr, kRead), nullptr);
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

TEST_F(Mmio, FilesMayBeUsedSideBySideByManyThreads) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([this, t] {
      const std::string path = folder_.File(std::to_string(t));
      const Bytes bytes = Pattern(1000, static_cast<std::uint32_t>(t));
      for (int i = 0; i < 5; ++i) {
        std::vector<HMMIO> files;
        for (int f = 0; f < 40; ++f) files.push_back(Open(path + "-" + std::to_string(f), kCreate));
        for (HMMIO file : files) EXPECT_EQ(Write(file, bytes), 1000);
        for (HMMIO file : files) EXPECT_EQ(mmioClose(file, 0), 0u);
      }
      EXPECT_EQ(test::Load(path + "-39"), bytes);
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// Everything that moves bytes or the position, at random, against a plain copy of the file in memory.
TEST_F(Mmio, RandomTrafficMatchesAPlainCopy) {
  std::mt19937 random(7);
  const auto below = [&](std::size_t limit) { return random() % limit; };
  for (int round = 0; round < 20; ++round) {
    Bytes copy;
    std::size_t position = 0;
    HMMIO const file = Open(folder_.File("file"), kCreate);
    ASSERT_NE(file, nullptr);
    for (int step = 0; step < 200; ++step) {
      const std::size_t size = below(4) == 0 ? below(200000) : below(5000);
      const auto place = [&](std::size_t at) { return copy.begin() + static_cast<std::ptrdiff_t>(at); };
      const std::size_t action = below(4);
      const bool direct = below(2) == 0;  // otherwise through the record, byte by byte
      MMIOINFO info;
      ASSERT_EQ(mmioGetInfo(file, &info, 0), 0u);
      if (action == 0) {
        position = below(copy.size() + 1);
        ASSERT_EQ(mmioSeek(file, static_cast<LONG>(position), SEEK_SET), static_cast<LONG>(position));
      } else if (action == 1) {
        const std::size_t expected = std::min(size, copy.size() - position);
        Bytes bytes(size);
        if (direct) {
          ASSERT_EQ(mmioRead(file, bytes.data(), static_cast<LONG>(size)), static_cast<LONG>(expected));
        } else {
          for (std::size_t i = 0; i < expected; ++i) {
            ASSERT_TRUE(info.pchNext != info.pchEndRead || mmioAdvance(file, &info, MMIO_READ) == 0);
            bytes[i] = *info.pchNext++;
          }
          ASSERT_EQ(mmioSetInfo(file, &info, 0), 0u);
        }
        ASSERT_TRUE(std::equal(place(position), place(position + expected), bytes.begin()));
        position += expected;
      } else {
        const Bytes bytes = Pattern(size, static_cast<std::uint32_t>(random()));
        if (direct) {
          ASSERT_EQ(Write(file, bytes), static_cast<LONG>(size));
        } else {
          for (const char byte : bytes) {
            info.dwFlags |= MMIO_DIRTY;
            ASSERT_TRUE(info.pchNext != info.pchEndWrite || mmioAdvance(file, &info, MMIO_WRITE) == 0);
            *info.pchNext++ = byte;
          }
          ASSERT_EQ(mmioSetInfo(file, &info, 0), 0u);
        }
        copy.resize(std::max(copy.size(), position + size));
        std::copy(bytes.begin(), bytes.end(), place(position));
        position += size;
      }
      ASSERT_EQ(Position(file), position);
    }
    ASSERT_EQ(static_cast<std::size_t>(mmioSeek(file, 0, SEEK_END)), copy.size());
    ASSERT_EQ(mmioClose(file, 0), 0u);
    ASSERT_EQ(test::Load(folder_.File("file")), copy);
  }
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

Bytes Chunk(const std::string& id, DWORD size, const std::string& data) {
  Bytes bytes(id.begin(), id.end());
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(size >> (8 * i)));
  bytes.insert(bytes.end(), data.begin(), data.end());
  return bytes;
}

TEST_F(Mmio, ChunkWalksEndAtTheParentAndNeverLoop) {
  const auto find = [this](const Bytes& file, DWORD parentSize) {
    test::Store(folder_.File("file"), file);
    HMMIO const opened = Open(folder_.File("file"), kRead);
    const MMCKINFO parent = {FOURCC_RIFF, parentSize, 0, 0, 0};
    MMCKINFO chunk = {mmioFOURCC('w', 'a', 'n', 't'), 0, 0, 0, 0};
    const bool found = mmioDescend(opened, &chunk, &parent, MMIO_FINDCHUNK) == 0;
    EXPECT_TRUE(!found || Position(opened) == chunk.dwDataOffset);
    mmioClose(opened, 0);
    return found ? static_cast<int>(chunk.dwDataOffset) : -1;
  };
  const auto behind = [](Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
  };
  const Bytes wanted = Chunk("want", 4, "data");
  EXPECT_EQ(find(behind(Chunk("odd ", 3, "abcd"), wanted), 100), 20);
  EXPECT_EQ(find(behind(Chunk("none", 0, ""), wanted), 100), 16);
  EXPECT_EQ(find(behind(Chunk("odd ", 3, "abcd"), wanted), 20), 20);  // the header just fits the parent
  EXPECT_EQ(find(behind(Chunk("odd ", 3, "abcd"), wanted), 19), -1);  // the header straddles its end
  EXPECT_EQ(find(Chunk("want", 0xFFFFFFFF, "data"), 100), 8);         // what is found is taken as it stands
  for (const DWORD size : {0xFFFFFFFFu, 0xFFFFFFFEu, 0xFFFFFFF8u, 0xFFFFFFF0u, 0x80000000u}) {
    EXPECT_EQ(find(behind(Chunk("huge", size, ""), wanted), 0xFFFFFFFF), -1) << size;
  }
  EXPECT_EQ(find(Bytes(100000, 0), 0xFFFFFFFF), -1);
  EXPECT_EQ(find(behind(Chunk("LIST", 4, "want"), wanted), 100), 20);  // form types are no chunks

  Bytes file = behind(Chunk("RIFF", 4, "none"), behind(Chunk("RIFF", 4, "form"), wanted));
  test::Store(folder_.File("file"), file);
  HMMIO const opened = Open(folder_.File("file"), kRead);
  MMCKINFO riff = {0, 0, mmioFOURCC('f', 'o', 'r', 'm'), 0, 0};
  EXPECT_EQ(mmioDescend(opened, &riff, nullptr, MMIO_FINDRIFF), 0u);
  EXPECT_EQ(riff.dwDataOffset, 20u);
  EXPECT_EQ(Position(opened), 24u);
  EXPECT_NE(mmioDescend(opened, &riff, nullptr, MMIO_FINDRIFF), 0u);
  mmioClose(opened, 0);
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
