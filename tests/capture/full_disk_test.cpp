// A disk that fills up in the middle of a recording: the run ends by itself, and the file is finished with
// what the disk has taken.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <cstring>

#include "capture/CMMWAVCapture.h"
#include "tests/capture/CaptureTools.h"
#include "tests/capture/FakeDevice.h"

namespace {

/// While it lives, no file of the process grows past a size. The library's threads take that as an error; the
/// signal that goes with it is not for them.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before_;
};

std::uint32_t Field(const std::vector<std::uint8_t>& bytes, std::size_t offset) {
  std::uint32_t value = 0;
  std::memcpy(&value, &bytes[offset], sizeof value);
  return value;
}

class FullDisk : public testing::TestWithParam<std::uint32_t> {};

TEST_P(FullDisk, EndsTheRunAndFinishesTheFile) {
  const std::uint32_t limit = GetParam();
  TempFolder folder;
  FakeDevice device;
  CMMWAVCapture capture;
  {
    const FileSizeLimit full(limit);
    const HANDLE thread = capture.Create(Pcm(8000, 2, 16), "take.wav", folder.Path().c_str(), &device.id);
    ASSERT_EQ(capture.StartREC(), 1);
    for (int segment = 0; segment < 100 && StateOf(capture) == kStateCapturing; ++segment) {
      const std::uint32_t before = capture.GetSamples();
      device.Deliver(8000);
      Eventually([&] { return capture.GetSamples() != before || StateOf(capture) == kStateNone; });
    }
    EXPECT_EQ(StateOf(capture), kStateNone);
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
    CloseHandle(thread);
  }
  std::uint32_t state = 0;
  std::int32_t result = 1;
  capture.GetState(&state, &result);
  const auto bytes = FileBytes(folder.File("take.wav"));
  ASSERT_EQ(bytes.size(), limit);
  const auto data = static_cast<std::uint32_t>(bytes.size() - kHeaderBytes);
  // 0: bytes that were taken are not on the disk, or there was no room for the pad byte.
  EXPECT_EQ(result, capture.GetSamples() == data && data % 2 == 0 ? 1 : 0);
  EXPECT_EQ(Field(bytes, 4), bytes.size() - 8);
  EXPECT_EQ(Field(bytes, 44), data / 4);
  EXPECT_EQ(Field(bytes, 52), data);
  for (std::size_t k = 0; k < data; ++k) ASSERT_EQ(bytes[kHeaderBytes + k], FakeDevice::Byte(k)) << k;
  EXPECT_EQ(std::system(("soxi " + folder.File("take.wav") + " > /dev/null 2>&1").c_str()), 0);
}

// Around the header, pages and the file's buffer, and well behind.
INSTANTIATE_TEST_SUITE_P(At, FullDisk,
                         testing::Values(60u, 12056u, 65535u, 65536u, 65540u, 131072u, 300001u));

}  // namespace
