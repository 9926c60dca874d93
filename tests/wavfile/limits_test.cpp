// Up to the limits of the format. Windows itself ends before: its mmioSeek at 2 GiB, its paths at 260 bytes.
#include "tests/wavfile/pretend_written.h"

namespace {

using Limits = WavTest;

TEST_F(Limits, LongNamesAreTaken) {
  const std::string directory = folder_.File(std::string(250, 'n'));
  std::filesystem::create_directory(directory);
  CMMWav wav;
  ASSERT_EQ(wav.Open(Pcm(1, 8000, 8), "a.wav", directory.c_str()), 1);
  EXPECT_EQ(wav.GetPathName(), directory);
  EXPECT_EQ(wav.Close(), 1);
  EXPECT_TRUE(std::filesystem::exists(directory + "/a.wav"));
}

TEST_F(Limits, LargeFilesAreSoughtBeyondTwoGibibytes) {
  const std::string path = folder_.File("large.wav");
  constexpr std::uint32_t kBlock = 0x8000;
  constexpr std::uint32_t kBytes = 0xD8000000;
  const Bytes last = Pattern(kBlock);
  CMMWav wav;
  ASSERT_EQ(wav.Open(Pcm(1, 8000, 8), path.c_str()), 1);
  PretendWritten(wav, kBytes - kBlock);
  Write(wav, last);
  ASSERT_EQ(wav.Close(0), 1);
  Bytes format(4);  // block and bits of a format whose count of frames does not wrap below what is sought
  SetNumber(format, 0, kBlock | 1 << 16);
  std::fstream(path, std::ios::binary | std::ios::in | std::ios::out).seekp(32).write(format.data(), 4);

  ASSERT_EQ(wav.Open(path.c_str()), 1);
  EXPECT_EQ(wav.ChkFileSize(), 1);
  EXPECT_EQ(wav.GetFSize(), kBytes + 56);
  ASSERT_EQ(wav.SampleFind(kBytes / kBlock - 1), 1);
  EXPECT_EQ(Read(wav, 2 * kBlock), last);
  ASSERT_EQ(wav.SampleFind(kBytes / kBlock - 2), 1);
  EXPECT_EQ(Read(wav, kBlock), Bytes(kBlock, 0));
}

TEST_F(Limits, WritingStopsWhereTheSizesEnd) {
  const std::string path = folder_.File("full.wav");
  constexpr std::uint32_t kMost = 0xFFFFFFCC;  // a RIFF size of 0xFFFFFFFC
  CMMWav wav;
  ASSERT_EQ(wav.Open(Pcm(2, 44100, 16), path.c_str()), 1);
  PretendWritten(wav, kMost - 8);
  const Bytes data = Pattern(20000);
  std::uint32_t taken = 99;
  EXPECT_EQ(wav.Write(20000, data.data(), &taken), 0);
  EXPECT_EQ(taken, 8u);
  EXPECT_EQ(wav.Write(4, data.data(), &taken), 0);
  EXPECT_EQ(taken, 0u);
  EXPECT_EQ(wav.Close(77), 1);
  EXPECT_EQ(std::filesystem::file_size(path), std::uintmax_t{56} + kMost);
  ASSERT_EQ(wav.Open(path.c_str()), 1);
  EXPECT_EQ(wav.GetFSize(), 0xFFFFFFFCu + 8);  // in 32 bits
  EXPECT_EQ(wav.GetPlayTime(), kMost / 176400.0);
}

}  // namespace
