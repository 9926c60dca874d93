// MCIWavUnit and the media control under it, heard through the monitor of a sound server of the test's own.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <numbers>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/SoundServer.h"
#include "tests/support/files.h"
#include "units/MCIWavUnit.h"

namespace {

using namespace std::chrono_literals;
constexpr std::size_t kRate = 44100;

/// Listens to the server's room: the left channel, from when it was made.
class Listener {
 public:
  Listener()
      : pipe_(popen("exec parec --raw --latency-msec=10 -d room.monitor --rate=44100 --channels=2 "
                    "--format=s16le 2>/dev/null",
                    "r")) {
    thread_ = std::thread([this] {
      std::int16_t frames[2 * 220];
      while (std::fread(frames, sizeof frames, 1, pipe_) == 1) {
        const std::lock_guard lock(lock_);
        for (std::size_t i = 0; i < std::size(frames); i += 2) heard_.push_back(frames[i]);
      }
    });
  }
  /// After the server: that ends the pipe.
  ~Listener() {
    thread_.join();
    pclose(pipe_);
  }

  std::vector<std::int16_t> Heard(std::size_t from = 0) {
    const std::lock_guard lock(lock_);
    return {heard_.begin() + static_cast<std::ptrdiff_t>(std::min(from, heard_.size())), heard_.end()};
  }
  std::size_t Now() { return Heard().size(); }

 private:
  std::FILE* pipe_;
  std::mutex lock_;
  std::vector<std::int16_t> heard_;
  std::thread thread_;
};

struct Sound {
  std::size_t first = 0, frames = 0;  // where it lies
  double hertz = 0, level = 0;        // by its zeros; root mean square
};
/// The sound in what was heard: all between the first and the last frame that is not silent.
Sound Measure(const std::vector<std::int16_t>& heard) {
  const auto loud = [](std::int16_t sample) { return std::abs(sample) > 400; };
  const auto first = std::find_if(heard.begin(), heard.end(), loud);
  const auto last = std::find_if(heard.rbegin(), heard.rend(), loud).base();
  if (first == heard.end()) return {};
  Sound sound{static_cast<std::size_t>(first - heard.begin()), static_cast<std::size_t>(last - first)};
  double power = 0, zeros = 0;
  for (auto at = first + 1; at < last; ++at) {
    power += static_cast<double>(*at) * *at;
    zeros += (at[-1] < 0) != (*at < 0) ? 1 : 0;
  }
  const auto frames = static_cast<double>(sound.frames);
  sound.hertz = zeros / 2 / frames * kRate;
  sound.level = std::sqrt(power / frames);
  return sound;
}

template <class Parameters>
MCIERROR Send(MCIDEVICEID id, UINT command, DWORD_PTR flags, Parameters& parameters) {
  return mciSendCommandA(id, command, flags, reinterpret_cast<DWORD_PTR>(&parameters));
}
MCIERROR Send(MCIDEVICEID id, UINT command) {
  return mciSendCommandA(id, command, 0, 0);
}
DWORD_PTR Mode(MCIDEVICEID id) {
  MCI_STATUS_PARMS status{};
  status.dwItem = MCI_STATUS_MODE;
  EXPECT_EQ(Send(id, MCI_STATUS, MCI_STATUS_ITEM, status), 0u);
  return status.dwReturn;
}
constexpr DWORD_PTR kOpen = MCI_OPEN_TYPE | MCI_OPEN_TYPE_ID | MCI_OPEN_ELEMENT;
MCIERROR Open(const std::string& file, MCIDEVICEID* id, DWORD_PTR flags = kOpen,
              DWORD_PTR type = MCI_DEVTYPE_WAVEFORM_AUDIO) {
  MCI_WAVE_OPEN_PARMSA open{};
  open.lpstrDeviceType = reinterpret_cast<LPCSTR>(type);
  open.lpstrElementName = file.c_str();
  const MCIERROR error = Send(0, MCI_OPEN, flags, open);
  *id = open.wDeviceID;
  return error;
}

class Playback : public testing::Test {
 protected:
  void SetUp() override {
    server_.emplace();
    ASSERT_TRUE(server_->IsRunning()) << server_->Problem();
    listener_.emplace();
    std::this_thread::sleep_for(2s);  // the room has had as much silence from the server before
  }
  void TearDown() override {
    if (server_) server_->Kill();
  }

  /// A tone at half scale, by sox; the name says which.
  std::string Tone(const std::string& format, const std::string& seconds, const std::string& hertz = "440") {
    const std::string file = server_->Path("tone" + seconds + hertz + ".wav");
    const std::string command =
        "sox -n " + format + " " + file + " synth " + seconds + " sine " + hertz + " vol 0.5";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return file;
  }
  /// What was heard of late.
  Sound Last(double seconds) {
    const std::size_t now = listener_->Now();
    return Measure(listener_->Heard(now - std::min(now, static_cast<std::size_t>(seconds * kRate))));
  }

