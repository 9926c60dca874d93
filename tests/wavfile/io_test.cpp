// The object and its samples: opening and closing, transfer, seeking, queries.
#include <cmath>
#include <limits>

#include "tests/wavfile/pretend_written.h"

namespace {

using WavIo = WavTest;

TEST_F(WavIo, AClosedObjectAnswersWithNothing) {
  CMMWav wav;
  WAVEFORMATEX format = Pcm(1, 2, 3);
  char byte = 0;
  std::uint32_t count = 99;
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(wav.Close(0), 0);
    EXPECT_EQ(wav.Reset(), 0);
    EXPECT_EQ(wav.Write(1, &byte, &count), 0);
    EXPECT_EQ(count, 99u);
    EXPECT_EQ(wav.Read(0, &byte, &count), 0);
    EXPECT_EQ(wav.SampleFind(0) + wav.SampleFind(1) + wav.TimeFind(0) + wav.ChkFileSize(), 0);
    EXPECT_EQ(wav.GetFileInfo(&format), 0);
    EXPECT_EQ(format.nSamplesPerSec, 2u);
    EXPECT_EQ(wav.GetFileName(), nullptr);
    EXPECT_EQ(wav.GetPathName(), nullptr);
    EXPECT_EQ(wav.GetPlayTime() + wav.GetNowTime(), 0.0);
    EXPECT_EQ(wav.GetSampleToByte(0) + wav.GetTimeToByte(1) + wav.EndConvert() + wav.GetNowSampleSize(), 0u);
    count = 99;
    EXPECT_EQ(wav.Open(folder_.File("missing.wav").c_str()), 0);  // leaves it as it was
    EXPECT_EQ(wav.Open(nullptr, "somewhere"), 0);
    EXPECT_EQ(wav.Open("", folder_.Name().c_str()), 0);
    EXPECT_EQ(wav.Open(Pcm(2, 44100, 16), nullptr), 0);
    EXPECT_EQ(wav.Open(Pcm(2, 44100, 16), "a.wav", folder_.File("missing").c_str()), 0);
    EXPECT_EQ(wav.Open(Pcm(2, 44100, 16), std::string(5000, 'x').c_str()), 0);
  }
}

TEST_F(WavIo, NamesAreJoinedAndKept) {
  const std::string folder = folder_.Path().string();
  for (const std::string& directory : {folder, folder + "\\", folder + "/"}) {
    CMMWav wav;
    ASSERT_EQ(wav.Open(Pcm(1, 8000, 8), "a.wav", directory.c_str()), 1);
    EXPECT_EQ(wav.GetPathName(), directory);
    EXPECT_EQ(wav.Close(), 1);
    EXPECT_TRUE(std::filesystem::remove(folder_.File("a.wav")));
  }
  const std::string path = Make(Pcm(1, 8000, 8), Pattern(8));
  for (const char* directory : {static_cast<const char*>(nullptr), ""}) {
    CMMWav wav;
    ASSERT_EQ(wav.Open(path.c_str(), directory), 1);
    EXPECT_STREQ(wav.GetPathName(), "");
    EXPECT_EQ(wav.Open("other.wav"), 0);
    EXPECT_EQ(wav.Open(Pcm(2, 44100, 16), path.c_str()), 0);  // does not cut the open file
    EXPECT_EQ(wav.GetFileName(), path);
    EXPECT_EQ(Read(wav, 100), Pattern(8));
  }
}

// Uneven blocks through every road a byte can take, for formats of every block size from 1 to 8.
TEST_F(WavIo, RoundTripsInUnevenBlocks) {
  for (const int channels : {1, 2, 3, 8}) {
    for (const std::size_t frames : {1u, 2u, 3u, 7u, 127u, 2049u, 100003u}) {
      const auto align = static_cast<std::uint32_t>(channels);
      const Bytes data = Pattern(frames * align);
      CMMWav wav;
      ASSERT_EQ(wav.Open(Pcm(channels, 8000, 8), "a.wav", folder_.Name().c_str()), 1);
      std::size_t at = 0;
      for (std::size_t step = 1; at < data.size(); step = step * 5 % 30011) {
        const Bytes block = Part(data, at, step * align);
        Write(wav, block);
        at += block.size();
        ASSERT_EQ(wav.GetSampleSize(), at / align);
        ASSERT_EQ(wav.GetNowSampleSize(), at / align);
        ASSERT_EQ(wav.GetNowTime(), wav.GetPlayTime());
      }
      ASSERT_EQ(wav.Close(), 1);
      ASSERT_EQ(wav.Open("a.wav", folder_.Name().c_str()), 1);
      ASSERT_EQ(wav.ChkFileSize(), data.size() % 2 == 0 ? 1 : 0);
      ASSERT_EQ(wav.Reset(), 1);
      at = 0;
      for (std::size_t step = 1; at < data.size(); step = step * 7 % 20011) {
        const Bytes block = Read(wav, static_cast<std::uint32_t>(step) * align);
        ASSERT_EQ(block, Part(data, at, step * align));
        at += block.size();
        ASSERT_EQ(wav.GetNowSampleSize(), at / align);
      }
      ASSERT_TRUE(Read(wav, align).empty());
      for (std::uint32_t frame = 0; frame <= frames; frame += 1 + frame / 2) {
        ASSERT_EQ(wav.SampleFind(frame), 1);
        ASSERT_EQ(wav.GetNowSampleSize(), frame);
        const std::uint32_t count = frame * 31 % 9000 * align;
        ASSERT_EQ(Read(wav, count), Part(data, std::size_t{frame} * align, count));
      }
    }
  }
}

