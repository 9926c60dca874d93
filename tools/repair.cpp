// cmm-repair: makes damaged WAV files readable again, above all recordings that were never finished.
//
// The library's RepairWavFile does the work. In place it writes header fields alone; with --output it writes a
// copy, in a thread of its own, so that this one can show how far the copy has come.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "tools/conversion.h"
#include "tools/findings.h"
#include "tools/output_file.h"
#include "tools/paths.h"
#include "tools/progress.h"
#include "tools/streams.h"
#include "tools/terminal.h"
#include "tools/tool.h"
#include "tools/wav_text.h"

namespace fs = std::filesystem;

namespace {

// In a folder, a file that has changed so lately may still be growing.
constexpr std::chrono::seconds kStillRecording{5};

struct Options {
  bool dryRun = false;
  bool force = false;
  std::string output;
  WAVEFORMATEX format{};
  bool hasFormat = false;
  std::vector<std::string> names;
};

/// One repair, and what came of it.
struct Repair {
  std::string file;
  std::string copyTo;
  const Options* options = nullptr;
  Findings changes;
  std::uint64_t frames = 0;
  std::int32_t result = -1;

  void Run() {
    cmm::WavRepair how;
    how.copyTo = copyTo.empty() ? nullptr : copyTo.c_str();
    how.format = options->hasFormat ? &options->format : nullptr;
    how.dryRun = options->dryRun;
    result = cmm::RepairWavFile(file.c_str(), how, Collect, &changes, &frames);
  }
};

unsigned __stdcall RunRepair(void* repair) {
  static_cast<Repair*>(repair)->Run();
  return 0;
}

std::uintmax_t BytesOf(const std::string& name) {
  std::error_code error;
  const std::uintmax_t bytes = fs::file_size(NativePath(name), error);
  return error ? 0 : bytes;
}

/// Copies, showing how far it has come. A stop is heeded when the copy has ended.
void RunWithProgress(Repair& repair) {
  auto* const thread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, RunRepair, &repair, 0, nullptr));
  if (thread == nullptr) throw Failure("no thread can be started; is memory short?");
  Progress progress;
  const auto all = static_cast<double>(std::max<std::uintmax_t>(BytesOf(repair.file), 1));
  while (WaitForSingleObject(thread, 100) == WAIT_TIMEOUT) {
    progress.Show(static_cast<double>(BytesOf(repair.copyTo)) / all);
  }
  CloseHandle(thread);
  CheckStop();
}

std::string FieldText(const cmm::WavFinding& change) {
  return std::string(change.chunk) + " at " + std::to_string(change.offset) + ": " +
         std::to_string(change.found) + " -> " + std::to_string(change.expected) + "  (" + change.code + ")";
}

std::string Text(const Repair& repair) {
  const char* const done = repair.options->dryRun  ? "would be repaired"
                           : repair.copyTo.empty() ? "repaired"
                                                   : "repaired into a copy";
  std::string text = repair.file + ": " + done + ", " + std::to_string(repair.frames) + " frames\n";
  for (const cmm::WavFinding& change : repair.changes) text += "  " + FieldText(change) + "\n";
  return text;
}

/// Whether a copy could be repaired, where the file itself cannot.
bool CanCopy(const Repair& repair) {
  cmm::WavRepair how;
  how.copyTo = repair.file.c_str();  // not written to
  how.format = repair.options->hasFormat ? &repair.options->format : nullptr;
  how.dryRun = true;
  return cmm::RepairWavFile(repair.file.c_str(), how, nullptr, nullptr, nullptr) == 1;
}

/// Why a file has been refused, and what can be done.
std::string WhyRefused(const Repair& repair) {
  if (repair.copyTo.empty() && CanCopy(repair)) {
    return "only a copy of it can be repaired: name one with --output";
  }
  if (BytesOf(repair.file) == 0) return "it is empty: nothing had been written yet";
  bool read = false;
  std::string why = "it cannot be repaired";
  for (const cmm::WavFinding& finding : Check(repair.file, &read)) {
    if (finding.severity != cmm::WavSeverity::kUnreadable) continue;
    why += std::string(". ") + cmm::CodeText(finding.code);
    if (!repair.options->hasFormat && std::string(finding.code).starts_with("fmt-")) {
      why += " If you know the format, say it: --format 44100/2/16";
    }
    break;
  }
  return why;
}

