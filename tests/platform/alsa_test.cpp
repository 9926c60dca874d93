// The machine's own devices through ALSA, with a sound server of the test's own underneath.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <numbers>

#include "platform/posix/layer.h"
#include "tests/support/Recorder.h"
#include "tests/support/SoundServer.h"
#include "tests/support/files.h"

namespace {

constexpr double kRate = 44100;

/// What a process prints and gives that has no default device. ALSA reads its configuration once a process.
[[noreturn]] void WithoutDefaultDevice(const char* configuration) {
  std::fflush(stdout);  // what the test program itself has said
  dup2(STDERR_FILENO, STDOUT_FILENO);
  setenv("ALSA_CONFIG_PATH", configuration, 1);
  unsetenv("PULSE_SERVER");
  const bool refused = TryDevice(nullptr) == DSERR_NODRIVER;
  const std::vector<Listed> devices = ListDevices();
  const bool listed = devices.front().id && *devices.back().id == platform::kSignalDevice;
  std::fflush(stdout);
  _exit(refused && listed ? 0 : 1);
}

TEST(AlsaDeathTest, WithoutADefaultDeviceThereIsNoDriverAndNoWord) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(WithoutDefaultDevice("/dev/null"), testing::ExitedWithCode(0), "^$");
}

class AlsaTest : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(server_.IsRunning()) << server_.Problem(); }

  /// 440 Hz on the left, 1000 Hz on the right, at half and a quarter of full scale.
  void PlayTone(unsigned seconds) {
    const auto frames = static_cast<unsigned>(kRate) * seconds;
    std::vector<std::int16_t> samples;
    for (unsigned i = 0; i < frames; ++i) {
      samples.push_back(static_cast<std::int16_t>(16384 * std::sin(2 * std::numbers::pi * 440 * i / kRate)));
      samples.push_back(static_cast<std::int16_t>(8192 * std::sin(2 * std::numbers::pi * 1000 * i / kRate)));
    }
    test::StoreWav(server_.Path("tone.wav"), std::vector{Pcm(2, 44100, 16)}, samples, frames);
    ASSERT_TRUE(server_.Play(server_.Path("tone.wav")));
  }

  SoundServer server_;
};

struct Fit {
  double amplitude;
  double rest;  // root mean square of what is not the tone; one lost frame makes it more than 100
};
/// Takes the tone of a known frequency out of one channel; @p frames holds whole periods of it.
Fit FitTone(const std::int16_t* samples, std::size_t frames, double hertz) {
  double re = 0, im = 0, power = 0;
  for (std::size_t i = 0; i < frames; ++i) {
    const double angle = 2 * std::numbers::pi * hertz * static_cast<double>(i) / kRate;
    const double sample = samples[2 * i];
    re += sample * std::cos(angle);
    im += sample * std::sin(angle);
    power += sample * sample;
  }
  const double count = static_cast<double>(frames);
  const double amplitude = 2 * std::hypot(re, im) / count;
  return {amplitude, std::sqrt(std::max(0.0, power / count - amplitude * amplitude / 2))};
}

// The server's room and the capture have one format, so what is captured is the tone itself. A machine that
// is too busy for the sound server may cost one second; a fault costs every one, for the ring goes round in
// each.
TEST_F(AlsaTest, CapturesWhatIsPlayedWithoutAGap) {
  PlayTone(30);
  Recorder recorder(nullptr, Pcm(2, 44100, 16), 44100 / 8);
  ASSERT_EQ(recorder.Result(), DS_OK);
  ASSERT_EQ(recorder.Start(), DS_OK);
  bool clean = false;
  for (int second = 0; second < 15 && !clean; ++second) {
    std::vector<BYTE> data;
    while (data.size() < 176400) ASSERT_TRUE(recorder.Drain(&data)) << "the device delivers nothing";
    std::vector<std::int16_t> samples(88200);
    std::memcpy(samples.data(), data.data(), 176400);
    const Fit left = FitTone(samples.data(), 44100, 440);
    const Fit right = FitTone(samples.data() + 1, 44100, 1000);
    clean = std::abs(left.amplitude - 16384) < 10 && std::abs(right.amplitude - 8192) < 10 &&
            left.rest < 10 && right.rest < 10;
  }
  EXPECT_TRUE(clean) << "no second without a gap";
}

