// cmm-info: prints what the library knows of a WAV file, or why it cannot be read; and what is wrong with it.
//
// CMMWav tells only success or failure. For the reason the program reads the file itself: WhyUnreadable().

#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "tools/findings.h"
#include "tools/json.h"
#include "tools/streams.h"
#include "tools/terminal.h"
#include "tools/tool.h"
#include "tools/wav_length.h"
#include "tools/wav_text.h"
#include "wavfile/CMMWav.h"

namespace {

struct File {
  std::string name;
  std::string label;  // what the user knows it by
};

// Not from ChkFileSize, which answers a failed look at the file as it does a file with more behind the data.
std::string EndText(CMMWav& wav, const WavSizes& sizes) {
  if (sizes.isOpenEnded) return "the data are taken to reach to the end of the file";
  if (sizes.dataAt + sizes.dataBytes == sizes.fileBytes) return "the file ends where its data ends";
  if (sizes.fileBytes < wav.GetFSize()) return "CUT SHORT: the file is smaller than its header declares";
  return "something follows the data (a pad byte or further chunks)";
}

std::string SizeText(CMMWav& wav, const WavSizes& sizes) {
  const std::string declared =
      sizes.isOpenEnded ? "not declared" : std::to_string(wav.GetFSize()) + " bytes declared";
  return declared + ", " + std::to_string(sizes.fileBytes) + " on disk";
}

void Print(CMMWav& wav, const File& file, const WavSizes& sizes) {
  const WavLength length = LengthOf(sizes.format.Format, sizes.dataBytes, sizes.factFrames);
  std::printf("%s\n", file.label.c_str());
  std::printf("  format    %s (tag %u)\n", FormatName(sizes.format).c_str(), unsigned{wav.GetFormat()});
  std::printf("  channels  %u\n", unsigned{wav.GetChannels()});
  std::printf("  rate      %u Hz\n", unsigned{wav.GetSampleRate()});
  std::printf("  bits      %u\n", unsigned{wav.GetSampleSizeInBits()});
  if (length.frames) std::printf("  frames    %llu\n", static_cast<unsigned long long>(*length.frames));
  std::printf("  duration  %s\n", length.seconds ? TimeText(*length.seconds).c_str() : "unknown");
  std::printf("  size      %s\n", SizeText(wav, sizes).c_str());
  std::printf("  end       %s\n", EndText(wav, sizes).c_str());
}

bool Show(const File& file) {
  const std::string& name = file.name;
  CMMWav wav;
  const std::optional<WavSizes> sizes = ReadSizes(name);
  if (wav.Open(name.c_str()) != 1 || !sizes) {
    std::fprintf(stderr, "cmm-info: %s: %s\n", file.label.c_str(), WhyUnreadable(name).c_str());
    return false;
  }
  Print(wav, file, *sizes);
  return true;
}

/// The findings as lines for a person.
bool ShowFindings(const File& file) {
  const std::string& name = file.name;
  bool read = false;
  const Findings findings = Check(name, &read);
  if (!read) {
    std::fprintf(stderr, "cmm-info: %s: %s\n", file.label.c_str(), WhyUnreadable(name).c_str());
    return false;
  }
  const std::string count = findings.empty() ? "nothing" : std::to_string(findings.size()) + " finding(s)";
  std::printf("%s: %s\n", file.label.c_str(), count.c_str());
  for (const cmm::WavFinding& finding : findings) {
    std::printf("  %-10s  at %llu, %s: %s (%s; %llu", SeverityName(finding.severity),
                static_cast<unsigned long long>(finding.offset), finding.chunk, cmm::CodeText(finding.code),
                finding.code, static_cast<unsigned long long>(finding.found));
    std::printf(", expected %llu)\n", static_cast<unsigned long long>(finding.expected));
  }
  return !AnyWrong(findings);
}

std::string FormatJson(const WAVEFORMATEX& format) {
  char text[200];
  std::snprintf(text, sizeof text,
                R"({"tag": %u, "channels": %u, "rate": %u, "bits": %u, "blockAlign": %u, "byteRate": %u})",
                unsigned{format.wFormatTag}, unsigned{format.nChannels},
                static_cast<unsigned>(format.nSamplesPerSec), unsigned{format.wBitsPerSample},
                unsigned{format.nBlockAlign}, static_cast<unsigned>(format.nAvgBytesPerSec));
  return text;
}

std::string FindingJson(const cmm::WavFinding& finding) {
  return R"({"code": )" + JsonString(finding.code) + R"(, "severity": ")" + SeverityName(finding.severity) +
         R"(", "offset": )" + std::to_string(finding.offset) + R"(, "found": )" +
         std::to_string(finding.found) + R"(, "expected": )" + std::to_string(finding.expected) +
         R"(, "chunk": )" + JsonString(finding.chunk) + R"(, "text": )" +
         JsonString(cmm::CodeText(finding.code)) + "}";
}

/// One file's object. What is not known is null.
bool PrintJson(const File& file, bool first) {
  const std::string& name = file.name;
  bool read = false;
  const Findings findings = Check(name, &read);
  if (!read) std::fprintf(stderr, "cmm-info: %s: %s\n", file.label.c_str(), WhyUnreadable(name).c_str());
  std::string format = "null";
  std::string frames = "null";
  std::string seconds = "null";
  CMMWav wav;
  const std::optional<WavSizes> sizes = ReadSizes(name);
  const bool isKnown = wav.Open(name.c_str()) == 1 && sizes;
  const bool isGood = read && !AnyWrong(findings);
  if (isGood && !isKnown) {
    std::fprintf(stderr, "cmm-info: %s: its chunks cannot be read a second time\n", file.label.c_str());
  }
  if (isKnown) {
    const WavLength length = LengthOf(*sizes);
    format = FormatJson(sizes->format.Format);
    if (length.frames) frames = std::to_string(*length.frames);
    if (length.seconds) seconds = std::to_string(*length.seconds);
  }
  std::string list;
  for (const cmm::WavFinding& finding : findings)
    list += (list.empty() ? "\n    " : ",\n    ") + FindingJson(finding);
  std::printf("%s\n  {\"file\": %s, \"format\": %s, \"frames\": %s, \"seconds\": %s, \"findings\": [%s]}",
              first ? "" : ",", JsonString(file.label).c_str(), format.c_str(), frames.c_str(),
              seconds.c_str(), list.c_str());
  return isGood && isKnown;
}

bool ShowJson(const std::vector<File>& files) {
  bool all = true;
  bool first = true;
  std::printf("[");
  for (const File& file : files) {
    all = PrintJson(file, first) && all;
    first = false;
  }
  std::printf("\n]\n");
  return all;
}

void Tool(int argc, char** argv) {
  CLI::App app("Prints what is known of WAV files, or why they cannot be read.", "cmm-info");
  std::vector<std::string> names;
  app.add_option("file", names, "The WAV files; - is standard input")->type_name("")->required();
  bool check = false;
  bool json = false;
  app.add_flag("--check", check, "Print what is wrong with the files instead; the exit code is 1 then");
  app.add_flag("--json", json, "The same for programs: an array with an object for each file");
  ReadOptions(app, argc, argv);
  CatchStops();
  StandardStreams streams;
  std::vector<File> files;
  files.reserve(names.size());
  for (const std::string& name : names) {
    files.push_back({streams.Source(name), name == "-" ? "standard input" : name});
  }
  bool all = true;
  if (json) {
    all = ShowJson(files);
  } else {
    for (const File& file : files) all = (check ? ShowFindings(file) : Show(file)) && all;
  }
  if (!all) throw ExitCode{1};
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-info", Tool, argc, argv);
}
