// Up to the limits of the format, and of a disk. Windows has lower ones: 2 GiB for its mmioSeek, 260 bytes
// for its paths.
#include "tests/support/FileSizeLimit.h"
#include "tests/wavfile/pretend_written.h"
#include "wavfile/WavCheck.h"

namespace {

using Limits = WavTest;

TEST_F(Limits, WritingStopsWhereTheSizesEndAndReadingSeeksUpToThere) {
  const std::string path = folder_.Path().string() + std::string(300, '/') + "a.wav";
  constexpr std::uint32_t kMost = 0xFFFFFFCC;  // a RIFF size of 0xFFFFFFFC
  const Bytes data = Pattern(20000);
  ASSERT_EQ(wav_.Open(Pcm(2, 44100, 16), path.c_str()), 1);
  PretendWritten(wav_, kMost - 8);
  for (const std::uint32_t expected : {8u, 0u}) {
    EXPECT_EQ(wav_.Write(20000, data.data(), &count_), 0);
    EXPECT_EQ(count_, expected);
  }
  EXPECT_EQ(wav_.Close(77), 1);
  EXPECT_EQ(Number(LoadPart(path, 0, 56), 44), 77u);
  EXPECT_EQ(std::filesystem::file_size(path), std::uintmax_t{56} + kMost);
  // One bit for a sample, so that the count of frames does not wrap below what is sought.
  std::fstream(path, std::ios::binary | std::ios::in | std::ios::out).seekp(34).write("\1", 2);
  ASSERT_EQ(wav_.Open(path.c_str()), 1);
  EXPECT_EQ(wav_.GetFSize(), 0xFFFFFFFCu + 8);  // in 32 bits
  for (const std::uint32_t left : {12u, 0x68000000u}) {
    ASSERT_EQ(wav_.SampleFind((kMost - left) / 4), 1);
    EXPECT_EQ(Read(wav_, 12), Join({Bytes(4), Part(left == 12 ? data : Bytes(8), 0, 8)}));
  }
}

TEST_F(Limits, UnfinishedRecordingsUpToTheLimitAreRepairedAndLargerOnesRefused) {
  const std::string path = folder_.File("a.wav");
  Store(path, With(With(Riff({FormatChunk(16), Chunk("data", Pattern(4000))}), 4, 0), 40, 0));
  std::uint64_t frames = 0;
  const auto repair = [&] { return cmm::RepairWavFile(path.c_str(), {}, nullptr, nullptr, &frames); };
  std::filesystem::resize_file(path, 0x100000000ull + 4044);
  std::vector<std::string> codes;
  const auto keep = [](void* all, const cmm::WavFinding& finding) {
    static_cast<std::vector<std::string>*>(all)->push_back(finding.code);
  };
  EXPECT_EQ(cmm::CheckWavFile(path.c_str(), keep, &codes), 1);
  EXPECT_EQ(codes, std::vector<std::string>{"file-too-large"});
  EXPECT_EQ(repair(), 0);
  std::filesystem::resize_file(path, 0xFFFFFFFEull);
  EXPECT_EQ(repair(), 1);
  EXPECT_EQ(frames, (0xFFFFFFFEull - 44) / 2);
  EXPECT_EQ(Number(LoadPart(path, 0, 44), 4), 0xFFFFFFFEu - 8);
  EXPECT_EQ(repair(), 2);
}

class FullDisk : public WavTest {
 protected:
  // Writes blocks until one is not completely taken or the data ends, closes, and checks the file.
  void WriteAndCheck(const Bytes& data, std::uint32_t blockBytes, std::size_t limit,
                     std::uint32_t before = 0) {
    SCOPED_TRACE("blocks of " + std::to_string(blockBytes) + ", limit " + std::to_string(limit));
    const std::string path = folder_.File("a.wav");
    std::uint32_t accepted = 0, taken = 1;
    std::int32_t closed;
    {
      const test::FileSizeLimit full(limit);
      ASSERT_EQ(wav_.Open(Pcm(1, 8000, 8), path.c_str()), 1);
      if (before > 0) PretendWritten(wav_, before);
      for (std::int32_t result = 1; result == 1 && accepted < data.size(); accepted += taken) {
        const Bytes block = Part(data, accepted, blockBytes);
        result = wav_.Write(static_cast<std::uint32_t>(block.size()), block.data(), &taken);
        ASSERT_EQ(result == 1, taken == block.size());
      }
      if (accepted < data.size()) {
        ASSERT_EQ(wav_.Write(blockBytes, data.data(), &taken), 0);
        ASSERT_EQ(taken, 0u);  // so a recording host learns that the disk is full
      }
      closed = wav_.Close(0);
    }
    const std::size_t size = std::filesystem::file_size(path);
    const std::size_t complete = 56u + before + accepted;
    ASSERT_EQ(size, std::min(limit, complete + complete % 2));
    ASSERT_EQ(closed, size == complete + complete % 2 ? 1 : 0);
    const std::size_t held = std::min(limit, complete) - 56;
    const Bytes header = LoadPart(path, 0, 56);
    ASSERT_EQ(Number(header, 4), size - 8);
    ASSERT_EQ(Number(header, 52), held);
    ASSERT_EQ(Number(header, 44), held % (1u << 29));
    ASSERT_TRUE(LoadPart(path, 56 + before, held - before) == Part(data, 0, held - before));
  }
};

// The header goes to the disk at once.
TEST_F(FullDisk, OpenTellsThatTheHeaderHasNoRoom) {
  const std::string path = folder_.File("a.wav");
  for (std::size_t limit = 0; limit < 56; ++limit) {
    const test::FileSizeLimit full(limit);
    ASSERT_EQ(wav_.Open(Pcm(1, 8000, 8), path.c_str()), 0) << limit;
    ASSERT_EQ(wav_.Close(0), 0) << limit;
    ASSERT_EQ(std::filesystem::file_size(path), limit);
  }
}

TEST_F(FullDisk, ARecordingIsRightAtEveryLimit) {
  for (std::size_t limit = 56; limit < 180; ++limit) WriteAndCheck(Pattern(101), 20, limit);
  const Bytes data = Pattern(300001);
  for (const std::uint32_t block : {257u, 4096u, 70000u, 300001u}) {
    for (const std::size_t edge : {4096u, 65536u, 131072u, 300056u}) {
      for (const std::size_t limit : {edge - 57, edge - 1, edge + 1, edge + 2})
        WriteAndCheck(data, block, limit);
    }
  }
}

// What is in the buffer when 2 GiB are reached is flushed before anything else is tried.
TEST_F(FullDisk, ARecordingIsRightJustBelowTwoGibibytes) {
  constexpr std::uint32_t kHalf = 1u << 31;
  for (const std::uint32_t missing : {3000u, 9000u}) {
    for (const std::uint32_t block : {100u, 1000u}) {
      WriteAndCheck(Pattern(50000), block, kHalf - missing, kHalf - 56 - 40000);
    }
  }
}

}  // namespace
