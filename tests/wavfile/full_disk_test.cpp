// A recording on a full disk: what the header names is what the disk has.
#include "tests/support/FileSizeLimit.h"
#include "tests/wavfile/pretend_written.h"

namespace {

class FullDisk : public WavTest {
 protected:
  // Records in blocks until one is not wholly taken or the data ends, closes, and checks what is left.
  void Record(const Bytes& data, std::uint32_t blockBytes, std::size_t limit, const WAVEFORMATEX& format) {
    SCOPED_TRACE("blocks of " + std::to_string(blockBytes) + ", limit " + std::to_string(limit));
    const std::string path = folder_.File("a.wav");
    std::filesystem::remove(path);
    CMMWav wav;
    std::size_t accepted = 0;
    std::int32_t closed;
    {
      const test::FileSizeLimit full(limit);
      ASSERT_EQ(wav.Open(format, path.c_str()), 1);
      std::uint32_t taken = 1;
      for (std::int32_t result = 1; result == 1 && accepted < data.size();) {
        const auto count =
            static_cast<std::uint32_t>(std::min<std::size_t>(blockBytes, data.size() - accepted));
        result = wav.Write(count, data.data() + accepted, &taken);
        ASSERT_TRUE(result == 0 || taken == count);
        accepted += taken;
        if (result == 0) {
          ASSERT_EQ(wav.Write(blockBytes, data.data(), &taken), 0);
          ASSERT_EQ(taken, 0u);  // that is how a recorder learns that its run is over
        }
      }
      ASSERT_EQ(wav.GetSampleSize(), accepted / format.nChannels * 8 / format.wBitsPerSample);
      closed = wav.Close(0);
    }
    const Bytes file = Load(path);
    ASSERT_LE(file.size(), limit);
    const std::size_t whole = 56 + accepted + accepted % 2;
    ASSERT_EQ(closed, file.size() == whole ? 1 : 0);
    if (limit < 56) return;
    const std::size_t held = std::min(limit - 56, accepted);
    ASSERT_EQ(Number(file, 4), file.size() - 8);
    ASSERT_EQ(Number(file, 52), held);
    ASSERT_EQ(Number(file, 44), held / format.nChannels * 8 / format.wBitsPerSample);
    ASSERT_EQ(file.size(), std::min(limit, 56 + held + held % 2));
    ASSERT_TRUE(
        std::equal(file.begin() + 56, file.begin() + 56 + static_cast<std::ptrdiff_t>(held), data.begin()));
    CMMWav reader;
    ASSERT_EQ(reader.Open(path.c_str()), 1);
  }
};

TEST_F(FullDisk, ASmallRecordingIsRightAtEveryLimit) {
  for (std::size_t limit = 0; limit < 180; ++limit) {
    Record(Pattern(101), 20, limit, Pcm(1, 8000, 8));
    Record(Pattern(100), 20, limit, Pcm(2, 8000, 16));
  }
}

TEST_F(FullDisk, SoIsOneLargerThanTheBuffer) {
  const Bytes data = Pattern(300001);
  for (const std::uint32_t block : {257u, 4096u, 70000u, 300001u}) {
    for (const std::size_t edge : {4096u, 65536u, 69632u, 131072u, 262144u, 300056u}) {
      for (const std::size_t limit : {edge - 57, edge - 1, edge, edge + 1, edge + 2, edge + 57}) {
        Record(data, block, limit, Pcm(1, 8000, 8));
      }
    }
  }
}

// What waits in the buffer when 2 GiB are reached goes to the disk before anything else is tried there.
TEST_F(FullDisk, JustBelowTwoGibibytesIsNoOtherPlace) {
  constexpr std::size_t kHalf = std::size_t{1} << 31;
  for (const std::size_t missing : {3000u, 9000u}) {
    for (const std::uint32_t block : {100u, 1000u}) {
      SCOPED_TRACE(std::to_string(missing) + " bytes missing, blocks of " + std::to_string(block));
      const std::string path = folder_.File("half.wav");
      const Bytes data = Pattern(50000);
      const auto before = static_cast<std::uint32_t>(kHalf - 56 - 40000);
      CMMWav wav;
      std::uint32_t accepted = 0;
      {
        const test::FileSizeLimit full(kHalf - missing);
        ASSERT_EQ(wav.Open(Pcm(2, 44100, 16), path.c_str()), 1);
        PretendWritten(wav, before);
        std::uint32_t taken = 0;
        while (accepted < data.size() && wav.Write(block, data.data() + accepted, &taken) == 1)
          accepted += taken;
        EXPECT_EQ(taken, 0u);
        EXPECT_EQ(wav.Write(block, data.data(), &taken), 0);
        EXPECT_EQ(taken, 0u);
        EXPECT_EQ(wav.Close(0), 0);
      }
      EXPECT_EQ(accepted, 40000u - block);
      EXPECT_EQ(std::filesystem::file_size(path), kHalf - missing);
      std::ifstream file(path, std::ios::binary);
      Bytes header(56), end(40000 - missing);
      file.read(header.data(), 56);
      EXPECT_EQ(Number(header, 4), kHalf - missing - 8);
      EXPECT_EQ(Number(header, 52), kHalf - missing - 56);
      file.seekg(56 + std::streamoff{before}).read(end.data(), static_cast<std::streamsize>(end.size()));
      EXPECT_TRUE(end == Part(data, 0, end.size()));
    }
  }
}

TEST_F(FullDisk, ADeviceThatTakesNothingIsReported) {
  CMMWav wav;
  ASSERT_EQ(wav.Open(Pcm(2, 44100, 16), "/dev/full"), 1);
  const Bytes data = Pattern(200000);
  std::uint32_t taken = 99;
  EXPECT_EQ(wav.Write(200000, data.data(), &taken), 0);
  EXPECT_EQ(wav.Write(4, data.data(), &taken), 0);
  EXPECT_EQ(taken, 0u);
  EXPECT_EQ(wav.Close(0), 0);
  EXPECT_EQ(wav.Close(0), 0);
}

}  // namespace