  std::optional<SoundServer> server_;
  std::optional<Listener> listener_;  // goes first: its thread ends with the server
};

constexpr double kLevel = 16384 / std::numbers::sqrt2;

TEST_F(Playback, OfEveryFormatIsHeardWhole) {
  for (const char* format : {"-r 44100 -c 2 -b 16", "-r 22050 -c 1 -b 8 -e unsigned", "-r 48000 -c 2 -b 24",
                             "-r 8000 -c 1 -e mu-law", "-r 8000 -c 2 -e a-law", "-r 22050 -c 1 -e ima-adpcm",
                             "-r 44100 -c 2 -e ms-adpcm"}) {
    SCOPED_TRACE(format);
    const std::string file = Tone(format, "0.8");
    const std::size_t before = listener_->Now();
    MCIWavUnit unit;
    ASSERT_TRUE(unit.WavPlay(file.c_str()));
    std::this_thread::sleep_for(1200ms);
    const Sound sound = Measure(listener_->Heard(before));
    EXPECT_NEAR(static_cast<double>(sound.frames) / kRate, 0.8, 0.05);
    EXPECT_NEAR(sound.hertz, 440, 3);
    EXPECT_NEAR(sound.level, kLevel, kLevel * 0.03);
    EXPECT_TRUE(unit.MCIClose()) << "the device is held after the end";
    EXPECT_FALSE(unit.MCIClose());
  }
}

TEST_F(Playback, IsReplacedByTheNextAndByNothingElse) {
  const std::string low = Tone("-r 44100 -c 2 -b 16", "20"), high = Tone("-r 44100 -c 2 -b 16", "20", "1000");
  const std::string broken = server_->Path("broken.wav");
  test::Store(broken, test::Bytes(100));
  MCIWavUnit unit;
  ASSERT_TRUE(unit.WavPlay(low.c_str()));
  std::this_thread::sleep_for(500ms);
  EXPECT_FALSE(unit.WavPlay(server_->Path("missing.wav").c_str()));
  std::this_thread::sleep_for(500ms);
  EXPECT_NEAR(Last(0.4).hertz, 440, 5) << "it goes on";
  ASSERT_TRUE(unit.WavPlay(high.c_str()));
  std::this_thread::sleep_for(500ms);
  EXPECT_NEAR(Last(0.3).hertz, 1000, 10);
  EXPECT_NEAR(Last(0.3).level, kLevel, kLevel * 0.05);
  {
    MCIWavUnit second;
    ASSERT_TRUE(second.WavPlay(low.c_str()));
    std::this_thread::sleep_for(500ms);
    EXPECT_NEAR(Last(0.3).level, kLevel * std::numbers::sqrt2, kLevel * 0.1) << "two at a time";
  }
  EXPECT_FALSE(unit.WavPlay(broken.c_str()));
  std::this_thread::sleep_for(500ms);
  EXPECT_EQ(Last(0.3).frames, 0u) << "a file that does not play ends the one before all the same";
  EXPECT_FALSE(unit.MCIClose());
}

TEST_F(Playback, IsSilentAtOnceWithItsUnitAndItsCopysClose) {
  const std::string file = Tone("-r 44100 -c 2 -b 16", "20");
  for (const bool destroy : {true, false}) {
    double late = 1;  // a machine under load may be late with what was heard: the best of three counts
    for (int attempt = 0; attempt < 3 && late > 0.1; ++attempt) {
      std::optional<MCIWavUnit> unit(std::in_place);
      MCIWavUnit copy;
      ASSERT_TRUE(unit->WavPlay(file.c_str()));
      std::this_thread::sleep_for(700ms);
      const std::size_t stop = listener_->Now();
      if (destroy) {
        unit.reset();
      } else {
        copy = *unit;
        EXPECT_TRUE(copy.MCIClose());
        EXPECT_TRUE(unit->MCIClose()) << "it still has the number";
      }
      std::this_thread::sleep_for(700ms);
      late = static_cast<double>(Measure(listener_->Heard(stop)).frames) / kRate;
    }
    EXPECT_LE(late, 0.1);
  }
}

TEST_F(Playback, ByCommandsTellsItsModeAndGoesOnAfterAStop) {
  const std::string file = Tone("-r 44100 -c 1 -b 16", "1");
  MCIDEVICEID id = 0, another = 0;
  ASSERT_EQ(Open(file, &id), 0u);
  EXPECT_EQ(Mode(id), MCI_MODE_STOP);
  const std::size_t before = listener_->Now();
  ASSERT_EQ(Send(id, MCI_PLAY), 0u);
  EXPECT_EQ(Mode(id), MCI_MODE_PLAY);
  std::this_thread::sleep_for(500ms);
  EXPECT_EQ(Send(id, MCI_STOP), 0u);
  EXPECT_EQ(Mode(id), MCI_MODE_STOP);
  const auto start = std::chrono::steady_clock::now();
  ASSERT_EQ(Send(id, MCI_PLAY), 0u);
  while (Mode(id) == MCI_MODE_PLAY) std::this_thread::sleep_for(1ms);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 900ms) << "only the rest was played";
  std::this_thread::sleep_for(300ms);
  EXPECT_NEAR(static_cast<double>(Measure(listener_->Heard(before)).frames) / kRate, 1, 0.1);
  EXPECT_EQ(Send(id, MCI_CLOSE), 0u);
  for (const UINT command : {MCI_PLAY, MCI_STOP, MCI_CLOSE, MCI_STATUS}) {
    EXPECT_EQ(Send(id, command), MCIERR_INVALID_DEVICE_ID);
  }
  ASSERT_EQ(Open(file, &another), 0u);
  EXPECT_NE(another, id);
  EXPECT_EQ(Send(another, 0x809), MCIERR_UNSUPPORTED_FUNCTION);
  EXPECT_EQ(mciSendCommandA(another, MCI_PLAY, MCI_WAIT, 0), MCIERR_UNSUPPORTED_FUNCTION);
  EXPECT_EQ(Send(another, 1), MCIERR_UNRECOGNIZED_COMMAND);
  EXPECT_EQ(Send(another, MCI_STATUS), MCIERR_NULL_PARAMETER_BLOCK);

