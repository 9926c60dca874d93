// cmm-play: plays a WAV file on a sound device, to its end or until Ctrl-C.
//
// MCIWavUnit only starts and ends a playback. This program also shows the position, and has to know when the
// file is over and whether the device is still there, so it sends the commands of the media control itself.
// MCI_STATUS gives the position, and the end once all sound has been played. A device that fails stops too,
// but before the file's length.
//
// The media control reads RIFF files. One in another container is converted first, into a file of the system's
// folder for temporary files.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>

#include "platform/platform.h"
#include "tools/conversion.h"
#include "tools/devices.h"
#include "tools/paths.h"
#include "tools/streams.h"
#include "tools/terminal.h"
#include "tools/tool.h"
#include "tools/wav_length.h"
#include "tools/wav_text.h"
#include "wavfile/PcmDriver.h"

namespace {

constexpr DWORD_PTR kOpenFlags = MCI_OPEN_TYPE | MCI_OPEN_TYPE_ID | MCI_OPEN_ELEMENT | MCI_WAVE_OPEN_BUFFER;
constexpr DWORD kBufferSeconds = 4;
constexpr DWORD kPollMs = 100;                // milliseconds
constexpr double kPositionLagSeconds = 0.25;  // by which the position may lag behind the sound

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

// A file on the media control's waveform device.
class Player {
 public:
  /// @param failure what to tell when it cannot be played
  Player(const std::string& file, const std::string& failure) {
    MCI_WAVE_OPEN_PARMSA open{};
    open.lpstrDeviceType = reinterpret_cast<LPCSTR>(DWORD_PTR{MCI_DEVTYPE_WAVEFORM_AUDIO});
    open.lpstrElementName = file.c_str();
    open.dwBufferSeconds = kBufferSeconds;
    isOpen_ = Send(MCI_OPEN, kOpenFlags, &open) == 0;
    device_ = open.wDeviceID;
    MCI_PLAY_PARMS play{};
    if (isOpen_ && Send(MCI_PLAY, MCI_NOTIFY, &play) == 0) return;
    Close();
    throw Failure(failure);
  }
  ~Player() { Close(); }
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;

  bool IsPlaying() const { return Status(MCI_STATUS_MODE) == MCI_MODE_PLAY; }
  double Seconds() const { return static_cast<double>(Status(MCI_STATUS_POSITION)) / 1000.0; }
  void Stop() {
    MCI_GENERIC_PARMS none{};
    Send(MCI_STOP, MCI_WAIT, &none);
  }

 private:
  MCIERROR Send(UINT command, DWORD_PTR flags, void* parameters) const {
    return mciSendCommandA(device_, command, flags, reinterpret_cast<DWORD_PTR>(parameters));
  }
  DWORD_PTR Status(DWORD item) const {
    MCI_STATUS_PARMS status{};
    status.dwItem = item;
    Send(MCI_STATUS, MCI_STATUS_ITEM | MCI_WAIT, &status);
    return status.dwReturn;
  }
  void Close() {
    MCI_GENERIC_PARMS none{};
    if (isOpen_) Send(MCI_CLOSE, MCI_WAIT, &none);
  }

  MCIDEVICEID device_ = 0;
  bool isOpen_ = false;
};

// Converts a file to PCM of 16 bits, under its name in a temporary folder.
void MakePlain(const std::string& file, StandardStreams& streams, std::optional<PcmFile>& made) {
  const WAVEFORMATEX source = FormatOf(file);
  const WAVEFORMATEX format = Pcm(source.nSamplesPerSec, source.nChannels > 1 ? 2 : 1, 16);
  const std::string wanted = PathText(streams.Folder() / NativePath(file).filename());
  made.emplace(wanted, format);
  ConvertFile({file, wanted, format},
              [&](const std::uint8_t* data, std::uint32_t bytes) { made->Write(data, bytes); });
  made->Finish();
}

void Play(const std::string& file, StandardStreams& streams) {
  cmm::AddPcmDriver();
  const WavSizes source = ReadSource(file);
  const double length = LengthOf(source).seconds.value_or(0.0);
  std::optional<PcmFile> plain;  // outlives its player
  if (!source.IsPlain()) MakePlain(file, streams, plain);
  Player player(
      plain ? plain->Name() : file,
      file + " (" + Describe(source.format) + ") cannot be played:\n" +
          "  there is no sound device (connect one, or start the sound server), another program is\n"
          "  using it, or nothing here plays this format; " +
          WayOut(file));
  std::printf("Playing %s: %s. Ctrl-C stops it.\n", file.c_str(), TimeText(length).c_str());
  std::fflush(stdout);
  {
    const TimeLine line(length);
    for (; player.IsPlaying() && !StopWanted(); Sleep(kPollMs)) line.Show(player.Seconds());
  }
  if (StopWanted()) {
    player.Stop();
    std::printf("Stopped at %s\n", TimeText(player.Seconds()).c_str());
  } else if (player.Seconds() < length - kPositionLagSeconds) {
    throw Failure("the sound ended at " + TimeText(player.Seconds()) +
                  ": the sound device is gone, or the file cannot be read any further");
  }
}

void Tool(int argc, char** argv) {
  CLI::App app("Plays a WAV file on a sound device.", "cmm-play");
  std::string file, device;
  bool list = false;
  app.add_option("file", file, "The WAV file; - is standard input")->type_name("");
  app.add_flag("--list", list, "List the devices of the sound server and exit");
  app.add_option("-D,--device", device,
                 "A name of --list or a part of one, or a name of the sound system's\n"
                 "own as hw:1; without it the system's default device")
      ->type_name("DEVICE");
  app.callback([&] {
    if (!list && file.empty()) throw CLI::RequiredError("file");
  });
  ReadOptions(app, argc, argv);
  if (list) {
    PrintPlaybackDevices();
    return;
  }
  if (!device.empty()) ChoosePlaybackDevice(device);
  CatchStops();
  StandardStreams streams;
  Play(streams.Source(file), streams);
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-play", Tool, argc, argv);
}
