// MCIWavUnit and the media control under it, heard through the monitor of a sound server of the test's own.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/Formats.h"
#include "tests/support/Sound.h"
#include "tests/support/SoundServer.h"
#include "tests/support/files.h"
#include "units/MCIWavUnit.h"

namespace {

using namespace std::chrono_literals;
using test::kRate;
using test::Measure;
using test::Sound;

MCIERROR Send(MCIDEVICEID id, UINT command, DWORD_PTR flags = 0, void* parameters = nullptr) {
  return mciSendCommandA(id, command, flags, reinterpret_cast<DWORD_PTR>(parameters));
}
/// The results of opening a file and of playing it.
using Results = std::pair<MCIERROR, MCIERROR>;
Results Play(const std::string& file) {
  MCI_WAVE_OPEN_PARMSA open{};
  open.lpstrDeviceType = reinterpret_cast<LPCSTR>(DWORD_PTR{MCI_DEVTYPE_WAVEFORM_AUDIO});
  open.lpstrElementName = file.c_str();
  const MCIERROR opened = Send(0, MCI_OPEN, MCI_OPEN_TYPE | MCI_OPEN_TYPE_ID | MCI_OPEN_ELEMENT, &open);
  return {opened, Send(open.wDeviceID, MCI_PLAY)};
}

class Playback : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.IsRunning()) << server_.Problem();
    const std::string parec = "parec --raw --latency-msec=10 --rate=44100 --channels=1 --format=s16le";
    const std::string command = parec + " -d room.monitor 2>/dev/null >" + server_.Path("heard") + " &";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::this_thread::sleep_for(2s);  // the room has had as much silence from the server before
  }

  /// What the room has heard, from a frame on, in mono.
  std::vector<std::int16_t> Heard(std::size_t from = 0) {
    const test::Bytes bytes = test::Load(server_.Path("heard"));
    std::vector<std::int16_t> frames(bytes.size() / 2 - from);
    std::memcpy(frames.data(), bytes.data() + 2 * from, 2 * frames.size());
    return frames;
  }
  /// What is heard then: the last 0.3 s of it.
  Sound SoundAfter(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
    return Measure(Heard(Heard().size() - 13230));
  }

  /// A tone at half scale, by sox; the name says which.
  std::string Tone(const char* format, const std::string& seconds, const std::string& hertz = "440") {
    const std::string file = server_.Path("tone" + seconds + hertz + ".wav");
    const std::string sound = " synth " + seconds + " sine " + hertz + " vol 0.5";
    EXPECT_EQ(std::system(("sox -n " + std::string(format) + " " + file + sound).c_str()), 0) << format;
    return file;
  }
  SoundServer server_;
};

constexpr double kLevel = 16384;

TEST_F(Playback, OfCodedSoundIsHeardToItsEnd) {
  const std::string file = Tone("-r 22050 -c 1 -e ima-adpcm", "0.5");
  const std::size_t before = Heard().size();
  MCIWavUnit unit;
  ASSERT_TRUE(unit.WavPlay(file.c_str()));
  std::this_thread::sleep_for(900ms);
  const Sound sound = Measure(Heard(before));
  EXPECT_NEAR(sound.frames / kRate, 0.5, 0.05);
  EXPECT_NEAR(sound.hertz, 440, 4);
  EXPECT_NEAR(sound.level, kLevel, kLevel * 0.03);
  EXPECT_TRUE(unit.MCIClose()) << "the device is held after the end";
  EXPECT_FALSE(unit.MCIClose());
}

TEST_F(Playback, IsReplacedByTheNextAndSilentAtOnceWithoutItsUnit) {
  const std::string low = Tone("-r 22050 -c 1 -b 8 -e unsigned", "20"),
                    high = Tone("-r 48000 -c 2 -b 24", "20", "1000");
  {
    MCIWavUnit unit, second, copy;
    ASSERT_TRUE(unit.WavPlay(low.c_str()));
    EXPECT_FALSE(unit.WavPlay(server_.Path("missing.wav").c_str()));
    ASSERT_TRUE(second.WavPlay(high.c_str()));
    EXPECT_NEAR(SoundAfter(500ms).level, kLevel * std::numbers::sqrt2, kLevel * 0.1) << "the first goes on";
    copy = second;
    EXPECT_TRUE(copy.MCIClose());
    EXPECT_NEAR(SoundAfter(500ms).hertz, 440, 5);
    ASSERT_TRUE(unit.WavPlay(high.c_str()));
    EXPECT_TRUE(second.MCIClose()) << "it still has the number, which no other gets";
    EXPECT_NEAR(SoundAfter(500ms).hertz, 1000, 10);
    EXPECT_FALSE(unit.WavPlay(server_.Path("log").c_str()));
    EXPECT_EQ(SoundAfter(500ms).frames, 0) << "what cannot be played ends the one before all the same";
    EXPECT_FALSE(unit.MCIClose());
    ASSERT_TRUE(unit.WavPlay(low.c_str()));
    EXPECT_GT(SoundAfter(500ms).frames, 0);
  }
  EXPECT_EQ(SoundAfter(500ms).frames, 0);
}

void PlayWithoutADevice() {
  setenv("ALSA_CONFIG_PATH", "/dev/null", 1);
  const TempFolder folder;
  const std::string file = folder.File("a.wav");
  MCIWavUnit unit;
  bool refused = Play(file) == Results(MCIERR_FILE_NOT_FOUND, MCIERR_INVALID_DEVICE_ID);
  test::StoreWav(file, std::vector{Format(8000, 0, 16)}, test::Bytes(8000), 0);
  refused = refused && Play(file) == Results(MCIERR_INVALID_FILE, MCIERR_INVALID_DEVICE_ID);
  test::StoreWav(file, std::vector{Format(8000, 1, 16)}, test::Bytes(8000), 0);
  refused = refused && Play(file) == Results(0, MCIERR_WAVE_OUTPUTSUNSUITABLE);
  std::_Exit(refused && !unit.WavPlay(file.c_str()) && !unit.MCIClose() && !unit.WavPlay(nullptr) ? 0 : 1);
}

// In a process of its own: ALSA reads its configuration once.
TEST(PlaybackDeathTest, WithoutADeviceIsRefusedWithoutOutput) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(PlayWithoutADevice(), testing::ExitedWithCode(0), "^$");
}

}  // namespace
