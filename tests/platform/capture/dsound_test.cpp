// Opening and listing capture devices, and the built-in one. Its voice is built in, as the library does not
// export it.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>

#include "platform/posix/capture/voice.h"
#include "platform/posix/layer.h"
#include "tests/support/CaptureObjects.h"

namespace {

using namespace std::chrono_literals;

constexpr GUID kOurs = {0x3D4B0C11, 0x6A10, 0x4D6F, {1, 2, 3, 4, 5, 6, 7, 8}};

/// A factory that gives the device and the result that it is set to.
struct Factory {
  const GUID* device;
  HRESULT result;
};
HRESULT Make(void* context, IDirectSoundCapture** device) {
  const auto& [id, result] = *static_cast<Factory*>(context);
  if (id != nullptr) DirectSoundCaptureCreate(id, device, nullptr);
  return result;
}

TEST(CaptureDevices, RegisteredOnesAreOpenedAndListed) {
  EXPECT_EQ(TryDevice(&kOurs), DSERR_NODRIVER);
  Factory signal{&platform::kSignalDevice, DS_OK};
  std::string name = "Ours";
  ASSERT_TRUE(platform::RegisterCaptureDevice(kOurs, name.c_str(), Make, &signal));
  name = "changed";
  for (const GUID& taken : {kOurs, platform::kSignalDevice})
    EXPECT_FALSE(platform::RegisterCaptureDevice(taken, "Again", Make, &signal));
  EXPECT_EQ(TryDevice(&kOurs), DS_OK);
  const std::vector<Listed> devices = ListDevices();
  ASSERT_GE(devices.size(), 2u);
  EXPECT_EQ(devices.back().name, "Built-in signal");
  EXPECT_EQ(devices[devices.size() - 2].name, "Ours");
  signal = {nullptr, DS_OK};
  EXPECT_EQ(TryDevice(&kOurs), DSERR_GENERIC) << "a factory that gives nothing";
  signal.result = DSERR_ALLOCATED;
  EXPECT_EQ(TryDevice(&kOurs), DSERR_ALLOCATED);
  EXPECT_TRUE(platform::UnregisterCaptureDevice(kOurs));
  EXPECT_FALSE(platform::UnregisterCaptureDevice(platform::kSignalDevice));
  EXPECT_EQ(TryDevice(&kOurs), DSERR_NODRIVER);
}

TEST(SignalDevice, PeaksAtHalfOfFullScaleAndIsTheSameInPiecesOfAnyLength) {
  for (const WAVEFORMATEX& format : {Pcm(2, 44100, 16), Pcm(1, 8000, 8), Pcm(3, 11025, 16)}) {
    const std::size_t block = format.nBlockAlign;
    std::vector<BYTE> expected(4 * format.nSamplesPerSec * block), cut(expected.size());
    platform::detail::Voice voice(format);
    voice.Next(expected.data(), expected.size() / block);
    voice.Restart();
    for (std::size_t at = 0, frames = 1; at < cut.size(); at += frames * block) {
      frames = std::min(frames * 7 % 1009, (cut.size() - at) / block);
      voice.Next(&cut[at], frames);
    }
    EXPECT_EQ(cut, expected);
    int peak = 0;
    const std::size_t width = format.wBitsPerSample / 8u;
    for (std::size_t high = width - 1; high < expected.size(); high += width)
      peak = std::max(peak, width == 2 ? static_cast<signed char>(expected[high]) : expected[high] - 128);
    EXPECT_TRUE(peak > 50 && peak < 64) << peak;
  }
}

}  // namespace
