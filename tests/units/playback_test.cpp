// MCIWavUnit and the media control under it, heard through the monitor of a sound server of the test's own.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <optional>
#include <string>
#include <thread>
#include <vector>

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
DWORD_PTR Status(MCIDEVICEID id, DWORD item) {
  MCI_STATUS_PARMS status{};
  status.dwItem = item;
  EXPECT_EQ(Send(id, MCI_STATUS, MCI_STATUS_ITEM, &status), 0u);
  return status.dwReturn;
}
DWORD_PTR Mode(MCIDEVICEID id) {
  return Status(id, MCI_STATUS_MODE);
}
DWORD_PTR Position(MCIDEVICEID id) {
  return Status(id, MCI_STATUS_POSITION);
}
MCIERROR Open(const std::string& file, MCIDEVICEID* id) {
  MCI_WAVE_OPEN_PARMSA open{};
  open.lpstrDeviceType = reinterpret_cast<LPCSTR>(DWORD_PTR{MCI_DEVTYPE_WAVEFORM_AUDIO});
  open.lpstrElementName = file.c_str();
  const MCIERROR error = Send(0, MCI_OPEN, MCI_OPEN_TYPE | MCI_OPEN_TYPE_ID | MCI_OPEN_ELEMENT, &open);
  *id = open.wDeviceID;
  return error;
}

/// A second of it.
std::string StoreSilence(const std::string& file, WORD tag = WAVE_FORMAT_PCM, WORD bits = 16) {
  const WAVEFORMATEX format{tag, 1, 8000, 16000, 2, bits, 0};
  test::StoreWav(file, std::vector{format}, std::vector<std::int16_t>(8000), 8000);
  return file;
}

class Playback : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.IsRunning()) << server_.Problem();
    const std::string parec = "parec --raw --latency-msec=10 --rate=44100 --channels=1 --format=s16le";
    ASSERT_EQ(std::system((parec + " -d room.monitor 2>/dev/null >" + server_.Path("heard") + " &").c_str()),
              0);
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
  std::string Tone(const std::string& format, const std::string& seconds, const std::string& hertz = "440") {
    const std::string file = server_.Path("tone" + seconds + hertz + ".wav");
    const std::string command =
        "sox -n " + format + " " + file + " synth " + seconds + " sine " + hertz + " vol 0.5";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return file;
  }
  SoundServer server_;
};

constexpr double kLevel = 16384;

TEST_F(Playback, OfEveryFormatIsHeardWhole) {
  for (const char* format : {"-r 44100 -c 2 -b 16", "-r 22050 -c 1 -b 8 -e unsigned", "-r 48000 -c 2 -b 24",
                             "-r 8000 -c 1 -e mu-law", "-r 8000 -c 2 -e a-law", "-r 22050 -c 1 -e ima-adpcm",
                             "-r 44100 -c 2 -e ms-adpcm"}) {
    SCOPED_TRACE(format);
    const std::string file = Tone(format, "0.8");
    const std::size_t before = Heard().size();
    MCIWavUnit unit;
    ASSERT_TRUE(unit.WavPlay(file.c_str()));
    std::this_thread::sleep_for(1200ms);
    const Sound sound = Measure(Heard(before));
    EXPECT_NEAR(sound.frames / kRate, 0.8, 0.05);
    EXPECT_NEAR(sound.hertz, 440, 3);
    EXPECT_NEAR(sound.level, kLevel, kLevel * 0.03);
    EXPECT_TRUE(unit.MCIClose()) << "the device is held after the end";
    EXPECT_FALSE(unit.MCIClose());
  }
}

