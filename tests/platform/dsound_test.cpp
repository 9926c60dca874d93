// Opening and listing capture devices, and the built-in one.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include "platform/posix/layer.h"
#include "tests/support/Recorder.h"

namespace {

using namespace std::chrono_literals;

constexpr GUID kOurs = {0x3D4B0C11, 0x6A10, 0x4D6F, {1, 2, 3, 4, 5, 6, 7, 8}};

HRESULT OpenSignal(void* context, IDirectSoundCapture** device) {
  ++*static_cast<int*>(context);
  return DirectSoundCaptureCreate(&platform::kSignalDevice, device, nullptr);
}
HRESULT GiveNothing(void*, IDirectSoundCapture**) {
  return DS_OK;
}
HRESULT Busy(void*, IDirectSoundCapture** device) {
  *device = reinterpret_cast<IDirectSoundCapture*>(device);
  return DSERR_ALLOCATED;
}

/// A device that is registered as long as this lives.
struct Registered {
  Registered(const char* name, HRESULT (*open)(void*, IDirectSoundCapture**), void* context = nullptr) {
    EXPECT_TRUE(platform::RegisterCaptureDevice(kOurs, name, open, context));
  }
  ~Registered() { EXPECT_TRUE(platform::UnregisterCaptureDevice(kOurs)); }
};

TEST(CaptureDevices, RegisteredOnesAreOpenedAndListed) {
  EXPECT_EQ(TryDevice(&kOurs), DSERR_NODRIVER);
  int opened = 0;
  {
    std::string name = "Ours";
    const Registered ours(name.c_str(), OpenSignal, &opened);
    name = "gone";
    EXPECT_EQ(TryDevice(&kOurs), DS_OK);
    EXPECT_EQ(opened, 1);
    const std::vector<Listed> devices = ListDevices();
    ASSERT_GE(devices.size(), 2u);
    EXPECT_EQ(devices.back().name, "Built-in signal");
    EXPECT_EQ(devices[devices.size() - 2].name, "Ours");
    EXPECT_FALSE(platform::RegisterCaptureDevice(kOurs, "Again", OpenSignal, &opened));
  }
  EXPECT_EQ(TryDevice(&kOurs), DSERR_NODRIVER);
  const auto once = [](GUID*, const char*, const char*, void* context) -> BOOL {
    ++*static_cast<int*>(context);
    return FALSE;
  };
  EXPECT_EQ(DirectSoundCaptureEnumerateA(once, &opened), DS_OK);
  EXPECT_EQ(opened, 2) << "the list ends where the callback says";
}

TEST(CaptureDevices, AFactorysFailureIsTheCallers) {
  {
    const Registered busy("Busy", Busy);
    EXPECT_EQ(TryDevice(&kOurs), DSERR_ALLOCATED);
  }
  const Registered nothing("Nothing", GiveNothing);
  EXPECT_EQ(TryDevice(&kOurs), DSERR_GENERIC);
}

TEST(CaptureDevices, WrongArgumentsAreRefused) {
  IDirectSoundCapture* device = nullptr;
  EXPECT_EQ(DirectSoundCaptureCreate(&platform::kSignalDevice, nullptr, nullptr), DSERR_INVALIDPARAM);
  EXPECT_EQ(DirectSoundCaptureEnumerateA(nullptr, nullptr), DSERR_INVALIDPARAM);
  EXPECT_FALSE(platform::RegisterCaptureDevice(kOurs, nullptr, OpenSignal, nullptr));
  EXPECT_FALSE(platform::RegisterCaptureDevice(kOurs, "Ours", nullptr, nullptr));
  EXPECT_FALSE(platform::RegisterCaptureDevice(platform::kSignalDevice, "Ours", OpenSignal, nullptr));
  EXPECT_FALSE(platform::UnregisterCaptureDevice(platform::kSignalDevice));
  ASSERT_EQ(DirectSoundCaptureCreate(&platform::kSignalDevice, &device, nullptr), DS_OK);
  const Com<IDirectSoundCapture> first(device);
  EXPECT_EQ(DirectSoundCaptureCreate(&platform::kSignalDevice, &device, first.get()), DSERR_NOAGGREGATION);
  EXPECT_EQ(device, nullptr);
  HRESULT result = DS_OK;
  EXPECT_EQ(MakeBuffer(first.get(), Pcm(2, 44100, 24), 600, &result), nullptr);
  EXPECT_EQ(result, DSERR_BADFORMAT);
}

std::vector<BYTE> Capture(WAVEFORMATEX format, DWORD segmentFrames, std::size_t bytes) {
  Recorder recorder(&platform::kSignalDevice, format, segmentFrames);
  std::vector<BYTE> data;
  EXPECT_EQ(recorder.Result(), DS_OK);
  EXPECT_EQ(recorder.Start(), DS_OK);
  while (data.size() < bytes && recorder.Drain(&data)) continue;
  EXPECT_EQ(recorder.Buffer()->Stop(), DS_OK);
  EXPECT_GE(data.size(), bytes);
  data.resize(bytes);
  return data;
}

TEST(SignalDevice, TheStreamIsTheSameHoweverItIsCutUp) {
  const WAVEFORMATEX formats[] = {Pcm(2, 44100, 16), Pcm(1, 8000, 8), Pcm(3, 11025, 16)};
  for (const WAVEFORMATEX& format : formats) {
    const DWORD half = format.nSamplesPerSec / 2;
    EXPECT_TRUE(Capture(format, half / 2, half * format.nBlockAlign) ==
                Capture(format, half / 3 + 1, half * format.nBlockAlign));
  }
}

TEST(SignalDevice, IsLoudAsHalfOfFullScale) {
  const std::vector<BYTE> data = Capture(Pcm(2, 22050, 16), 5000, 88000);
  std::vector<std::int16_t> samples(data.size() / 2);
  std::memcpy(samples.data(), data.data(), data.size());
  const auto [low, high] = std::minmax_element(samples.begin(), samples.end());
  EXPECT_GT(*high, 13000);
  EXPECT_LE(*high, 16384);
  EXPECT_LT(*low, -1000);
  const std::vector<BYTE> narrow = Capture(Pcm(1, 8000, 8), 1000, 8000);
  EXPECT_NEAR(narrow[0], 128, 1);
  EXPECT_GT(*std::max_element(narrow.begin(), narrow.end()), 180);
  EXPECT_LE(*std::max_element(narrow.begin(), narrow.end()), 192);
}

// Never ahead of the clock; and not behind it either, except for what a busy machine holds up for a while.
TEST(SignalDevice, RunsInRealTime) {
  const WAVEFORMATEX format = Pcm(2, 44100, 16);
  Recorder recorder(&platform::kSignalDevice, format, 44100);
  ASSERT_EQ(recorder.Result(), DS_OK);
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_EQ(recorder.Start(), DS_OK);
  const auto started = std::chrono::steady_clock::now();
  double ratio = 0;
  for (double elapsed = 0; elapsed < 3.5;) {
    std::this_thread::sleep_for(50ms);
    DWORD position = 0;
    recorder.Buffer()->GetCurrentPosition(nullptr, &position);
    const auto now = std::chrono::steady_clock::now();
    const double heard = position / static_cast<double>(format.nAvgBytesPerSec);
    ASSERT_LE(heard, std::chrono::duration<double>(now - begin).count());
    elapsed = std::chrono::duration<double>(now - started).count();
    ratio = heard / elapsed;
    if (elapsed > 1 && ratio > 0.97) break;
  }
  EXPECT_GT(ratio, 0.97);
}

}  // namespace
