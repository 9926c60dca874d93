#pragma once
// A recording of the counting device, and what has become of it.

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "capture/CMMWAVCapture.h"
#include "capture/CaptureReport.h"
#include "tests/capture/CaptureTools.h"
#include "tests/support/CountingDevice.h"

namespace soak {

constexpr DWORD kRate = 44100;
constexpr std::uint64_t kSegment = kRate / 4;  // frames

class Take {
 public:
  explicit Take(const std::string& file, DWORD rate = kRate) : file_(file) {
    thread_ = capture.Create(Pcm(rate, 2, 16), file.c_str(), nullptr, &device.id);
  }
  ~Take() {
    capture.Exit();
    CloseHandle(thread_);
  }
  Take(const Take&) = delete;
  Take& operator=(const Take&) = delete;

  /// Stops, however long the disk takes for it. @return frames that the device had delivered by then
  std::uint64_t Stop() {
    while (capture.StopREC() != 1 && StateOf(capture) == kStateCapturing) Sleep(1);
    Eventually([&] { return StateOf(capture) != kStateCapturing; }, 60000);
    return device.delivered;
  }
  void Close() {
    while (capture.fileClose() != 1 && StateOf(capture) == kStateFileOpen) Sleep(1);
    Eventually([&] { return StateOf(capture) == kStateReady; }, 60000);
  }
  bool EndsByItself(int milliseconds) {
    return Eventually([&] { return StateOf(capture) == kStateNone; }, milliseconds);
  }

  /// That the file holds all that was delivered but for the last part of a segment, once and in order.
  void ExpectAll(std::uint64_t delivered) {
    const test::Counted counted = test::CountFrames(file_);
    EXPECT_TRUE(counted.whole);
    EXPECT_EQ(counted.gaps, 0u) << "missing " << counted.missing << " at " << counted.firstGapAt;
    EXPECT_GE(counted.frames + kSegment, delivered);
    EXPECT_LE(counted.frames, delivered);
    EXPECT_EQ(cmm::GetCaptureReport().framesInFile, counted.frames);
    EXPECT_EQ(cmm::GetCaptureReport().overruns, 0u);
  }

  test::CountingDevice device;
  CMMWAVCapture capture;

 private:
  const std::string file_;
  HANDLE thread_ = nullptr;
};

/// Plays the part of the process that is stopped: records FILE from DEVICE for SECONDS and tells the report.
int RecordForParent(char** arguments);

}  // namespace soak