TEST_F(AlsaTest, StartsAfreshAfterAStopAndTakesEveryDepth) {
  HRESULT result = DS_OK;
  const Com<IDirectSoundCapture> device = OpenDevice(nullptr, &result);
  ASSERT_EQ(result, DS_OK);
  DSCCAPS caps = {sizeof caps, 0, 0, 0};
  ASSERT_EQ(device->GetCaps(&caps), DS_OK);
  EXPECT_EQ(caps.dwFormats, 0xFFFu);
  EXPECT_GE(caps.dwChannels, 2u);
  EXPECT_EQ(MakeBuffer(device.get(), Pcm(1000, 8000, 8), 1000, &result), nullptr);
  EXPECT_EQ(result, DSERR_BADFORMAT);
  for (const WORD bits : {WORD{8}, WORD{16}, WORD{24}, WORD{32}}) {
    const WAVEFORMATEX format = Pcm(1, 48000, bits);
    const Com<IDirectSoundCaptureBuffer> buffer = MakeBuffer(device.get(), format, format.nAvgBytesPerSec);
    ASSERT_NE(buffer, nullptr) << bits;
    for (int run = 0; run < 2; ++run) {
      ASSERT_EQ(buffer->Start(DSCBSTART_LOOPING), DS_OK);
      DWORD position = 0;
      for (int i = 0; i < 1000 && position == 0; ++i) {
        usleep(10'000);
        buffer->GetCurrentPosition(nullptr, &position);
      }
      EXPECT_GT(position, 0u) << bits;
      ASSERT_EQ(buffer->Stop(), DS_OK);
    }
  }
}

TEST_F(AlsaTest, ListsTheDefaultDeviceAndOpensItTwice) {
  const std::vector<Listed> devices = ListDevices();
  ASSERT_GE(devices.size(), 2u);
  EXPECT_FALSE(devices.front().id) << "the default device has no GUID";
  EXPECT_EQ(*devices.back().id, platform::kSignalDevice);
  Recorder first(nullptr, Pcm(1, 22050, 16), 2205);
  Recorder second(nullptr, Pcm(2, 48000, 16), 4800);
  ASSERT_EQ(first.Result(), DS_OK);
  ASSERT_EQ(second.Result(), DS_OK);
  ASSERT_EQ(first.Start(), DS_OK);
  ASSERT_EQ(second.Start(), DS_OK);
  std::vector<BYTE> data;
  EXPECT_TRUE(first.Drain(&data));
  EXPECT_TRUE(second.Drain(&data));
}

TEST_F(AlsaTest, ADeviceThatVanishesStopsDelivering) {
  Recorder recorder(nullptr, Pcm(2, 44100, 16), 4410);
  ASSERT_EQ(recorder.Result(), DS_OK);
  ASSERT_EQ(recorder.Start(), DS_OK);
  std::vector<BYTE> data;
  ASSERT_TRUE(recorder.Drain(&data));
  testing::internal::CaptureStderr();
  server_.Kill();
  while (recorder.Drain(&data, 500)) continue;
  const std::clock_t before = std::clock();
  EXPECT_FALSE(recorder.Drain(&data, 500));
  EXPECT_LT(static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC, 0.1) << "it waits, it does not spin";
  const auto stopping = std::chrono::steady_clock::now();
  EXPECT_EQ(recorder.Buffer()->Stop(), DS_OK);
  EXPECT_LT(std::chrono::steady_clock::now() - stopping, std::chrono::seconds(2));
  EXPECT_EQ(TryDevice(nullptr), DSERR_NODRIVER);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
