#include "platform/posix/mmio.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <thread>

#include "platform/posix/layer.h"
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
  test::Folder folder_;
};

DWORD Position(HMMIO file) {
  return static_cast<DWORD>(mmioSeek(file, 0, SEEK_CUR));
}

TEST_F(Mmio, RefusesWhatIsNoFileOrCannotBeOpened) {
  mkfifo((folder_ / "pipe").c_str(), 0600);
  EXPECT_EQ(Open(folder_ / "missing", kRead), nullptr);
  EXPECT_EQ(Open(folder_.Path(), kRead), nullptr);
  EXPECT_EQ(Open(folder_.Path(), kCreate), nullptr);
  EXPECT_EQ(Open(folder_ / "pipe", kRead), nullptr);  // and does not wait for a writer
  EXPECT_EQ(Open(folder_ / "pipe", kCreate), nullptr);
  EXPECT_EQ(Open(std::string(10000, 'x'), kRead), nullptr);
  EXPECT_EQ(Open(folder_ / "file", MMIO_READ), nullptr);
  EXPECT_EQ(mmioOpenA(nullptr, nullptr, kRead), nullptr);
}

TEST_F(Mmio, HandlesThatAreNotOpenAreRefusedEverywhere) {
  const std::string path = folder_ / "file";
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
      const std::string path = folder_ / std::to_string(t);
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
    HMMIO const file = Open(folder_ / "file", kCreate);
    ASSERT_NE(file, nullptr);
    const auto put = [&](const Bytes& bytes) {
      copy.resize(std::max(copy.size(), position + bytes.size()));
      std::copy(bytes.begin(), bytes.end(), copy.begin() + static_cast<std::ptrdiff_t>(position));
      position += bytes.size();
    };
    for (int step = 0; step < 200; ++step) {
      const std::size_t size = below(4) == 0 ? below(200000) : below(5000);
      switch (below(6)) {
        case 0:
        case 1: {
          const Bytes bytes = Pattern(size, static_cast<std::uint32_t>(random()));
          ASSERT_EQ(Write(file, bytes), static_cast<LONG>(size));
          put(bytes);
          break;
        }
        case 2: {
          Bytes bytes(size);
          const std::size_t expected = std::min(size, copy.size() - position);
          ASSERT_EQ(mmioRead(file, bytes.data(), static_cast<LONG>(size)), static_cast<LONG>(expected));
          ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(expected),
                                 copy.begin() + static_cast<std::ptrdiff_t>(position)));
          position += expected;
          break;
        }
        case 3:
          position = below(copy.size() + 1);
          ASSERT_EQ(mmioSeek(file, static_cast<LONG>(position), SEEK_SET), static_cast<LONG>(position));
          break;
        case 4: {  // through the record, byte by byte
          MMIOINFO info;
          ASSERT_EQ(mmioGetInfo(file, &info, 0), 0u);
          const Bytes bytes = Pattern(below(3000), static_cast<std::uint32_t>(random()));
          for (char byte : bytes) {
            info.dwFlags |= MMIO_DIRTY;
            if (info.pchNext == info.pchEndWrite) {
              ASSERT_EQ(mmioAdvance(file, &info, MMIO_WRITE), 0u);
            }
            *info.pchNext++ = byte;
          }
          ASSERT_EQ(mmioSetInfo(file, &info, 0), 0u);
          put(bytes);
          break;
        }
        default: {
          MMIOINFO info;
          ASSERT_EQ(mmioGetInfo(file, &info, 0), 0u);
          for (std::size_t i = 0; i < size; ++i) {
            if (info.pchNext == info.pchEndRead) {
              ASSERT_EQ(mmioAdvance(file, &info, MMIO_READ), 0u);
              if (info.pchNext == info.pchEndRead) break;
            }
            ASSERT_EQ(*info.pchNext++, copy[position++]);
          }
          ASSERT_EQ(mmioSetInfo(file, &info, 0), 0u);
        }
      }
      ASSERT_EQ(Position(file), position);
      if (below(50) == 0) {
        ASSERT_EQ(static_cast<std::size_t>(mmioSeek(file, 0, SEEK_END)), copy.size());
      }
      mmioSeek(file, static_cast<LONG>(position), SEEK_SET);
    }
    ASSERT_EQ(mmioClose(file, 0), 0u);
    ASSERT_EQ(test::Load(folder_ / "file"), copy);
  }
}

TEST_F(Mmio, ARecordOfAnotherWindowIsRefused) {
  HMMIO const file = Open(folder_ / "file", kCreate);
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
  EXPECT_EQ(test::Load(folder_ / "file"), Pattern(100));
}

