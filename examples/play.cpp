// cmm-play: plays a WAV file on the system's default sound device, to its end or until Ctrl-C.
//
// MCIWavUnit starts a playback and ends it, and that is all: it gives no word when the file is over, and does
// not tell how far it has come. So this program learns the length from CMMWav, starts the sound, and goes by
// the clock: what it shows is the time that has passed, and it closes the unit once the length has. The sound
// itself comes later, by up to two seconds when a sound server has to wake or saves power, so it gets these
// before the unit is closed: closing cuts off what has not been heard yet.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>

#include "examples/terminal.h"
#include "examples/wav_text.h"
#include "units/MCIWavUnit.h"
#include "wavfile/CMMWav.h"

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using namespace std::chrono_literals;

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;
constexpr auto kLateness = 2s;  // of the sound behind the clock, at the most
constexpr auto kLook = 100ms;

volatile std::sig_atomic_t stopWanted = 0;

void OnSignal(int /*signal*/) {
  stopWanted = 1;
}

int Fail(const std::string& message) {
  std::fprintf(stderr, "cmm-play: %s\n", message.c_str());
  return kFailed;
}

// The line on the terminal; elsewhere there is none.
class TimeLine {
 public:
  explicit TimeLine(double total) : total_(TimeText(total)) {}
  TimeLine(const TimeLine&) = delete;
  TimeLine& operator=(const TimeLine&) = delete;
  ~TimeLine() {
    if (live_) std::fprintf(stderr, "\r%40s\r", "");
  }
  void Show(double seconds) const {
    if (live_) std::fprintf(stderr, "\r%s / %s", TimeText(seconds).c_str(), total_.c_str());
  }

 private:
  const bool live_ = IsTerminal(stderr);
  const std::string total_;
};

// Length of a file that can be read, in seconds; a header that gives no rate of bytes gives none.
std::optional<double> LengthOf(const std::string& file) {
  CMMWav wav;
  if (wav.Open(file.c_str()) != 1) return std::nullopt;
  const double length = wav.GetPlayTime();
  return std::isfinite(length) ? length : 0.0;
}

// @return seconds played, no more than the length
double PlayToTheEnd(double length) {
  const TimeLine line(length);
  const auto start = Clock::now();
  const auto end = start + std::chrono::duration_cast<Clock::duration>(Seconds(length)) + kLateness;
  for (;;) {
    const auto now = Clock::now();
    const double played = std::min(Seconds(now - start).count(), length);
    if (stopWanted != 0 || now >= end) return played;
    line.Show(played);
    std::this_thread::sleep_for(std::min<Clock::duration>(kLook, end - now));
  }
}

int Play(const std::string& file) {
  const std::optional<double> length = LengthOf(file);
  if (!length) return Fail(file + ": " + WhyUnreadable(file));
  MCIWavUnit player;
  if (!player.WavPlay(file.c_str())) {
    return Fail(file + " cannot be played:\n" +
                "  there is no sound device (connect one, or start the sound server), another program is\n"
                "  using it, or nothing here plays this file's format; cmm-info tells which that is");
  }
  std::printf("Playing %s: %s. Ctrl-C stops it.\n", file.c_str(), TimeText(*length).c_str());
  std::fflush(stdout);
  const double played = PlayToTheEnd(*length);
  player.MCIClose();
  if (stopWanted != 0) std::printf("Stopped at %s\n", TimeText(played).c_str());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Plays a WAV file on the system's default sound device.", "cmm-play");
  std::string file;
  app.add_option("file", file, "The WAV file")->type_name("")->required();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongUse;
  }
  std::signal(SIGINT, OnSignal);
  std::signal(SIGTERM, OnSignal);
  return Play(file);
}
