// The object and its samples: opening and closing, transfer, seeking, queries.
#include <cmath>

#include "tests/wavfile/pretend_written.h"

namespace {

using WavIo = WavTest;

TEST_F(WavIo, AClosedObjectAnswersWithNothing) {
  WAVEFORMATEX format = Pcm(1, 2, 3);
  char byte = 0;
  for (int round = 0; round < 2; ++round) {
    std::uint32_t count = 99;
    EXPECT_EQ(wav_.Close(0) + wav_.Reset() + wav_.SampleFind(0) + wav_.SampleFind(1) + wav_.TimeFind(0), 0);
    EXPECT_EQ(wav_.Write(1, &byte, &count) + wav_.ChkFileSize() + wav_.GetFileInfo(&format), 0);
    EXPECT_EQ(count, 99u);
    EXPECT_EQ(wav_.Read(0, &byte, &count), 0);
    EXPECT_TRUE(format.nSamplesPerSec == 2 && wav_.GetFileName() == nullptr && wav_.GetPathName() == nullptr);
    EXPECT_EQ(wav_.GetPlayTime() + wav_.GetNowTime() + wav_.GetTimeToByte(1) + wav_.GetSampleToByte(0), 0.0);
    EXPECT_EQ(wav_.GetSampleSize() + wav_.GetNowSampleSize() + wav_.GetFSize() + wav_.GetSampleRate(), 0u);
    // Openings that fail leave it as it was.
    EXPECT_EQ(wav_.Open(folder_.File("missing.wav").c_str()) + wav_.Open(nullptr, "somewhere"), 0);
    EXPECT_EQ(wav_.Open("", folder_.Name().c_str()) + wav_.Open(Pcm(2, 44100, 16), nullptr), 0);
    EXPECT_EQ(wav_.Open(Pcm(2, 44100, 16), "a.wav", folder_.File("missing").c_str()), 0);
    EXPECT_EQ(wav_.Open(Pcm(2, 44100, 16), std::string(5000, 'x').c_str()), 0);
  }
}

TEST_F(WavIo, NamesAreJoinedAndKept) {
  const std::string folder = folder_.Path().string(), path = folder_.File("a.wav");
  for (const std::string& directory : {folder, folder + "\\", folder + "/"}) {
    ASSERT_EQ(wav_.Open(Pcm(1, 8000, 8), "a.wav", directory.c_str()), 1);
    EXPECT_EQ(wav_.GetPathName(), directory);
    Write(wav_, Pattern(8));
    EXPECT_EQ(wav_.Close(), 1);
    ASSERT_EQ(wav_.Open(path.c_str(), ""), 1);
    EXPECT_STREQ(wav_.GetPathName(), "");
    EXPECT_EQ(wav_.Open("other.wav") + wav_.Open(Pcm(2, 44100, 16), path.c_str()), 0);  // one is open
    EXPECT_EQ(wav_.GetFileName(), path);
    EXPECT_EQ(Read(wav_, 100), Pattern(8));
    EXPECT_TRUE(wav_.Close() == 1 && std::filesystem::remove(path));
  }
}

// Uneven blocks through every path a byte can take, for formats of every block size from 1 to 8. Each file is
// written over the one before.
TEST_F(WavIo, RoundTripsInUnevenBlocks) {
  for (const std::uint32_t align : {1u, 2u, 3u, 8u}) {
    for (const std::uint32_t frames : {100003u, 2049u, 7u, 1u, 0u}) {
      const Bytes data = Pattern(std::size_t{frames} * align);
      CMMWav wav;
      ASSERT_EQ(wav.Open(Pcm(static_cast<int>(align), 8000, 8), "a.wav", folder_.Name().c_str()), 1);
      for (std::size_t at = 0, step = 1; at < data.size(); at += step * align, step = step * 5 % 30011) {
        Write(wav, Part(data, at, step * align));
        ASSERT_EQ(wav.GetSampleSize(), std::min<std::size_t>(at / align + step, frames));
        ASSERT_TRUE(wav.GetNowSampleSize() == wav.GetSampleSize() && wav.GetNowTime() == wav.GetPlayTime());
      }
      ASSERT_EQ(wav.Close(), 1);
      ASSERT_EQ(wav.Open("a.wav", folder_.Name().c_str()), 1);
      ASSERT_EQ(wav.ChkFileSize(), data.size() % 2 == 0 ? 1 : 0);  // a pad byte follows the data
      ASSERT_EQ(wav.GetFSize(), std::filesystem::file_size(folder_.File("a.wav")));
      ASSERT_EQ(wav.Reset(), 1);
      for (std::uint32_t step = 1; wav.GetNowSampleSize() < frames; step = step * 7 % 20011) {
        const std::size_t at = std::size_t{wav.GetNowSampleSize()} * align;
        ASSERT_EQ(Read(wav, step * align), Part(data, at, step * align));
      }
    }
  }
}

TEST_F(WavIo, OnlyWholeBlocksMove) {
  Bytes bytes(100);
  ASSERT_EQ(wav_.Open(Pcm(2, 44100, 16), folder_.File("a.wav").c_str()), 1);
  EXPECT_EQ(wav_.Write(6, bytes.data(), &count_), 0);
  EXPECT_EQ(count_, 99u);
  EXPECT_EQ(wav_.Write(4, nullptr, &count_) + wav_.Write(4, bytes.data(), nullptr), 0);
  EXPECT_TRUE(Read(wav_, 8).empty());  // nothing to be read while writing
  EXPECT_EQ(wav_.Reset() + wav_.SampleFind(0) + wav_.TimeFind(0) + wav_.ChkFileSize(), 0);
  Write(wav_, Pattern(12));
  EXPECT_EQ(wav_.Close(), 1);
  ASSERT_TRUE(Opens(wav_, With(Load(folder_.File("a.wav")), 52, 10)));
  EXPECT_EQ(wav_.Read(6, bytes.data(), &count_), 0);
  EXPECT_EQ(count_, 0u);
  EXPECT_EQ(wav_.Read(8, nullptr, &count_) + wav_.Read(8, bytes.data(), nullptr), 0);
  for (const std::size_t expected : {8u, 2u, 0u}) EXPECT_EQ(Read(wav_, 8).size(), expected);
}

TEST_F(WavIo, AFileThatEndsEarlyFailsUntilTheNextSeek) {
  const Bytes data = Pattern(100000), file = Load(Make(Pcm(2, 44100, 16), data));
  for (const std::uint32_t count : {400u, 400000u}) {
    CMMWav wav;
    Bytes bytes(count);
    ASSERT_TRUE(Opens(wav, With(file, 52, 1000000)));
    EXPECT_EQ(wav.SampleFind(24950), 1);
    EXPECT_EQ(wav.Read(count, bytes.data(), &count_), 0);
    EXPECT_EQ(count_, 0u);
    EXPECT_EQ(Part(bytes, 0, 200), Part(data, 99800, 200));
    EXPECT_EQ(wav.Reset(), 1);
    EXPECT_EQ(Read(wav, 4), Pattern(4));
  }
}

TEST_F(WavIo, SeeksByFrameAndByTime) {
  ASSERT_EQ(wav_.Open(Make(Pcm(2, 44100, 16), Pattern(352800)).c_str()), 1);
  EXPECT_EQ(wav_.TimeFind(1.5), 1);
  for (const double refused : {2.1, -0.001, std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, -1e300, 1e15}) {
    EXPECT_EQ(wav_.TimeFind(refused), 0) << refused;
  }
  EXPECT_EQ(wav_.SampleFind(88201), 0);
  EXPECT_EQ(wav_.GetNowSampleSize(), 66150u);
  EXPECT_EQ(wav_.TimeFind(-0.00001), 1);  // less than a frame
  EXPECT_EQ(wav_.GetNowSampleSize(), 0u);
  EXPECT_EQ(wav_.TimeFind(2.0), 1);
  EXPECT_TRUE(Read(wav_, 4).empty());
  EXPECT_EQ(wav_.GetTimeToByte(1000.5), 176488200u);
  EXPECT_EQ(wav_.GetTimeToByte(0.00001) + wav_.GetTimeToByte(std::nan("")) + wav_.GetTimeToByte(1e300), 0u);
  EXPECT_EQ(wav_.GetSampleToByte(88200) + wav_.GetSampleToByte(88201), 352800u);
}

// Only the fields that an operation counts with are asked, and none divides by zero.
TEST_F(WavIo, OddFormatsAreCountedAsTheySay) {
  const struct {
    std::size_t offset, bytes;
    std::uint32_t value, frames, frameBytes, millisecond;
    int blocks;
  } kFields[] = {{22, 2, 0, 0, 0, 176, 1},   // channels
                 {28, 4, 0, 4, 4, 0, 1},     // byte rate
                 {32, 2, 0, 4, 4, 0, 0},     // block
                 {34, 2, 0, 0, 0, 176, 1},   // bits
                 {34, 2, 9, 7, 3, 176, 1}};  // a frame of 18
  const Bytes sound = Load(Make(Pcm(2, 44100, 16), Pattern(16)));
  Bytes block(16);
  for (const auto& field : kFields) {
    SCOPED_TRACE(&field - kFields);
    ASSERT_TRUE(Opens(wav_, With(sound, field.offset, field.value, field.bytes)));
    EXPECT_EQ(wav_.GetSampleSize(), field.frames);
    EXPECT_EQ(wav_.GetSampleToByte(1), field.frameBytes);
    EXPECT_EQ(wav_.GetTimeToByte(0.001), field.millisecond);
    EXPECT_EQ(wav_.TimeFind(0), field.blocks);
    EXPECT_EQ(wav_.SampleFind(field.frames + 1), 0);
    EXPECT_EQ(wav_.Read(4, block.data(), &count_), field.blocks);
    wav_.Close();
  }
  ASSERT_EQ(wav_.Open(Pcm(0, 44100, 16), folder_.File("a.wav").c_str()), 1);
  EXPECT_EQ(wav_.Write(4, block.data(), &count_), 0);
  EXPECT_EQ(wav_.Close(0), 1);
}

// A service with signed positions ends the file there, and complete; others go on.
TEST_F(WavIo, AtTwoGibibytesAFileGoesOnOrEndsComplete) {
  constexpr std::uint32_t kBefore = 0x7FFFFFFC - 56 - 200;
  const std::string path = folder_.File("half.wav");
  const Bytes data = Pattern(400);
  ASSERT_EQ(wav_.Open(Pcm(2, 44100, 16), path.c_str()), 1);
  PretendWritten(wav_, kBefore);
  EXPECT_EQ(wav_.Write(400, data.data(), &count_) == 1 ? 400u : 200u, count_);
  EXPECT_EQ(wav_.Close(0), 1);
  EXPECT_EQ(Number(LoadPart(path, 0, 56), 52), kBefore + count_);
  EXPECT_EQ(Number(LoadPart(path, 0, 56), 4) + 8, std::filesystem::file_size(path));
  EXPECT_EQ(LoadPart(path, 56 + kBefore, count_), Part(data, 0, count_));
}

}  // namespace
