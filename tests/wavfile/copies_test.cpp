// Copies share the file: whichever goes, and in whatever order, nothing is lost, freed twice or left behind.
#include <algorithm>
#include <memory>

#include "tests/support/System.h"
#include "tests/wavfile/wav_test.h"

namespace {

using Copies = WavTest;

// Three objects on one file take turns; then they are closed or destroyed in every order.
TEST_F(Copies, WriteOnOneFileAndGoInAnyOrder) {
  const std::string path = folder_.File("a.wav");
  const Bytes data = Pattern(300000);
  std::vector<int> order = {0, 1, 2};
  do {
    for (int closing = 0; closing < 8; ++closing) {
      std::vector<std::unique_ptr<CMMWav>> wavs;
      wavs.push_back(std::make_unique<CMMWav>());
      ASSERT_EQ(wavs[0]->Open(Pcm(2, 44100, 16), path.c_str()), 1);
      Write(*wavs[0], Part(data, 0, 100));
      wavs.push_back(std::make_unique<CMMWav>(*wavs[0]));
      wavs.push_back(std::make_unique<CMMWav>());
      *wavs[2] = *wavs[1];
      std::size_t at = 100;
      std::size_t step = 4;
      const auto writeBy = [&](CMMWav& wav) {
        Write(wav, Part(data, at, step));
        at = std::min(data.size(), at + step);
        step *= 3;
        EXPECT_EQ(wav.GetSampleSize(), at / 4);
      };
      for (int turn = 0; turn < 9; ++turn) writeBy(*wavs[static_cast<std::size_t>(turn) % 3]);
      bool closed = false;
      for (const int index : order) {
        std::unique_ptr<CMMWav>& wav = wavs[static_cast<std::size_t>(index)];
        EXPECT_EQ(wav->GetSampleSize(), closed ? 0 : at / 4);
        EXPECT_EQ(wav->GetFileName() == nullptr, closed);
        if ((closing >> index & 1) != 0) {
          EXPECT_EQ(wav->Close(0), closed ? 0 : 1);
          closed = true;
          EXPECT_EQ(OpenFiles(folder_.Path()), 0u);
        } else if (!closed) {
          writeBy(*wav);
        }
        wav.reset();
      }
      EXPECT_EQ(OpenFiles(folder_.Path()), 0u);
      const Bytes file = Load(path);
      ASSERT_EQ(file.size(), 56 + at);
      EXPECT_EQ(Number(file, 52), at);
      EXPECT_TRUE(std::equal(file.begin() + 56, file.end(), data.begin()));
    }
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(Copies, ReadOnFromWhereAnotherStands) {
  const Bytes data = Pattern(20000);
  CMMWav first;
  ASSERT_EQ(first.Open(Make(Pcm(2, 44100, 16), data).c_str()), 1);
  CMMWav second(first);
  EXPECT_EQ(Read(first, 5000), Part(data, 0, 5000));
  EXPECT_EQ(Read(second, 5000), Part(data, 5000, 5000));
  {
    CMMWav third(first);
    EXPECT_EQ(third.SampleFind(4000), 1);
  }
  EXPECT_EQ(first.GetNowSampleSize(), 4000u);
  EXPECT_EQ(Read(second, 8000), Part(data, 16000, 4000));
}

TEST_F(Copies, AssignmentGivesUpWhatTheTargetHolds) {
  const std::string one = folder_.File("one.wav");
  const std::string two = folder_.File("two.wav");
  CMMWav wav;
  CMMWav other;
  wav.Open(Pcm(1, 8000, 8), one.c_str());
  Write(wav, Pattern(10));
  wav = *&wav;
  EXPECT_EQ(wav.GetSampleSize(), 10u);
  other.Open(Pcm(1, 8000, 8), two.c_str());
  wav = other;
  EXPECT_EQ(Number(Load(one), 52), 10u);  // finished
  wav = other;                            // from one of the same file
  Write(wav, Pattern(7));
  other = CMMWav();
  EXPECT_EQ(other.GetFileName(), nullptr);
  EXPECT_EQ(wav.GetFileName(), two);
  EXPECT_EQ(wav.Close(), 1);
  EXPECT_EQ(Number(Load(two), 52), 7u);
  EXPECT_EQ(OpenFiles(folder_.Path()), 0u);
}

TEST_F(Copies, AClosedSharerOpensAFileOfItsOwn) {
  const std::string one = Make(Pcm(1, 8000, 8), Pattern(10), "one.wav");
  const std::string two = Make(Pcm(1, 8000, 8), Pattern(20), "two.wav");
  CMMWav first;
  ASSERT_EQ(first.Open(one.c_str()), 1);
  CMMWav second(first);
  CMMWav third(second);
  EXPECT_EQ(second.Close(), 1);
  CMMWav fourth(first);  // of one that has not noticed
  EXPECT_EQ(second.Open(two.c_str()), 1);
  EXPECT_EQ(first.Open(two.c_str()), 1);
  EXPECT_EQ(Read(first, 20), Pattern(20));
  EXPECT_EQ(Read(second, 20), Pattern(20));
  EXPECT_EQ(third.GetChannels() + fourth.GetChannels(), 0u);
  EXPECT_EQ(third.Close(), 0);
}

}  // namespace
