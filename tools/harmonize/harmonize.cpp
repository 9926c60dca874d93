// cmm-harmonize: adds up to three harmony voices to the lead in a WAV file.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tools/conversion.h"
#include "tools/harmonize/Harmonizer.h"
#include "tools/harmonize/PitchLog.h"
#include "tools/harmonize/intervals.h"
#include "tools/paths.h"
#include "tools/terminal.h"
#include "tools/tool.h"
#include "tools/wav_text.h"

namespace {

constexpr int kLowBits = 65536;  // the stages' samples have 32 bits, those of the file 16
constexpr double kRate = 44100.0;

struct Options {
  std::string source;
  std::string target;
  std::string voices = "+4,+7,-12";
  std::vector<double> cents;
  double mixPercent = 50.0;
  std::string pitch;
  bool force = false;
};

// Writes a lead with its voices into a file, and the lead's pitch into a table. The harmonizer's first
// samples are its delay; they are left out, so that the output is in time with the source.
class HarmonyWriter {
 public:
  HarmonyWriter(const Options& options, PcmFile& target, PitchLog* log)
      : harmonizer_(options.cents, options.mixPercent / 100.0), target_(target), log_(log) {}

  void Write(const std::uint8_t* data, std::uint32_t bytes) {
    const std::size_t count = bytes / sizeof(std::int16_t);
    std::vector<std::int16_t> block(count);
    std::memcpy(block.data(), data, bytes);
    Process(block);
  }

  /// Writes what the harmonizer still delays.
  void Finish() { Process(std::vector<std::int16_t>(Harmonizer::kLatency), true); }

 private:
  void Process(const std::vector<std::int16_t>& block, bool afterEnd = false) {
    std::vector<std::int16_t> made;
    for (const std::int16_t sample : block) {
      const std::int32_t out = harmonizer_.Process(sample * kLowBits);
      if (!afterEnd) Log();
      if (taken_ >= Harmonizer::kLatency) made.push_back(Rounded(out));
      ++taken_;
    }
    target_.Write(made.data(), static_cast<std::uint32_t>(made.size() * sizeof(std::int16_t)));
  }

  void Log() {
    if (log_ == nullptr || taken_ % PitchLog::kSamplesPerLine != 0) return;
    log_->Write(static_cast<double>(taken_) / kRate, harmonizer_.Tracker().PitchHz(),
                harmonizer_.Tracker().Level());
  }

  static std::int16_t Rounded(std::int32_t sample) {
    const std::int64_t rounded = (static_cast<std::int64_t>(sample) + kLowBits / 2) >> 16;
    return static_cast<std::int16_t>(std::min<std::int64_t>(rounded, INT16_MAX));
  }

  Harmonizer harmonizer_;
  PcmFile& target_;
  PitchLog* log_;
  std::int64_t taken_ = 0;
};

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

void Harmonize(const Options& options) {
  const WAVEFORMATEX format = Pcm(44100, 1, 16);
  FormatOf(options.source);
  CheckOutput(options.target, options.force);
  std::optional<PitchLog> log;
  if (!options.pitch.empty()) {
    CheckTable(options);
    log.emplace(options.pitch);
  }
  PcmFile target(options.target, format);
  HarmonyWriter writer(options, target, log ? &*log : nullptr);
  ConvertFile({options.source, options.target, format},
              [&](const std::uint8_t* data, std::uint32_t bytes) { writer.Write(data, bytes); });
  writer.Finish();
  target.Finish();
  if (log) log->Finish();
  target.Keep(options.force);
  if (log) log->Keep(options.force);
  std::printf("Wrote %s: %zu voice(s) with the lead, %s\n", options.target.c_str(), options.cents.size(),
              TimeText(target.Seconds()).c_str());
}

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("source", options.source,
                 "The WAV file with the lead: one voice. It is converted to\n"
                 "44100 Hz, 16 bits, one channel")
      ->type_name("")
      ->required();
  app.add_option("target", options.target, "The WAV file to write")->type_name("")->required();
  app.add_option("--voices", options.voices,
                 "One to three intervals from the lead, in semitones, or in cents\n"
                 "with a c at the end: +4,+7,-12 or +386c,+702c")
      ->type_name("LIST")
      ->capture_default_str();
  app.add_option("--mix", options.mixPercent,
                 "Share of the voices in percent: 0 is the lead alone, 100 the\n"
                 "voices alone")
      ->type_name("PERCENT")
      ->check(CLI::Range(0.0, 100.0).description(""))
      ->capture_default_str();
  app.add_option("--pitch", options.pitch,
                 "Also write the lead's pitch to a CSV file: time in seconds,\n"
                 "pitch in hertz (0: no note), level (full scale 1)")
      ->type_name("FILE");
  app.add_flag("--force", options.force, "Overwrite the files if they exist");
  app.callback([&options] {
    const std::string problem = ReadIntervals(options.voices, options.cents);
    if (!problem.empty()) throw CLI::ValidationError("--voices", problem);
  });
}

void Tool(int argc, char** argv) {
  CLI::App app("Adds up to three harmony voices to the lead in a WAV file.", "cmm-harmonize");
  Options options;
  AddOptions(app, options);
  ReadOptions(app, argc, argv);
  CatchStops();
  Harmonize(options);
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-harmonize", Tool, argc, argv);
}