  ASSERT_EQ(Send(another, MCI_PLAY), 0u);
  server_->Kill();
  while (Mode(another) == MCI_MODE_PLAY) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(Send(another, MCI_PLAY), MCIERR_WAVE_OUTPUTSUNSUITABLE);
  EXPECT_EQ(Send(another, MCI_CLOSE), 0u);
}

bool RefusesAsPublished() {
  const TempFolder folder;
  const auto store = [&folder](const char* name, WORD tag, WORD bits) {
    test::StoreWav(folder.File(name), std::vector{WAVEFORMATEX{tag, 1, 8000, 16000, 2, bits, 0}},
                   std::vector<std::int16_t>(8000), 8000);
    return folder.File(name);
  };
  const std::string good = store("good.wav", WAVE_FORMAT_PCM, 16);
  MCIWavUnit unit;
  if (unit.WavPlay(good.c_str()) || unit.MCIClose() || unit.WavPlay(nullptr)) return false;
  const struct {
    std::string file;
    MCIERROR expected;
    DWORD_PTR flags = kOpen;
    DWORD_PTR type = MCI_DEVTYPE_WAVEFORM_AUDIO;
  } kOpenings[] = {{good, 0},
                   {store("tag.wav", 0x55, 0), 0},
                   {folder.File("none.wav"), MCIERR_FILE_NOT_FOUND},
                   {folder.Path(), MCIERR_FILE_NOT_FOUND},
                   {store("bits.wav", WAVE_FORMAT_PCM, 17), MCIERR_INVALID_FILE},
                   {good, MCIERR_MISSING_PARAMETER, MCI_OPEN_ELEMENT},
                   {good, MCIERR_UNSUPPORTED_FUNCTION, kOpen | 0x400},
                   {good, MCIERR_INVALID_DEVICE_NAME, kOpen, 521}};
  for (const auto& opening : kOpenings) {
    MCIDEVICEID id = 0;
    if (Open(opening.file, &id, opening.flags, opening.type) != opening.expected) return false;
    if (id != 0 && (Send(id, MCI_PLAY) != MCIERR_WAVE_OUTPUTSUNSUITABLE || Send(id, MCI_CLOSE) != 0))
      return false;
  }
  return true;
}

/// Runs in a process of its own, since ALSA reads its configuration once a process.
[[noreturn]] void WithoutDevice() {
  std::fflush(stdout);  // what the test program itself has said
  dup2(STDERR_FILENO, STDOUT_FILENO);
  setenv("ALSA_CONFIG_PATH", "/dev/null", 1);
  const bool refuses = RefusesAsPublished();
  std::fflush(stdout);
  _exit(refuses ? 0 : 1);
}

TEST(PlaybackDeathTest, WithoutADeviceIsRefusedWithoutAWord) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(WithoutDevice(), testing::ExitedWithCode(0), "^$");
}

}  // namespace
