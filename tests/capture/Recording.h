#pragma once

#include <gtest/gtest.h>

#include "capture/CaptureReport.h"
#include "tests/capture/CaptureTools.h"

using cmm::CaptureEnd;
using cmm::GetCaptureReport;

/// A recording over a device of the test's own, into take.wav.
template <class Device>
struct Recording {
  ~Recording() { CloseHandle(thread); }

  void Create(const WAVEFORMATEX& format = Format(44100, 2, 16)) {
    CloseHandle(thread);
    thread = capture.Create(format, &device.id);
    EXPECT_NE(thread, nullptr);
  }
  std::int32_t Open(const char* name = "take.wav") { return capture.fileOpen(name, folder.Name().c_str()); }
  void Start(const WAVEFORMATEX& format = Format(44100, 2, 16)) {
    Create(format);
    EXPECT_EQ(Open(), 1);
    EXPECT_EQ(capture.StartREC(), 1);
  }
  bool Reaches(std::uint32_t state) {
    return Eventually([&, state] { return StateOf(capture) == state; });
  }
  void ExpectEnd(std::int32_t result) {
    EXPECT_EQ(capture.Exit(), result);
    EXPECT_EQ(WaitForSingleObject(thread, 5000), WAIT_OBJECT_0);
  }

  TempFolder folder;
  const std::string file = folder.File("take.wav");
  Device device;
  CMMWAVCapture capture;
  HANDLE thread = nullptr;
};

/// Expects a finished file with the first bytes of the fake device's stream.
inline void ExpectStream(const std::string& path, std::size_t bytes) {
  const auto file = test::Load<std::uint8_t>(path);
  ASSERT_EQ(file.size(), kHeaderBytes + bytes);
  std::size_t same = 0;
  while (same < bytes && file[kHeaderBytes + same] == FakeDevice::Byte(same)) ++same;
  EXPECT_EQ(same, bytes);
  EXPECT_EQ(test::Number({file.begin(), file.begin() + kHeaderBytes}, 52), bytes);
}
