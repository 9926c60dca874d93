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
#include <cstdio>
#include <optional>
#include <string>

#include "examples/terminal.h"
#include "examples/tool.h"
#include "examples/wav_text.h"
#include "platform/platform.h"
#include "units/MCIWavUnit.h"
#include "wavfile/CMMWav.h"

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using namespace std::chrono_literals;

namespace {

constexpr auto kLateness = 2s;  // of the sound behind the clock, at the most
constexpr DWORD kLook = 100;    // milliseconds

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
    if (StopWanted() || now >= end) return played;
    line.Show(played);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now).count();
    Sleep(static_cast<DWORD>(std::min<std::int64_t>(kLook, left)));
  }
}

void Play(const std::string& file) {
  const std::optional<double> length = LengthOf(file);
  if (!length) throw Failure(file + ": " + WhyUnreadable(file));
  MCIWavUnit player;
  if (!player.WavPlay(file.c_str())) {
    throw Failure(file + " cannot be played:\n" +
                  "  there is no sound device (connect one, or start the sound server), another program is\n"
                  "  using it, or nothing here plays this file's format; cmm-info tells which that is");
  }
  std::printf("Playing %s: %s. Ctrl-C stops it.\n", file.c_str(), TimeText(*length).c_str());
  std::fflush(stdout);
  const double played = PlayToTheEnd(*length);
  player.MCIClose();
  if (StopWanted()) std::printf("Stopped at %s\n", TimeText(played).c_str());
}

void Tool(int argc, char** argv) {
  CLI::App app("Plays a WAV file on the system's default sound device.", "cmm-play");
  std::string file;
  app.add_option("file", file, "The WAV file")->type_name("")->required();
  ReadOptions(app, argc, argv);
  CatchStops();
  Play(file);
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-play", Tool, argc, argv);
}
