// Multimedia file I/O, as published. What is the layer's own is in mmio_layer_test.cpp.
#include <deque>

#include "tests/platform/MmioTools.h"
#include "tests/support/Threads.h"

namespace {

TEST_F(Mmio, RefusesWhatIsNoFileOrCannotBeOpened) {
  for (const std::string& path : {folder_.Name(), folder_.File("missing/file"), std::string(10000, 'x')}) {
    EXPECT_EQ(Open(path, kRead), nullptr) << path;
    EXPECT_EQ(Open(path, kCreate), nullptr) << path;
  }
  EXPECT_EQ(Open(folder_.File("missing"), kRead), nullptr);
}

TEST_F(Mmio, FilesMayBeUsedSideBySideByManyThreads) {
  std::deque<test::Thread> threads;
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
}

TEST_F(Mmio, RandomTrafficMatchesAPlainCopy) {
  ExpectTheTrafficOfAPlainCopy(Order::kWritesFirst);
}

TEST_F(Mmio, ChunkWalksFindWhatIsThere) {
  const Bytes wanted = Chunk("want", 4, "data");
  EXPECT_EQ(Find(Behind(Chunk("odd ", 3, "abcd"), wanted), 100), 20);
  EXPECT_EQ(Find(Behind(Chunk("none", 0, ""), wanted), 100), 16);
  EXPECT_EQ(Find(Behind(Chunk("odd ", 3, "abcd"), wanted), 20), 20);  // the header just fits the parent
  EXPECT_EQ(Find(Chunk("want", 0xFFFFFFFF, "data"), 100), 8);         // what is found is taken as it stands
  EXPECT_EQ(Find(Bytes(100000, 0), 0xFFFFFFFF), -1);
  EXPECT_EQ(Find(Behind(Chunk("LIST", 4, "want"), wanted), 100), 20);  // form types are no chunks

  Bytes file = Behind(Chunk("RIFF", 4, "none"), Behind(Chunk("RIFF", 4, "form"), wanted));
  test::Store(folder_.File("file"), file);
  HMMIO const opened = Open(folder_.File("file"), kRead);
  MMCKINFO riff = {0, 0, mmioFOURCC('f', 'o', 'r', 'm'), 0, 0};
  EXPECT_EQ(mmioDescend(opened, &riff, nullptr, MMIO_FINDRIFF), 0u);
  EXPECT_EQ(riff.dwDataOffset, 20u);
  EXPECT_EQ(Position(opened), 24u);
  EXPECT_NE(mmioDescend(opened, &riff, nullptr, MMIO_FINDRIFF), 0u);
  mmioClose(opened, 0);
}

}  // namespace
