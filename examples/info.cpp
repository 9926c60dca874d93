// cmm-info: prints what the library knows of a WAV file, or why it cannot be read.
//
// CMMWav answers with success or failure and nothing in between, so a program that wants to tell its user
// more looks at the file itself afterwards, as WhyUnreadable() does.

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "examples/paths.h"
#include "examples/tool.h"
#include "examples/wav_text.h"
#include "wavfile/CMMWav.h"

namespace fs = std::filesystem;

namespace {

// GetSampleSize counts in 32 bits of data bits, so above 2^29 bytes the play time is the better witness.
double Frames(CMMWav& wav) {
  if (wav.GetFSize() < (1u << 29)) return wav.GetSampleSize();
  return std::round(wav.GetPlayTime() * wav.GetSampleRate());
}

// ChkFileSize tells whether the file ends where its data ends; the sizes tell the rest.
std::string EndText(CMMWav& wav, std::uintmax_t onDisk) {
  if (wav.ChkFileSize() == 1) return "the file ends where its data ends";
  if (onDisk < wav.GetFSize()) return "CUT SHORT: the file is smaller than its header declares";
  return "something follows the data (a pad byte or further chunks)";
}

void Print(CMMWav& wav, const std::string& name, std::uintmax_t onDisk) {
  const double seconds = wav.GetPlayTime();
  std::printf("%s\n", name.c_str());
  std::printf("  format    %s (tag %u)\n", FormatName(wav.GetFormat()).c_str(), unsigned{wav.GetFormat()});
  std::printf("  channels  %u\n", unsigned{wav.GetChannels()});
  std::printf("  rate      %u Hz\n", unsigned{wav.GetSampleRate()});
  std::printf("  bits      %u\n", unsigned{wav.GetSampleSizeInBits()});
  // Compressed formats keep no whole number of bits to a sample; their frames are not to be had from the
  // sizes.
  if (wav.GetFormat() == WAVE_FORMAT_PCM) std::printf("  frames    %.0f\n", Frames(wav));
  std::printf("  duration  %s\n", std::isfinite(seconds) ? TimeText(seconds).c_str() : "unknown");
  std::printf("  size      %u bytes declared, %llu on disk\n", unsigned{wav.GetFSize()},
              static_cast<unsigned long long>(onDisk));
  std::printf("  end       %s\n", EndText(wav, onDisk).c_str());
}

bool Show(const std::string& name) {
  CMMWav wav;
  if (wav.Open(name.c_str()) != 1) {
    std::fprintf(stderr, "cmm-info: %s: %s\n", name.c_str(), WhyUnreadable(name).c_str());
    return false;
  }
  std::error_code error;
  Print(wav, name, fs::file_size(NativePath(name), error));
  return true;
}

void Tool(int argc, char** argv) {
  CLI::App app("Prints what is known of WAV files, or why they cannot be read.", "cmm-info");
  std::vector<std::string> files;
  app.add_option("file", files, "The WAV files")->type_name("")->required();
  ReadOptions(app, argc, argv);
  bool all = true;
  for (const std::string& file : files) all = Show(file) && all;
  if (!all) throw Leave{1};
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-info", Tool, argc, argv);
}