/// @return whether nothing is left to do for this file
bool RepairFile(const Options& options, const std::string& file) {
  Repair repair{file, {}, &options, {}, 0, -1};
  std::string text;
  if (options.output.empty() || options.dryRun) {
    repair.Run();
  } else {
    CheckOutput(options.output, options.force);
    CheckSpace(options.output, static_cast<double>(BytesOf(file)));
    PartialFile copy(options.output);
    repair.copyTo = copy.Name();
    RunWithProgress(repair);
    if (repair.result == 1) {
      text = Text(repair);  // first, so that short memory leaves the older file
      copy.Keep(options.force);
    }
  }
  switch (repair.result) {
    case 1:
      std::printf("%s", text.empty() ? Text(repair).c_str() : text.c_str());
      return true;
    case 2:
      std::printf("%s: nothing to repair\n", file.c_str());
      return true;
    case 0:
      std::fprintf(stderr, "cmm-repair: %s: %s\n", file.c_str(), WhyRefused(repair).c_str());
      return false;
    default:
      std::fprintf(stderr, "cmm-repair: %s: %s\n", file.c_str(), WhyUnreadable(file).c_str());
      return false;
  }
}

bool IsWavName(const fs::path& path) {
  std::string extension = path.extension().string();
  for (char& letter : extension)
    letter = static_cast<char>(letter >= 'A' && letter <= 'Z' ? letter + 32 : letter);
  return extension == ".wav" || extension == ".wave";
}

bool MayStillGrow(const fs::path& path) {
  std::error_code error;
  const auto changed = fs::last_write_time(path, error);
  return error || fs::file_time_type::clock::now() - changed < kStillRecording;
}

/// The unfinished recordings of a folder, by name.
bool RepairFolder(const Options& options, const fs::path& folder) {
  std::vector<fs::path> paths;
  for (const fs::path& path : PathsIn(folder)) {
    if (fs::is_regular_file(path) && IsWavName(path)) paths.push_back(path);
  }
  std::sort(paths.begin(), paths.end());
  bool all = true;
  int unfinished = 0;
  for (const fs::path& path : paths) {
    CheckStop();
    const std::string name = PathText(path);
    bool read = false;
    const bool isUnfinished = IsUnfinished(Check(name, &read));
    if (!read) {
      std::fprintf(stderr, "cmm-repair: %s: %s\n", name.c_str(), WhyUnreadable(name).c_str());
      all = false;
    }
    if (!isUnfinished) continue;
    ++unfinished;
    if (MayStillGrow(path)) {
      std::fprintf(stderr,
                   "cmm-repair: %s: left alone, since it may still be growing. Name it to repair it\n",
                   name.c_str());
      all = false;
    } else {
      all = RepairFile(options, name) && all;
    }
  }
  if (unfinished == 0 && all) std::printf("%s: no unfinished recordings\n", PathText(folder).c_str());
  return all;
}

bool RepairNamed(const Options& options, const std::string& name) {
  RefuseStream(name);
  const fs::path path = NativePath(name);
  std::error_code error;
  if (!fs::is_directory(path, error)) return RepairFile(options, name);
  if (!options.output.empty()) throw Failure(name + " is a folder; --output takes one file");
  return RepairFolder(options, path);
}

/// RATE/CHANNELS/BITS
WAVEFORMATEX ReadFormat(const std::string& text) {
  unsigned rate = 0;
  unsigned channels = 0;
  unsigned bits = 0;
  int read = 0;
  const bool isFormat = std::sscanf(text.c_str(), "%u/%u/%u%n", &rate, &channels, &bits, &read) == 3 &&
                        static_cast<std::size_t>(read) == text.size() && rate > 0 && rate <= 768000 &&
                        channels > 0 && channels <= 256 && bits > 0 && bits <= 32 && bits % 8 == 0;
  if (!isFormat) throw CLI::ValidationError("--format", "takes rate, channels and bits, as 44100/2/16");
  return Pcm(rate, static_cast<std::uint16_t>(channels), static_cast<std::uint16_t>(bits));
}

void Tool(int argc, char** argv) {
  CLI::App app(
      "Makes damaged WAV files readable: recordings that were never finished, wrong sizes and format "
      "fields.\n"
      "Only fields of the header are written, never a sample. Files without a fault stay as they are.\n"
      "Do not repair a file that is still being recorded.",
      "cmm-repair");
  Options options;
  std::string format;
  app.add_option("file", options.names, "WAV files; of a folder, every unfinished recording in it")
      ->type_name("")
      ->required();
  app.add_flag("--dry-run", options.dryRun, "Say what would be changed, and change nothing");
  app.add_option("--output", options.output, "Leave the file as it is and write a repaired copy")
      ->type_name("FILE");
  app.add_option("--format", format, "The format of a PCM file that has lost it, as 44100/2/16")
      ->type_name("RATE/CHANNELS/BITS");
  app.add_flag("-f,--force", options.force, "Overwrite the copy if it exists");
  app.callback([&] {
    if (!options.output.empty() && options.names.size() > 1)
      throw CLI::ValidationError("--output", "takes one file");
    options.hasFormat = !format.empty();
    if (options.hasFormat) options.format = ReadFormat(format);
  });
  ReadOptions(app, argc, argv);
  CatchStops();
  bool all = true;
  for (const std::string& name : options.names) all = RepairNamed(options, name) && all;
  if (!all) throw ExitCode{1};
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-repair", Tool, argc, argv);
}