TEST_F(WavIo, OnlyWholeBlocksMove) {
  CMMWav wav;
  const std::string path = folder_.File("a.wav");
  wav.Open(Pcm(2, 44100, 16), path.c_str());
  std::uint32_t count = 99;
  Bytes bytes(100);
  EXPECT_EQ(wav.Write(6, bytes.data(), &count), 0);
  EXPECT_EQ(count, 99u);
  EXPECT_EQ(wav.Write(0, bytes.data(), &count), 1);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(wav.Write(4, nullptr, &count) + wav.Write(4, bytes.data(), nullptr), 0);
  EXPECT_EQ(wav.Read(8, bytes.data(), &count), 1);  // nothing to be read while writing
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(wav.Reset() + wav.SampleFind(0) + wav.TimeFind(0) + wav.ChkFileSize(), 0);
  Write(wav, Pattern(12));
  EXPECT_EQ(wav.Close(), 1);

  Bytes file = Load(path);
  EXPECT_EQ(file.size(), 68u);
  SetNumber(file, 52, 10);
  ASSERT_TRUE(Opens(wav, file));
  EXPECT_EQ(wav.Read(6, bytes.data(), &count), 0);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(wav.Read(8, nullptr, &count) + wav.Read(8, bytes.data(), nullptr), 0);
  EXPECT_EQ(wav.Write(4, bytes.data(), &count), 0);
  EXPECT_EQ(Read(wav, 8).size(), 8u);
  EXPECT_EQ(Read(wav, 8).size(), 2u);
  EXPECT_EQ(Read(wav, 8).size(), 0u);
}

TEST_F(WavIo, AFileThatEndsEarlyFailsUntilTheNextSeek) {
  for (const std::uint32_t count : {400u, 400000u}) {
    Bytes file = Load(Make(Pcm(2, 44100, 16), Pattern(100000)));
    SetNumber(file, 52, 1000000);
    CMMWav wav;
    ASSERT_TRUE(Opens(wav, file));
    EXPECT_EQ(wav.SampleFind(24950), 1);
    Bytes bytes(count);
    std::uint32_t delivered = 99;
    EXPECT_EQ(wav.Read(count, bytes.data(), &delivered), 0);
    EXPECT_EQ(delivered, 0u);
    EXPECT_EQ(Part(bytes, 0, 200), Part(Pattern(100000), 99800, 200));
    EXPECT_EQ(wav.GetNowSampleSize(), 24950 + count / 4);
    EXPECT_EQ(wav.Reset(), 1);
    EXPECT_EQ(Read(wav, 4), Pattern(4));
  }
  CMMWav wav;
  ASSERT_EQ(wav.Open(folder_.File("a.wav").c_str()), 1);
  EXPECT_EQ(wav.ChkFileSize(), 1);  // leaves the position at the end
  Bytes bytes(4);
  std::uint32_t delivered;
  EXPECT_EQ(wav.Read(4, bytes.data(), &delivered), 0);
  EXPECT_EQ(wav.SampleFind(0), 1);
  EXPECT_EQ(Read(wav, 4), Pattern(4));
}

TEST_F(WavIo, SeeksByFrameAndByTime) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  const std::string path = Make(Pcm(2, 44100, 16), Pattern(352800));
  CMMWav wav;
  ASSERT_EQ(wav.Open(path.c_str()), 1);
  EXPECT_EQ(wav.TimeFind(1.5), 1);
  EXPECT_EQ(wav.GetNowSampleSize(), 66150u);
  for (const double refused : {2.1, -0.001, kNone, kInfinite, -kInfinite, 1e300, -1e300, 1e15}) {
    EXPECT_EQ(wav.TimeFind(refused), 0) << refused;
  }
  EXPECT_EQ(wav.SampleFind(88201), 0);
  EXPECT_EQ(wav.GetNowSampleSize(), 66150u);
  EXPECT_EQ(wav.TimeFind(-0.00001), 1);  // less than a frame
  EXPECT_EQ(wav.GetNowSampleSize(), 0u);
  EXPECT_EQ(wav.TimeFind(2.0), 1);
  EXPECT_TRUE(Read(wav, 4).empty());
  EXPECT_EQ(wav.GetNowTime(), 2.0);

  EXPECT_EQ(wav.GetTimeToByte(0.00001), 0u);
  EXPECT_EQ(wav.GetTimeToByte(1000.5), 176488200u);
  EXPECT_EQ(wav.GetTimeToByte(kNone) + wav.GetTimeToByte(1e300), 0u);
  EXPECT_EQ(wav.GetSampleToByte(88200), 352800u);
  EXPECT_EQ(wav.GetSampleToByte(88201), 0u);
  wav.Close();

  ASSERT_EQ(wav.Open(Make(Pcm(1, 8000, 12), Pattern(6)).c_str()), 1);
  EXPECT_EQ(wav.GetSampleToByte(3), 5u);  // 36 bits
}

