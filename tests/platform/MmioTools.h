#pragma once
// What the tests of multimedia file I/O have in common, on every system and of the layer alone.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "platform/platform.h"
#include "tests/support/files.h"

using test::Bytes;
using test::Pattern;

constexpr DWORD kRead = MMIO_ALLOCBUF | MMIO_READ;
constexpr DWORD kCreate = MMIO_ALLOCBUF | MMIO_CREATE | MMIO_READWRITE;

enum class Order { kMixed, kWritesFirst };

class Mmio : public testing::Test {
 protected:
  HMMIO Open(std::string path, DWORD flags) { return mmioOpenA(path.data(), nullptr, flags); }
  LONG Write(HMMIO file, const Bytes& bytes) {
    return mmioWrite(file, bytes.data(), static_cast<LONG>(bytes.size()));
  }
  /// Everything that moves bytes or the position, at random, against a plain copy of the file in memory.
  void ExpectTheTrafficOfAPlainCopy(Order order);
  /// Where a walk through these chunks finds the data of "want"; -1 when it does not.
  int Find(const Bytes& file, DWORD parentSize);

  TempFolder folder_;
};

inline DWORD Position(HMMIO file) {
  return static_cast<DWORD>(mmioSeek(file, 0, SEEK_CUR));
}

inline void Mmio::ExpectTheTrafficOfAPlainCopy(Order order) {
  constexpr int kSteps = 200;
  std::mt19937 random(7);
  const auto below = [&](std::size_t limit) { return random() % limit; };
  for (int round = 0; round < 20; ++round) {
    Bytes copy;
    std::size_t position = 0;
    HMMIO file = Open(folder_.File("file"), kCreate);
    ASSERT_NE(file, nullptr);
    for (int step = 0; step < kSteps; ++step) {
      if (order == Order::kWritesFirst && step == kSteps / 2) {
        ASSERT_EQ(mmioClose(file, 0), 0u);
        file = Open(folder_.File("file"), kRead);
        position = 0;
      }
      const std::size_t size = below(4) == 0 ? below(200000) : below(5000);
      const auto place = [&](std::size_t at) { return copy.begin() + static_cast<std::ptrdiff_t>(at); };
      std::size_t action = below(4);
      if (order == Order::kWritesFirst && action != 0) action = step < kSteps / 2 ? 2 : 1;

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
          for (const char each : bytes) {
            info.dwFlags |= MMIO_DIRTY;
            ASSERT_TRUE(info.pchNext != info.pchEndWrite || mmioAdvance(file, &info, MMIO_WRITE) == 0);
            *info.pchNext++ = each;
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

inline Bytes Chunk(const std::string& id, DWORD size, const std::string& data) {
  Bytes bytes(id.begin(), id.end());
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>(size >> (8 * i)));
  bytes.insert(bytes.end(), data.begin(), data.end());
  return bytes;
}
inline Bytes Behind(Bytes first, const Bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

inline int Mmio::Find(const Bytes& file, DWORD parentSize) {
  test::Store(folder_.File("file"), file);
  HMMIO const opened = Open(folder_.File("file"), kRead);
  const MMCKINFO parent = {FOURCC_RIFF, parentSize, 0, 0, 0};
  MMCKINFO chunk = {mmioFOURCC('w', 'a', 'n', 't'), 0, 0, 0, 0};
  const bool found = mmioDescend(opened, &chunk, &parent, MMIO_FINDCHUNK) == 0;
  EXPECT_TRUE(!found || Position(opened) == chunk.dwDataOffset);
  mmioClose(opened, 0);
  return found ? static_cast<int>(chunk.dwDataOffset) : -1;
}
