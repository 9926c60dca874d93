// A disk that fills up in the middle of a recording: the run ends by itself, and the file is finished with
// what the disk has taken.

#include <cerrno>
#include <cstdlib>

#include "capture/CaptureReport.h"
#include "tests/capture/CaptureTools.h"
#include "tests/capture/ExpectStream.h"
#include "tests/support/FileSizeLimit.h"

namespace {

class FullDisk : public testing::TestWithParam<std::uint32_t> {};

TEST_P(FullDisk, EndsTheRunAndFinishesTheFile) {
  const std::uint32_t limit = GetParam();
  TempFolder folder;
  FakeDevice device;
  CMMWAVCapture capture;
  {
    const test::FileSizeLimit full(limit);
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
  const std::uint32_t data = limit - kHeaderBytes;
  ExpectStream(folder.File("take.wav"), data);
  EXPECT_EQ(capture.GetSamples(), data) << "no more than the file holds";
  const cmm::CaptureReport report = cmm::GetCaptureReport();
  EXPECT_EQ(report.end, cmm::CaptureEnd::kFileFailed);
  EXPECT_EQ(report.fileError, EFBIG);
  EXPECT_EQ(report.framesInFile, data / 4);
  EXPECT_EQ(test::Number(test::Load(folder.File("take.wav")), 44), data / 4);
  EXPECT_EQ(std::system(("soxi " + folder.File("take.wav") + " > /dev/null 2>&1").c_str()), 0);
}

// Around the header, pages and the file's buffer, and well behind.
INSTANTIATE_TEST_SUITE_P(At, FullDisk,
                         testing::Values(60u, 12056u, 65535u, 65536u, 65540u, 131072u, 300001u));

}  // namespace
