// cmm-harmonize: adds up to three harmony voices to the lead in a WAV file.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/conversion.h"
#include "tools/harmonize/Gain.h"
#include "tools/harmonize/Harmonizer.h"
#include "tools/harmonize/PitchLog.h"
#include "tools/harmonize/intervals.h"
#include "tools/option_values.h"
#include "tools/paths.h"
#include "tools/streams.h"
#include "tools/terminal.h"
#include "tools/tool.h"
#include "tools/wav_text.h"

namespace {

constexpr int kLowBits = 65536;  // the stages' samples have 32 bits, those of the file 16
constexpr double kFullScale = 2147483648.0;
constexpr std::uint32_t kRate = 44100;

struct Options {
  std::string source;
  std::string target;
  std::string voices = "+4,+7,-12";
  std::vector<double> cents;
  double mixPercent = 50.0;
  std::vector<double> levels{0.0};
  std::string pitch;
  bool force = false;
};

std::int16_t Rounded(double sample) {
  return static_cast<std::int16_t>(std::clamp<double>(std::round(sample / kLowBits), INT16_MIN, INT16_MAX));
}

// Sends the source through a harmonizer. Without a target the gain hears the result; otherwise the target
// receives it with that gain, and the log the lead's pitch. The harmonizer's first samples are its delay;
// they are left out, so that the output is in time with the source.
void Sing(const Options& options, Gain& gain, PcmFile* target, PitchLog* log) {
  Harmonizer harmonizer(options.cents, options.mixPercent / 100.0, options.levels);
  std::size_t taken = 0;
  const auto sing = [&](const std::uint8_t* data, std::uint32_t bytes) {
    std::vector<std::int16_t> block(bytes / sizeof(std::int16_t));
    std::memcpy(block.data(), data, bytes);
    std::vector<std::int16_t> made;
    for (const std::int16_t sample : block) {
      const double sum = harmonizer.Process(sample * kLowBits);
      const PitchTracker& tracker = harmonizer.Tracker();
      if (log != nullptr && taken % PitchLog::kSamplesPerLine == 0) {
        log->Write(static_cast<double>(taken) / kRate, tracker.PitchHz(), tracker.Level());
      }
      if (taken++ < Harmonizer::kLatency) continue;
      if (target == nullptr) {
        gain.Hear(harmonizer.Lead() / kFullScale, sum / kFullScale);
      } else {
        made.push_back(Rounded(sum * gain.At(taken - 1 - Harmonizer::kLatency)));
      }
    }
    if (target != nullptr)
      target->Write(made.data(), static_cast<std::uint32_t>(made.size() * sizeof(std::int16_t)));
  };
  ConvertFile({options.source, options.target, Pcm(kRate, 1, 16)}, sing);
  log = nullptr;  // what follows is not of the source
  constexpr std::uint32_t kDelayedBytes = Harmonizer::kLatency * sizeof(std::int16_t);
  sing(std::vector<std::uint8_t>(kDelayedBytes).data(), kDelayedBytes);
}

// The table must not overwrite a sound, even with --force.
void CheckTable(const Options& options) {
  CheckOutput(options.pitch, options.force);
  const auto canonical = [](const std::string& file) {
    std::error_code unknown;
    return std::filesystem::weakly_canonical(NativePath(file), unknown);
  };
  for (const std::string& sound : {options.source, options.target}) {
    if (canonical(options.pitch) == canonical(sound)) {
      throw Failure("the sound and the pitch cannot be in one file: " + options.pitch);
    }
  }
}

// @return the seconds of the result
double Harmonize(const Options& options) {
  FormatOf(options.source);
  CheckOutput(options.target, options.force);
  std::optional<PitchLog> log;
  if (!options.pitch.empty()) {
    CheckTable(options);
    log.emplace(options.pitch);
  }
  PcmFile target(options.target, Pcm(kRate, 1, 16));
  Gain gain;
  Sing(options, gain, nullptr, nullptr);
  Sing(options, gain, &target, log ? &*log : nullptr);
  target.Finish();
  if (log) {
    log->Finish();
    log->Prepare(options.force);  // so that what can fail, fails while both older files are there
  }
  target.Keep(options.force);
  if (log) log->Keep(options.force);
  return target.Seconds();
}

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("source", options.source,
                 "The WAV file with the lead: one voice; - is standard input. It is\n"
                 "converted to 44100 Hz, 16 bits, one channel")
      ->type_name("")
      ->required();
  app.add_option("target", options.target, "The WAV file to write; - is standard output")
      ->type_name("")
      ->required();
  app.add_option("--voices", options.voices,
                 "One to three intervals from the lead, in semitones, or in cents\n"
                 "with a c at the end: +4,+7,-12 or +386c,+702c")
      ->type_name("LIST")
      ->capture_default_str();
  app.add_option("--mix", options.mixPercent,
                 "Share of the voices in percent: 0 is the lead alone, 100 the\n"
                 "voices alone; at 50 they have the levels of --level")
      ->type_name("PERCENT")
      ->check(NumberFrom(0.0, 100.0))
      ->capture_default_str();
  app.add_option("--level", options.levels,
                 "Level of the voices against the lead in dB, -60 to 12: one\n"
                 "for all, or one for each, as -3 or 0,-3,-6; without it 0")
      ->type_name("LIST")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(NumberFrom(-60.0, 12.0));
  app.add_option("--pitch", options.pitch,
                 "Also write the lead's pitch to a CSV file: time in seconds,\n"
                 "pitch in hertz (0: no note), level (full scale 1)")
      ->type_name("FILE");
  app.add_flag("-f,--force", options.force, "Overwrite the files if they exist");
  app.callback([&options] {
    const std::string problem = ReadIntervals(options.voices, options.cents);
    if (!problem.empty()) throw CLI::ValidationError("--voices", problem);
    if (options.levels.size() == 1) options.levels.resize(options.cents.size(), options.levels[0]);
    if (options.levels.size() != options.cents.size()) {
      throw CLI::ValidationError("--level", "give one level for all voices, or one for each");
    }
  });
}

void Tool(int argc, char** argv) {
  CLI::App app("Adds up to three harmony voices to the lead in a WAV file.", "cmm-harmonize");
  Options options;
  AddOptions(app, options);
  ReadOptions(app, argc, argv);
  CatchStops();
  const std::string name = options.target == "-" ? "standard output" : options.target;
  StandardStreams streams;
  options.source = streams.Source(options.source);
  options.target = streams.Target(options.target);
  const double seconds = Harmonize(options);
  streams.Send();
  std::fprintf(streams.Messages(), "Wrote %s: %zu voice%s with the lead, %s\n", name.c_str(),
               options.cents.size(), options.cents.size() == 1 ? "" : "s", TimeText(seconds).c_str());
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-harmonize", Tool, argc, argv);
}
