// The machine's own devices through ALSA, over a sound server that the test starts.

#include <gtest/gtest.h>

#include "platform/posix/layer.h"
#include "tests/support/CaptureObjects.h"
#include "tests/support/SoundServer.h"

namespace {

TEST(AlsaTest, CapturesInEveryDepthAndPrintsNothingWithoutADevice) {
  SoundServer server;
  ASSERT_TRUE(server.IsRunning()) << server.Problem();
  EXPECT_FALSE(ListDevices().front().id) << "the default device has no GUID";
  HRESULT result = DS_OK;
  const auto device = OpenDevice(nullptr, &result);
  ASSERT_EQ(result, DS_OK);
  MakeBuffer(device.get(), Pcm(1000, 8000, 8), 8000, &result);
  EXPECT_EQ(result, DSERR_BADFORMAT);
  for (const WORD bits : {WORD{8}, WORD{16}, WORD{24}, WORD{32}}) {
    const auto buffer = MakeBuffer(device.get(), Pcm(1, 48000, bits), 6000u * bits, &result);
    ASSERT_EQ(result, DS_OK) << bits;
    for (int afresh = 0; afresh < 2; ++afresh) {
      ASSERT_EQ(buffer->Start(DSCBSTART_LOOPING), DS_OK) << bits;
      DWORD position = 0;
      for (int tries = 0; position == 0 && tries < 1000; ++tries) {
        Sleep(10);
        buffer->GetCurrentPosition(nullptr, &position);
      }
      EXPECT_NE(position, 0u) << bits;
      ASSERT_EQ(buffer->Stop(), DS_OK);
    }
  }
  GUID byName{}, again{};
  EXPECT_TRUE(platform::CaptureDeviceByName("pulse:room.monitor", &byName));
  EXPECT_TRUE(platform::CaptureDeviceByName("pulse:room.monitor", &again));
  EXPECT_TRUE(byName == again);
  EXPECT_EQ(TryDevice(&byName), DS_OK);
  EXPECT_FALSE(platform::CaptureDeviceByName("cellar", &byName));
  server.Kill();
  testing::internal::CaptureStderr();
  EXPECT_EQ(TryDevice(nullptr), DSERR_NODRIVER);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
