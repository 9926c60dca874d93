// cmm-info: prints what the library knows of a WAV file, or why it cannot be read.
//
// CMMWav answers with success or failure and nothing in between, so a program that wants to tell its user
// more looks at the file itself afterwards, as Reason() does here.

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "examples/paths.h"
#include "wavfile/CMMWav.h"

namespace fs = std::filesystem;

namespace {

std::string FormatName(unsigned tag) {
  switch (tag) {
    case 1:
      return "PCM";
    case 2:
      return "MS ADPCM";
    case 3:
      return "IEEE float";
    case 6:
      return "A-law";
    case 7:
      return "mu-law";
    case 0x11:
      return "IMA ADPCM";
    case 0xFFFE:
      return "extensible";
    default:
      return "format";
  }
}

std::string TimeText(double seconds) {
  const auto whole = static_cast<unsigned long>(seconds);
  char text[40];
  std::snprintf(text, sizeof text, "%02lu:%02lu.%02u", whole / 60, whole % 60,
                static_cast<unsigned>((seconds - static_cast<double>(whole)) * 100.0));
  return text;
}

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

std::string HeaderReason(std::ifstream& file) {
  unsigned char head[12] = {};
  file.read(reinterpret_cast<char*>(head), sizeof head);
  if (file.gcount() < 12) return "too short to be a WAV file";
  if (std::memcmp(head, "RIFF", 4) != 0) return "not a RIFF file";
  if (std::memcmp(head + 8, "WAVE", 4) != 0) return "a RIFF file, but not of form WAVE";
  if ((head[4] | head[5] | head[6] | head[7]) == 0) {
    return "never finished: its sizes are still 0, as while it is being written";
  }
  return "a WAV file whose format or data chunk is missing or damaged";
}

std::string Reason(const fs::path& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) return "there is no such file";
  if (fs::is_directory(status)) return "it is a folder";
  if (error) return error.message();
  std::ifstream file(path, std::ios::binary);
  if (!file) return "it cannot be opened for reading (no permission?)";
  return HeaderReason(file);
}

bool Show(const std::string& name) {
  const fs::path path = NativePath(name);
  CMMWav wav;
  if (wav.Open(name.c_str()) != 1) {
    std::fprintf(stderr, "cmm-info: %s: %s\n", name.c_str(), Reason(path).c_str());
    return false;
  }
  std::error_code error;
  Print(wav, name, fs::file_size(path, error));
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Prints what is known of WAV files, or why they cannot be read.", "cmm-info");
  std::vector<std::string> files;
  app.add_option("file", files, "The WAV files")->type_name("")->required();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  bool all = true;
  for (const std::string& file : files) all = Show(file) && all;
  return all ? 0 : 1;
}