TEST_F(Playback, IsReplacedByTheNextAndByNothingElse) {
  const std::string low = Tone("-r 44100 -c 2 -b 16", "20"), high = Tone("-r 44100 -c 2 -b 16", "20", "1000");
  MCIWavUnit unit;
  ASSERT_TRUE(unit.WavPlay(low.c_str()));
  EXPECT_FALSE(unit.WavPlay(server_.Path("missing.wav").c_str()));
  EXPECT_NEAR(SoundAfter(500ms).hertz, 440, 5) << "it goes on";
  ASSERT_TRUE(unit.WavPlay(high.c_str()));
  EXPECT_NEAR(SoundAfter(500ms).hertz, 1000, 10);
  MCIWavUnit second;
  ASSERT_TRUE(second.WavPlay(low.c_str()));
  EXPECT_NEAR(SoundAfter(500ms).level, kLevel * std::numbers::sqrt2, kLevel * 0.1) << "two at a time";
  MCIWavUnit copy;
  copy = second;
  EXPECT_TRUE(copy.MCIClose());
  EXPECT_NEAR(SoundAfter(500ms).hertz, 1000, 10);
  EXPECT_TRUE(second.MCIClose()) << "it still has the number";
  EXPECT_FALSE(unit.WavPlay(server_.Path("log").c_str()));
  EXPECT_EQ(SoundAfter(500ms).frames, 0) << "what cannot be played ends the one before all the same";
  EXPECT_FALSE(unit.MCIClose());
}

TEST_F(Playback, IsSilentAtOnceWithoutItsUnit) {
  const std::string file = Tone("-r 44100 -c 2 -b 16", "20");
  double late = 1;  // a machine under load may be late with what was heard: the best of three counts
  for (int attempt = 0; attempt < 3 && late > 0.1; ++attempt) {
    std::optional<MCIWavUnit> unit(std::in_place);
    ASSERT_TRUE(unit->WavPlay(file.c_str()));
    EXPECT_GT(SoundAfter(700ms).frames, 0);
    const std::size_t stop = Heard().size();
    unit.reset();
    std::this_thread::sleep_for(700ms);
    late = Measure(Heard(stop)).frames / kRate;
  }
  EXPECT_LE(late, 0.1);
}

TEST_F(Playback, ByCommandsTellsItsModeAndGoesOnAfterAStop) {
  const std::string file = Tone("-r 44100 -c 1 -b 16", "1");
  MCIDEVICEID id = 0, another = 0;
  ASSERT_EQ(Open(file, &id), 0u);
  EXPECT_EQ(Mode(id), MCI_MODE_STOP);
  const std::size_t before = Heard().size();
  ASSERT_EQ(Send(id, MCI_PLAY), 0u);
  EXPECT_EQ(Mode(id), MCI_MODE_PLAY);
  std::this_thread::sleep_for(500ms);
  EXPECT_EQ(Send(id, MCI_STOP), 0u);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(Send(id, MCI_PLAY), 0u);
  while (Mode(id) == MCI_MODE_PLAY) std::this_thread::sleep_for(1ms);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 900ms) << "only the rest was played";
  EXPECT_EQ(Position(id), 1000u);
  std::this_thread::sleep_for(300ms);
  EXPECT_NEAR(Measure(Heard(before)).frames / kRate, 1, 0.1);
  EXPECT_EQ(Send(id, MCI_CLOSE), 0u);
  EXPECT_EQ(Send(id, MCI_PLAY), MCIERR_INVALID_DEVICE_ID);
  ASSERT_EQ(Open(file, &another), 0u);
  EXPECT_NE(another, id);
  EXPECT_EQ(Send(another, MCI_CLOSE), 0u);
}

// What the listener's file has behind the last of the sound when the mode changes is how late the mode is, as
// exactly as the listener hears: the room sounds in blocks of 10 ms, and so does what comes to the file.
TEST_F(Playback, ByCommandsTellsTheEndWhenItIsHeard) {
  const std::string file = Tone("-r 44100 -c 1 -b 16", "1.3");
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
  constexpr double kLatest = 0.2;  // the sanitizers' own time
#else
  constexpr double kLatest = 0.02;
#endif
  double late = 1;  // a machine under load may look late: the best of three counts
  for (int attempt = 0; attempt < 3 && late > kLatest; ++attempt) {
    MCIDEVICEID id = 0;
    ASSERT_EQ(Open(file, &id), 0u);
    const std::size_t before = Heard().size();
    ASSERT_EQ(Send(id, MCI_PLAY), 0u);
    while (Mode(id) == MCI_MODE_PLAY) std::this_thread::sleep_for(1ms);
    const std::size_t told = Heard().size();
    std::this_thread::sleep_for(300ms);
    const std::vector<std::int16_t> heard = Heard(before);
    const auto last =
        std::find_if(heard.rbegin(), heard.rend(), [](std::int16_t s) { return std::abs(s) > 1000; });
    const double end = static_cast<double>(before) + static_cast<double>(heard.rend() - last);
    late = (static_cast<double>(told) - end) / kRate;
    EXPECT_GT(late, -0.15) << "nor before it, but for the listener's own delay";
    EXPECT_EQ(Send(id, MCI_CLOSE), 0u);
  }
  EXPECT_LE(late, kLatest);
}

