// Short memory: an operation that cannot have its block gives 0 and leaves nothing behind.
#include "tests/support/AllocationCounter.h"
#include "tests/wavfile/wav_test.h"

namespace {

class Memory : public test::WavTest {};

TEST_F(Memory, OpensFailCleanlyAtEveryAllocation) {
  const std::string directory =
      folder_.Path().string() + std::string(300, '/');  // longer than the usual room
  for (const bool writes : {true, false}) {
    int needed = -1;
    for (int limit = 0; needed < 0 && limit < 100; ++limit) {
      CMMWav wav;
      LimitBlocks(limit);
      const std::int32_t opened = writes ? wav.Open(test::Pcm(2, 44100, 16), "a.wav", directory.c_str())
                                         : wav.Open("a.wav", directory.c_str());
      LimitBlocks(-1);
      EXPECT_EQ(wav.GetFileName() != nullptr, opened == 1);
      EXPECT_EQ(wav.Close(), opened);
      if (opened == 1) needed = limit;
    }
    EXPECT_GE(needed, 4);  // two names, the path, the format
  }
}

}  // namespace
