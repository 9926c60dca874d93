// cmm-mirror: makes a WAV file louder or quieter, and shows the order of calls of WavUnit and MMWavUnit.
//
// Mirror() has that order: open the source, check its format, create the mirror, read and write in turn,
// close both. The units only tell whether a format is the expected one, so the program checks the two
// properties that a gain depends on: the tag and the bits. A mirror begins with all bytes of the source that
// are not samples, so the samples must come last in the file. The output gets its name only once it is
// complete.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "tools/findings.h"
#include "tools/output_file.h"
#include "tools/paths.h"
#include "tools/terminal.h"
#include "tools/tool.h"
#include "units/MMWavUnit.h"
#include "units/WavUnit.h"

namespace {

constexpr std::uint32_t kBlockBytes = 65536;

struct Options {
  bool force = false;
  bool strict = false;
  double gain = 0;  // dB
  std::string source;
  std::string target;
};

const char* WhyNotOpened(std::int32_t code) {
  switch (code) {
    case 1:
      return "it cannot be opened";
    case 6:
      return "not a RIFF file";
    case 7:
      return "its RIFF size is not that of the file: it was never finished, or is cut short";
    case 8:
      return "its chunks are not those of a plain PCM file; without --strict others are skipped";
    default:
      return "too short, or without the chunks of a WAV file";
  }
}

/// The bits of a sample. A gain does not depend on channels and rate: these are checked against values that
/// no file has, and a result of exactly these two mismatches means that tag and bits match.
template <class Unit>
std::uint16_t CheckedBits(Unit& unit, const std::string& source) {
  constexpr std::int32_t kChannelsAndRate = 0x1001 + 0x1002;
  constexpr std::int32_t kBitsToo = kChannelsAndRate + 0x1003;
  for (const std::uint16_t bits : {std::uint16_t{16}, std::uint16_t{8}}) {
    const std::int32_t sum = unit.ChkPcmFile(WAVE_FORMAT_PCM, 0xFFFF, 0xFFFFFFFF, bits);
    if (sum == kChannelsAndRate) return bits;
    if (sum != kBitsToo) throw Failure(source + ": it is not PCM");
  }
  throw Failure(source + ": its samples have neither 8 nor 16 bits");
}

// Whether the header of the "data" chunk is right before the file's last @p dataBytes bytes.
bool SamplesComeLast(const std::string& source, std::uint32_t dataBytes) {
  std::ifstream file(NativePath(source), std::ios::binary);
  char header[8] = {};
  std::uint32_t size = 0;
  file.seekg(-static_cast<std::streamoff>(sizeof header) - dataBytes, std::ios::end);
  file.read(header, sizeof header);
  std::memcpy(&size, header + 4, sizeof size);
  return file && std::memcmp(header, "data", 4) == 0 && size == dataBytes;
}

// Samples of 8 bits are unsigned, with the zero at 128.
void Amplify(std::vector<std::uint8_t>& block, std::uint32_t bytes, std::uint16_t bits, double factor) {
  if (bits == 8) {
    for (std::uint32_t i = 0; i < bytes; ++i) {
      const long sample = std::lround((block[i] - 128) * factor);
      block[i] = static_cast<std::uint8_t>(std::clamp(sample, -128L, 127L) + 128);
    }
    return;
  }
  for (std::uint32_t i = 0; i + 2 <= bytes; i += 2) {
    std::int16_t sample = 0;
    std::memcpy(&sample, &block[i], 2);
    sample = static_cast<std::int16_t>(std::clamp(std::lround(sample * factor), -32768L, 32767L));
    std::memcpy(&block[i], &sample, 2);
  }
}

template <class Unit>
void Mirror(const Options& options, const std::string& target) {
  Unit unit;
  if (const std::int32_t code = unit.OpenWFile(options.source.c_str()); code != 0) {
    const std::string hint = RepairHint(options.source);
    throw Failure(options.source + ": " + WhyNotOpened(code) + (hint.empty() ? "" : "; " + hint));
  }
  const std::uint16_t bits = CheckedBits(unit, options.source);
  std::uint32_t left = unit.PcmDataSize();
  if (!SamplesComeLast(options.source, left)) {
    throw Failure(options.source + ": its samples do not reach to the end of the file, as a mirror needs it");
  }
  CheckSpace(options.target, left);
  if (const std::int32_t code = unit.CreateMirrorFile(target.c_str()); code != 0) {
    if (code == 2) throw Failure(options.source + ": it cannot be read");
    throw Failure(options.target + " cannot be written: its mirror cannot be created");
  }
  const double factor = std::pow(10.0, options.gain / 20.0);
  std::vector<std::uint8_t> block(kBlockBytes);
  while (left > 0) {
    CheckStop();
    const std::uint32_t bytes = std::min(left, kBlockBytes);
    if (unit.ReadPcmData(block.data(), bytes) != 0)
      throw Failure(options.source + ": it cannot be read to its end");
    Amplify(block, bytes, bits, factor);
    if (unit.WriteMirrorBuf(block.data(), bytes) != 0) {
      throw Failure(options.target + " takes no more data: the disk is full");
    }
    left -= bytes;
  }
  if (unit.CloseMFile() != 0) throw Failure(options.target + " cannot be finished; is the disk full?");
  unit.CloseWFile();
}

void Run(const Options& options) {
  CheckOutput(options.target, options.force);
  PartialFile result(options.target);
  options.strict ? Mirror<WavUnit>(options, result.Name()) : Mirror<MMWavUnit>(options, result.Name());
  result.Keep(options.force);
  std::printf("Wrote %s: %+.1f dB\n", options.target.c_str(), options.gain);
}

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("source", options.source, "The PCM WAV file of 8 or 16 bits to read")
      ->type_name("")
      ->required();
  app.add_option("target", options.target, "The WAV file to write")->type_name("")->required();
  app.add_option("--gain", options.gain, "Change of level in dB, -96 to 48; without it 0, a plain copy")
      ->type_name("DB")
      ->check(CLI::Range(-96.0, 48.0).description(""));
  app.add_flag("--strict", options.strict,
               "Accept only plain files: a format, perhaps a frame count,\n"
               "samples, and the correct sizes");
  app.add_flag("-f,--force", options.force, "Overwrite the target if it exists");
}

void Tool(int argc, char** argv) {
  CLI::App app("Copies a PCM WAV file with a change of level.", "cmm-mirror");
  Options options;
  AddOptions(app, options);
  ReadOptions(app, argc, argv);
  CatchStops();
  Run(options);
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-mirror", Tool, argc, argv);
}
