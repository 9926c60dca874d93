// cmm-record: records from a capture device into a WAV file, for a while or until Ctrl-C.
//
// Record() has the library's order of calls: Create, wait until the device is ready, fileOpen, StartREC,
// watch it, StopREC, fileClose, Exit. Capture and file writing run on the library's thread; this one sleeps
// and shows the status.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>

#include "capture/CMMWAVCapture.h"
#include "capture/CaptureReport.h"
#include "tools/devices.h"
#include "tools/disk_sync.h"
#include "tools/failures.h"
#include "tools/meter.h"
#include "tools/option_values.h"
#include "tools/output_file.h"
#include "tools/take.h"
#include "tools/terminal.h"
#include "tools/tool.h"
#include "tools/wav_text.h"

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace {

constexpr auto kReadyLimit = 10s;     // for the device to open
constexpr auto kCommandLimit = 60s;   // for a command, with a slow disk
constexpr auto kSilenceLimit = 10s;   // without a frame from the device; the message says it in words
constexpr DWORD kPollNearEndMs = 50;  // see Watch; elsewhere the meter's interval

struct Options {
  bool list = false;
  bool force = false;
  std::string device;
  std::string file;
  std::uint32_t rate = 44100;
  std::uint16_t channels = 2;
  std::uint16_t bits = 16;
  double duration = 0;  // 0: until a signal
  double sync = 0;      // seconds; 0: never
};

WAVEFORMATEX FormatOf(const Options& options) {
  WAVEFORMATEX format{};
  format.wFormatTag = WAVE_FORMAT_PCM;
  format.nChannels = options.channels;
  format.nSamplesPerSec = options.rate;
  format.wBitsPerSample = options.bits;
  format.nBlockAlign = static_cast<WORD>(options.channels * options.bits / 8);
  format.nAvgBytesPerSec = options.rate * format.nBlockAlign;
  return format;
}

// The sizes in a WAV file have 32 bits.
void CheckDuration(const Options& options) {
  const double limit = std::floor(4294967000.0 / FormatOf(options).nAvgBytesPerSec);
  if (options.duration >= 0 && options.duration <= limit) return;
  throw CLI::ValidationError("--duration", "a number from 0 to " + std::to_string(static_cast<long>(limit)) +
                                               ", which is as many seconds as a WAV file in this format can "
                                               "hold (4 GiB)");
}

void WaitUntilReady(CMMWAVCapture& capture) {
  const auto limit = Clock::now() + kReadyLimit;
  std::uint32_t state = 0;
  std::int32_t result = 0;
  while (!StopWanted() && Clock::now() < limit) {
    if (capture.GetState(&state, &result) == 1) {
      if (state == kStateReady) return;
      // 0: the device is still being opened; 1: it has been, and the state is about to say so
      if (result != 0 && result != 1) throw Failure(DeviceFailureText(state, result));
    }
    Sleep(10);
  }
  throw Failure(StopWanted() ? "stopped before the recording began" : "the capture device does not answer");
}

// Sends a command, and waits on when it times out: with a slow disk it takes effect later. One that is refused
// at once a hundred times will not be taken at all: memory is short.
// @return whether the recording has reached the wanted state
template <class Command>
bool RunCommand(CMMWAVCapture& capture, CaptureState wanted, Command command) {
  const auto limit = Clock::now() + kCommandLimit;
  for (int refusals = 0; Clock::now() < limit && refusals < 100; Sleep(10)) {
    const auto sent = Clock::now();
    if (command() == 1) return true;
    std::uint32_t state = kStateNone;
    std::int32_t result = 1;
    if (capture.GetState(&state, &result) != 1) continue;  // the thread still waits for the disk
    if (state == wanted) return true;
    if (state == kStateNone || result != 1) return false;
    if (Clock::now() - sent < 100ms) ++refusals;
  }
  return false;
}

enum class Ending { kWanted, kByItself, kNoData };

// Shows the recording until it is to end or has ended. The time for which the disk stalls does not count as
// silence of the device: its sound waits in the ring meanwhile.
// @param wanted frames; 0: until a signal
// @param sync may be null
Ending Watch(CMMWAVCapture& capture, TakeLevels& levels, std::uint64_t wanted, DiskSync* sync) {
  Meter meter(capture, levels);
  std::uint64_t lastFrames = 0;
  auto lastNews = Clock::now();
  for (;;) {
    std::uint32_t state = kStateUnknown;
    capture.GetState(&state, nullptr);
    if (const std::string text = sync != nullptr ? sync->NewFailure() : ""; !text.empty()) meter.Say(text);
    meter.Show(state);
    if (state == kStateNone) return Ending::kByItself;
    const std::uint64_t frames = cmm::GetCaptureReport().framesInFile;
    if (StopWanted() || (wanted > 0 && frames >= wanted)) return Ending::kWanted;
    if (frames != lastFrames || state == kStateUnknown) {
      lastFrames = frames;
      lastNews = Clock::now();
    } else if (Clock::now() - lastNews > kSilenceLimit) {
      return Ending::kNoData;
    }
    // More often near the end, so that no further segment comes in between.
    const bool almost = wanted > 0 && frames + capture.GetSampleRate() / 2 > wanted;
    Sleep(almost ? kPollNearEndMs : meter.IntervalMs());
  }
}

[[noreturn]] void FailUnfinished(const std::string& time, const std::string& file) {
  const cmm::CaptureReport report = cmm::GetCaptureReport();
  throw Failure("the recording ended at " + time + ": " + EndText(report, file) + ".\n" +
                (report.framesInFile > 0 ? "  What was recorded until then is in the file."
                                         : "  The file holds no sound."));
}

std::string LossText(std::uint32_t rate) {
  const cmm::CaptureReport report = cmm::GetCaptureReport();
  if (report.lostFrames == 0) return {};
  char text[60];
  std::snprintf(text, sizeof text, ", %s%.2f s lost", report.lossIsEstimate ? "about " : "",
                static_cast<double>(report.lostFrames) / rate);
  return text;
}

std::string ClippedText(std::uint64_t frames) {
  if (frames == 0) return {};
  return ", " + std::to_string(frames) + (frames == 1 ? " frame clipped" : " frames clipped");
}

void Record(const Options& options, const GUID* device) {
  const char* file = options.file.c_str();
  CMMWAVCapture capture;
  const HANDLE thread = capture.Create(FormatOf(options), device);
  if (thread == nullptr) throw Failure("the capture thread cannot be started: memory may be short");
  CloseHandle(thread);
  WaitUntilReady(capture);
  if (!RunCommand(capture, kStateFileOpen, [&] { return capture.fileOpen(file, nullptr); })) {
    throw Failure(options.file + " cannot be created, though it could be a moment ago");
  }
  if (!RunCommand(capture, kStateCapturing, [&] { return capture.StartREC(); })) {
    throw Failure("the recording does not start");
  }
  std::printf("Recording to %s: %u Hz, %u channel%s, %u bits. Ctrl-C ends it.\n", file, options.rate,
              unsigned{options.channels}, options.channels == 1 ? "" : "s", unsigned{options.bits});
  std::optional<DiskSync> sync;
  if (options.sync > 0) sync.emplace(options.file, options.sync);
  const auto wanted = static_cast<std::uint64_t>(std::llround(options.duration * options.rate));
  TakeLevels levels(options.file, FormatOf(options), wanted);
  const Ending ending = Watch(capture, levels, wanted, sync ? &*sync : nullptr);
  if (ending == Ending::kByItself ||
      !RunCommand(capture, kStateFileOpen, [&] { return capture.StopREC(); }) ||
      !RunCommand(capture, kStateReady, [&] { return capture.fileClose(); })) {
    FailUnfinished(TimeText(capture.GetPlayTime()), options.file);
  }
  double seconds = capture.GetPlayTime();
  capture.Exit();
  // Sound comes in segments of a quarter second, so there may be too much.
  if (wanted > 0 && ending == Ending::kWanted) {
    CutTake(options.file, FormatOf(options), wanted);
    seconds = std::min(seconds, static_cast<double>(wanted) / options.rate);
  }
  if (sync) {
    sync->Finish();
    if (const std::string text = sync->NewFailure(); !text.empty()) std::printf("%s\n", text.c_str());
  }
  if (ending == Ending::kNoData)
    throw Failure("the device has delivered nothing for ten seconds; " + options.file + " is finished");
  levels.Read();
  std::printf("Wrote %s: %s%s%s\n", file, TimeText(seconds).c_str(), LossText(options.rate).c_str(),
              ClippedText(levels.ClippedFrames()).c_str());
}

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("file", options.file, "The WAV file to write")->type_name("");
  app.add_flag("--list", options.list, "List the capture devices and exit");
  app.add_option("-D,--device", options.device,
                 "A name of --list or a part of one, a GUID, a name of the sound\n"
                 "system's own as hw:1, or 'signal' for the built-in voice-like\n"
                 "signal; without it the system's default device")
      ->type_name("DEVICE");
  app.add_option("-r,--rate", options.rate, "Frames a second, 8000 to 192000")
      ->type_name("HZ")
      ->check(CLI::Range(8000, 192000).description(""))
      ->capture_default_str();
  app.add_option("-c,--channels", options.channels, "Channels, 1 to 8")
      ->type_name("COUNT")
      ->check(CLI::Range(1, 8).description(""))
      ->capture_default_str();
  app.add_option("-b,--bits", options.bits, "Bits of a sample, 8 or 16")
      ->type_name("BITS")
      ->check(CLI::IsMember({8, 16}).description(""))
      ->capture_default_str();
  app.add_option("-d,--duration", options.duration,
                 "Time to record, exact to the frame, in seconds, as MM:SS or as\n"
                 "HH:MM:SS; 0, as without it: until Ctrl-C")
      ->type_name("TIME")
      ->transform(TimeInSeconds);
  app.add_option("--sync", options.sync,
                 "Force what is recorded to the disk that often, 0.1 to 3600 seconds, and at\n"
                 "the end: a loss of power then costs that much sound, and not what\n"
                 "the system holds back, often half a minute. The disk is kept\n"
                 "awake and busier; recording itself does not wait for it")
      ->type_name("TIME")
      ->transform(TimeInSeconds)
      ->check(NumberFrom(0.1, 3600.0));
  app.add_flag("-f,--force", options.force, "Overwrite the file if it exists");
  app.callback([&options] {
    if (!options.list && options.file.empty()) throw CLI::RequiredError("file");
    CheckDuration(options);
  });
}

// Before the device is opened, so that no recording begins that could not be written.
void CheckFile(const Options& options) {
  CheckOutput(options.file, options.force);
  CheckWritable(options.file);
  CheckSpace(options.file, std::max(options.duration, 1.0) * FormatOf(options).nAvgBytesPerSec);
}

void Tool(int argc, char** argv) {
  CLI::App app("Records from a capture device into a WAV file.", "cmm-record");
  Options options;
  AddOptions(app, options);
  ReadOptions(app, argc, argv);
  if (options.list) {
    PrintCaptureDevices();
    return;
  }
  CheckFile(options);
  const GUID device = options.device.empty() ? GUID{} : FindCaptureDevice(options.device);
  CatchStops();
  Record(options, options.device.empty() ? nullptr : &device);
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-record", Tool, argc, argv);
}
