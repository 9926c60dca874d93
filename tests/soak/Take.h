#pragma once
// A recording of the counting device, and the check of its file.

#include "tests/capture/Recording.h"
#include "tests/support/CountingDevice.h"

namespace soak {

constexpr DWORD kRate = 44100;
constexpr std::uint64_t kSegment = kRate / 4;  // frames

struct Take : Recording<test::CountingDevice> {
  explicit Take(DWORD rate = kRate, bool ignoresClock = false) {
    device.ignoresClock = ignoresClock;
    Start(Format(rate, 2, 16));
  }

  /// Stops, however long the disk takes for it. @return frames that the device had delivered by then
  std::uint64_t Stop() {
    while (capture.StopREC() != 1 && StateOf(capture) == kStateCapturing) Sleep(1);
    Eventually([&] { return StateOf(capture) != kStateCapturing; }, 60000);
    return device.delivered;
  }
  /// Closes, however long the disk takes for it, and expects a file without a gap.
  test::Counted Close(std::uint64_t gaps = 0) {
    while (capture.fileClose() != 1 && StateOf(capture) == kStateFileOpen) Sleep(1);
    Eventually([&] { return StateOf(capture) <= kStateNone || StateOf(capture) == kStateReady; }, 60000);
    const test::Counted counted = test::CountFrames(file);
    EXPECT_TRUE(counted.complete);
    EXPECT_EQ(counted.gaps, gaps) << "missing " << counted.missing << " at " << counted.firstGapAt;
    EXPECT_EQ(GetCaptureReport().framesInFile, counted.frames);
    EXPECT_EQ(GetCaptureReport().overruns, gaps);
    return counted;
  }
};

}  // namespace soak