TEST_F(Mmio, PositionsReachFourGibibytes) {
  HMMIO file = Open(folder_ / "file", kCreate);
  constexpr DWORD kFar = 0xF0000000;
  EXPECT_EQ(static_cast<DWORD>(mmioSeek(file, static_cast<LONG>(kFar), SEEK_SET)), kFar);
  EXPECT_EQ(Write(file, Pattern(10)), 10);
  EXPECT_EQ(mmioSeek(file, -1, SEEK_SET), -1);  // 0xFFFFFFFF could not be told from a failure
  EXPECT_EQ(Position(file), kFar + 10);
  ASSERT_EQ(mmioClose(file, 0), 0u);

  file = Open(folder_ / "file", kRead);
  EXPECT_EQ(static_cast<DWORD>(mmioSeek(file, -10, SEEK_END)), kFar);
  Bytes bytes(20);
  EXPECT_EQ(mmioRead(file, bytes.data(), 20), 10);
  bytes.resize(10);
  EXPECT_EQ(bytes, Pattern(10));
  EXPECT_EQ(mmioSeek(file, -11, SEEK_SET), -11);  // 0xFFFFFFF5: behind the end, and no failure
  EXPECT_EQ(mmioClose(file, 0), 0u);
}

TEST_F(Mmio, AFullDiskDropsWhatDoesNotFit) {
  const std::string path = folder_ / "file";
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

TEST_F(Mmio, ADeviceWithoutRoomFailsWhenFlushed) {
  HMMIO const file = Open("/dev/full", kCreate);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Write(file, Pattern(10)), 10);
  EXPECT_EQ(mmioClose(file, 0), MMIOERR_CANNOTWRITE);
}

Bytes Chunk(const std::string& id, DWORD size, const std::string& data) {
  Bytes bytes(id.begin(), id.end());
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(size >> (8 * i)));
  bytes.insert(bytes.end(), data.begin(), data.end());
  return bytes;
}

TEST_F(Mmio, ChunkWalksEndAtTheParentAndNeverLoop) {
  const auto find = [this](const Bytes& file, DWORD parentSize) {
    test::Store(folder_ / "file", file);
    HMMIO const opened = Open(folder_ / "file", kRead);
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
  test::Store(folder_ / "file", file);
  HMMIO const opened = Open(folder_ / "file", kRead);
  MMCKINFO riff = {0, 0, mmioFOURCC('f', 'o', 'r', 'm'), 0, 0};
  EXPECT_EQ(mmioDescend(opened, &riff, nullptr, MMIO_FINDRIFF), 0u);
  EXPECT_EQ(riff.dwDataOffset, 20u);
  EXPECT_EQ(Position(opened), 24u);
  EXPECT_NE(mmioDescend(opened, &riff, nullptr, MMIO_FINDRIFF), 0u);
  mmioClose(opened, 0);
}

TEST_F(Mmio, AscendCorrectsTheSizeAndPads) {
  const std::string path = folder_ / "file";
  HMMIO const file = Open(path, kCreate);
  MMCKINFO chunk = {mmioFOURCC('o', 'd', 'd', ' '), 77, 0, 0, 0};
  ASSERT_EQ(mmioCreateChunk(file, &chunk, 0), 0u);
  const Bytes data = Pattern(200001);  // the header has left the buffer by the end
  Write(file, data);
  ASSERT_EQ(mmioAscend(file, &chunk, 0), 0u);
  EXPECT_EQ(Position(file), 200010u);
  Bytes expected = Chunk("odd ", 200001, std::string(data.begin(), data.end()) + '\0');
  EXPECT_EQ(test::Load(path).size(), expected.size());  // the pad byte is on the disk already
  ASSERT_EQ(mmioClose(file, 0), 0u);
  EXPECT_EQ(test::Load(path), expected);
}

TEST_F(Mmio, BothSlashesSeparateButNotWithinADoubleByteCharacter) {
  std::filesystem::create_directory(folder_ / "sub");
  HMMIO file = Open(folder_.Path() + "\\sub\\file", kCreate);
  ASSERT_NE(file, nullptr);
  mmioClose(file, 0);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "sub/file"));

  const unsigned before = platform::CodePage();
  platform::SetCodePage(932);
  const std::string name = "\x83\x5C";  // one character, whose second byte is that of the backslash
  file = Open(folder_.Path() + "\\" + name + ".wav", kCreate);
  platform::SetCodePage(before);
  ASSERT_NE(file, nullptr);
  mmioClose(file, 0);
  EXPECT_EQ(access((folder_ / (name + ".wav")).c_str(), F_OK), 0);
}

}  // namespace
