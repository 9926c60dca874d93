// cmm-info: prints what the library knows of a WAV file, or why it cannot be read.
//
// CMMWav tells only success or failure. For the reason the program reads the file itself: WhyUnreadable().

#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "tools/tool.h"
#include "tools/wav_length.h"
#include "tools/wav_text.h"
#include "wavfile/CMMWav.h"

namespace {

// ChkFileSize tells whether the file ends where its data ends; the sizes tell the rest.
std::string EndText(CMMWav& wav, const WavSizes& sizes) {
  if (sizes.isOpenEnded) return "the data are taken to reach to the end of the file";
  if (wav.ChkFileSize() == 1) return "the file ends where its data ends";
  if (sizes.fileBytes < wav.GetFSize()) return "CUT SHORT: the file is smaller than its header declares";
  return "something follows the data (a pad byte or further chunks)";
}

std::string SizeText(CMMWav& wav, const WavSizes& sizes) {
  const std::string declared =
      sizes.isOpenEnded ? "not declared" : std::to_string(wav.GetFSize()) + " bytes declared";
  return declared + ", " + std::to_string(sizes.fileBytes) + " on disk";
}

void Print(CMMWav& wav, const std::string& name, const WavSizes& sizes) {
  WAVEFORMATEX format{};
  wav.GetFileInfo(&format);
  const WavLength length = LengthOf(format, sizes.dataBytes, sizes.factFrames);
  std::printf("%s\n", name.c_str());
  std::printf("  format    %s (tag %u)\n", FormatName(wav.GetFormat()).c_str(), unsigned{wav.GetFormat()});
  std::printf("  channels  %u\n", unsigned{wav.GetChannels()});
  std::printf("  rate      %u Hz\n", unsigned{wav.GetSampleRate()});
  std::printf("  bits      %u\n", unsigned{wav.GetSampleSizeInBits()});
  if (length.frames) std::printf("  frames    %llu\n", static_cast<unsigned long long>(*length.frames));
  std::printf("  duration  %s\n", length.seconds ? TimeText(*length.seconds).c_str() : "unknown");
  std::printf("  size      %s\n", SizeText(wav, sizes).c_str());
  std::printf("  end       %s\n", EndText(wav, sizes).c_str());
}

bool Show(const std::string& name) {
  CMMWav wav;
  if (wav.Open(name.c_str()) != 1) {
    std::fprintf(stderr, "cmm-info: %s: %s\n", name.c_str(), WhyUnreadable(name).c_str());
    return false;
  }
  const std::optional<WavSizes> sizes = ReadSizes(name);
  if (!sizes) {
    std::fprintf(stderr, "cmm-info: %s: its chunks cannot be read a second time\n", name.c_str());
    return false;
  }
  Print(wav, name, *sizes);
  return true;
}

void Tool(int argc, char** argv) {
  CLI::App app("Prints what is known of WAV files, or why they cannot be read.", "cmm-info");
  std::vector<std::string> files;
  app.add_option("file", files, "The WAV files")->type_name("")->required();
  ReadOptions(app, argc, argv);
  bool all = true;
  for (const std::string& file : files) all = Show(file) && all;
  if (!all) throw ExitCode{1};
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-info", Tool, argc, argv);
}