// Only the field that an operation divides by counts.
TEST_F(WavIo, ZeroesInTheFormatDivideNothing) {
  struct {
    std::size_t offset, count;
    std::uint32_t frames, perFrame, millisecond;
    int time, blocks;
  } const kFields[] = {
      {22, 2, 0, 0, 176, 1, 1},  // channels
      {28, 4, 4, 4, 0, 1, 1},    // byte rate
      {32, 2, 4, 4, 0, 0, 0},    // block
      {34, 2, 0, 0, 176, 1, 1},  // bits
  };
  const Bytes sound = Load(Make(Pcm(2, 44100, 16), Pattern(16)));
  Bytes block(16);
  std::uint32_t count = 99;
  for (const auto& field : kFields) {
    SCOPED_TRACE(field.offset);
    Bytes file = sound;
    SetNumber(file, field.offset, 0, field.count);
    CMMWav wav;
    ASSERT_TRUE(Opens(wav, file));
    EXPECT_EQ(wav.GetSampleSize(), field.frames);
    EXPECT_EQ(wav.TimeFind(0), field.time);
    EXPECT_EQ(wav.SampleFind(field.frames + 1), 0);
    EXPECT_EQ(wav.SampleFind(0), 1);
    EXPECT_EQ(wav.Read(4, block.data(), &count), field.blocks);
    EXPECT_EQ(count, field.blocks == 1 ? 4u : 0u);
    EXPECT_EQ(wav.GetNowSampleSize(), field.frames * count / 16);
    EXPECT_EQ(wav.GetTimeToByte(0.001), field.millisecond);
    EXPECT_EQ(wav.GetSampleToByte(1), field.perFrame);
    EXPECT_EQ(std::isfinite(wav.GetPlayTime()), field.offset != 28);
    EXPECT_EQ(wav.GetNowTime(), count / (field.offset == 28 ? 0.0 : 176400.0));
  }
  for (const WAVEFORMATEX& format : {Pcm(0, 44100, 16), Pcm(2, 44100, 0), Pcm(2, 44100, 7)}) {
    CMMWav wav;
    const std::string path = folder_.File("zero.wav");
    ASSERT_EQ(wav.Open(format, path.c_str()), 1);
    EXPECT_EQ(wav.Write(4, block.data(), &count), 0);
    EXPECT_EQ(wav.Close(0), 1);
    EXPECT_EQ(Number(Load(path), 44), 0u);
  }
}

// A compressed format counts frames one way and blocks another, so that a high frame lies behind the data.
TEST_F(WavIo, FramesAndBlocksMayDiffer) {
  Bytes file = Load(Make(Pcm(1, 8000, 16), Pattern(256)));
  SetNumber(file, 28, 4000);
  SetNumber(file, 32, 64, 2);
  SetNumber(file, 34, 4, 2);
  CMMWav wav;
  ASSERT_TRUE(Opens(wav, file));
  EXPECT_EQ(wav.GetSampleSize(), 512u);
  EXPECT_EQ(wav.TimeFind(0.04), 1);  // 160 bytes, so the third block
  EXPECT_EQ(Read(wav, 64), Part(Pattern(256), 128, 64));
  EXPECT_EQ(wav.SampleFind(512), 1);
  EXPECT_EQ(wav.GetNowSampleSize(), 512u * 64 * 8 / 4);
}

// A service with signed positions ends the file there, and whole; others go on.
TEST_F(WavIo, AtTwoGibibytesAFileGoesOnOrEndsWhole) {
  const std::string path = folder_.File("half.wav");
  constexpr std::uint32_t kBefore = 0x7FFFFFFC - 56 - 200;
  const Bytes data = Pattern(400);
  CMMWav wav;
  ASSERT_EQ(wav.Open(Pcm(2, 44100, 16), path.c_str()), 1);
  PretendWritten(wav, kBefore);
  std::uint32_t taken = 0;
  const std::int32_t whole = wav.Write(400, data.data(), &taken);
  EXPECT_EQ(taken, whole == 1 ? 400u : 200u);
  std::uint32_t more = 99;
  EXPECT_EQ(wav.Write(4, data.data(), &more), whole);
  EXPECT_EQ(more, whole == 1 ? 4u : 0u);
  EXPECT_EQ(wav.Close(0), 1);

  std::ifstream file(path, std::ios::binary);
  Bytes head(56);
  file.read(head.data(), 56);
  EXPECT_EQ(Number(head, 52), kBefore + taken + more);
  EXPECT_EQ(Number(head, 4) + 8, std::filesystem::file_size(path));
  Bytes end(taken);
  file.seekg(56 + std::streamoff{kBefore}).read(end.data(), static_cast<std::streamsize>(taken));
  EXPECT_EQ(end, Part(data, 0, taken));
  EXPECT_EQ(wav.Open(path.c_str()), 1);
}

}  // namespace