// With so much of the sound still in the file, and with all of it in the device.
TEST_F(Playback, ByCommandsTellsThatTheDeviceIsGone) {
  MCIDEVICEID ids[2] = {};
  ASSERT_EQ(Open(Tone("-r 44100 -c 1 -b 16", "20"), &ids[0]), 0u);
  ASSERT_EQ(Open(Tone("-r 44100 -c 1 -b 16", "3"), &ids[1]), 0u);
  for (const MCIDEVICEID id : ids) ASSERT_EQ(Send(id, MCI_PLAY), 0u);
  std::this_thread::sleep_for(1s);
  server_.Kill();
  const auto killed = std::chrono::steady_clock::now();
  for (const MCIDEVICEID id : ids) {
    while (Mode(id) == MCI_MODE_PLAY) std::this_thread::sleep_for(1ms);
    EXPECT_LT(std::chrono::steady_clock::now() - killed, 500ms);
    EXPECT_NEAR(static_cast<double>(Position(id)), 1000, 500) << "not the end";
    EXPECT_EQ(Send(id, MCI_PLAY), MCIERR_WAVE_OUTPUTSUNSUITABLE);
    EXPECT_EQ(Send(id, MCI_CLOSE), 0u);
  }
}

// A server has long delays when nobody listens closely, and its estimates are off by them.
TEST(PlaybackEnd, IsNoticedWhenNobodyListens) {
  const SoundServer server;
  ASSERT_TRUE(server.IsRunning()) << server.Problem();
  const std::string file = StoreSilence(server.Path("short.wav"));
  MCIDEVICEID id = 0;
  ASSERT_EQ(Open(file, &id), 0u);
  ASSERT_EQ(Send(id, MCI_PLAY), 0u);
  const auto start = std::chrono::steady_clock::now();
  while (Mode(id) == MCI_MODE_PLAY) std::this_thread::sleep_for(1ms);  // a fault meets CTest's limit
  EXPECT_GE(std::chrono::steady_clock::now() - start, 1s);
  EXPECT_EQ(Send(id, MCI_CLOSE), 0u);
}

bool RefusesAsPublished() {
  const TempFolder folder;
  MCIWavUnit unit;
  MCIDEVICEID id = 0;
  return !unit.WavPlay(StoreSilence(folder.File("good.wav")).c_str()) && !unit.MCIClose() &&
         !unit.WavPlay(nullptr) && Open(StoreSilence(folder.File("tag.wav"), 0x55), &id) == 0 &&
         Send(id, MCI_PLAY) == MCIERR_WAVE_OUTPUTSUNSUITABLE &&
         Open(folder.File("none.wav"), &id) == MCIERR_FILE_NOT_FOUND &&
         Open(StoreSilence(folder.File("bits.wav"), WAVE_FORMAT_PCM, 17), &id) == MCIERR_INVALID_FILE;
}

TEST(PlaybackDeathTest, WithoutADeviceIsRefusedWithoutAWord) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto withoutDevice = [] {  // in a process of its own: ALSA reads its configuration once
    std::fflush(stdout);           // what the test program itself has said
    dup2(STDERR_FILENO, STDOUT_FILENO);
    setenv("ALSA_CONFIG_PATH", "/dev/null", 1);
    const bool refuses = RefusesAsPublished();
    std::fflush(stdout);
    _exit(refuses ? 0 : 1);
  };
  EXPECT_EXIT(withoutDevice(), testing::ExitedWithCode(0), "^$");
}

}  // namespace
