// cmm-convert: makes a PCM WAV file of the wanted rate, channels and bits out of a WAV file that the library
// reads and its conversion drivers understand.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/conversion.h"
#include "tools/drivers.h"
#include "tools/streams.h"
#include "tools/terminal.h"
#include "tools/tool.h"
#include "tools/wav_text.h"

namespace {

struct Options {
  bool list = false;
  bool force = false;
  std::string source;
  std::string target;
  std::uint32_t rate = 0;  // 0, here and below: as the source has it
  std::uint16_t channels = 0;
  std::uint16_t bits = 0;
  int stages = 0;  // 0: two where the rate changes
  std::string quality = "linear";
};

WAVEFORMATEX WantedFormat(const Options& options, const WAVEFORMATEX& source) {
  const bool keepsBits = source.wFormatTag == WAVE_FORMAT_PCM && source.wBitsPerSample == 8;
  const auto bits = static_cast<std::uint16_t>(keepsBits ? 8 : 16);
  const auto channels = static_cast<std::uint16_t>(source.nChannels > 1 ? 2 : 1);
  return Pcm(options.rate != 0 ? options.rate : source.nSamplesPerSec,
             options.channels != 0 ? options.channels : channels, options.bits != 0 ? options.bits : bits);
}

void Convert(Options options) {
  const std::string name = options.target == "-" ? "standard output" : options.target;
  StandardStreams streams;
  options.source = streams.Source(options.source);
  options.target = streams.Target(options.target);
  WAVEFORMATEXTENSIBLE made{};
  made.Format = WantedFormat(options, FormatOf(options.source));
  const WAVEFORMATEX& format = made.Format;
  CheckOutput(options.target, options.force);
  PcmFile target(options.target, format);
  ConvertFile({options.source, options.target, format, options.stages, options.quality == "high"},
              [&](const std::uint8_t* data, std::uint32_t bytes) { target.Write(data, bytes); });
  target.Finish();
  const std::string text = Describe(made);  // first, so that short memory leaves the older file
  target.Keep(options.force);
  streams.Send();
  std::fprintf(streams.Messages(), "Wrote %s: %s, %s\n", name.c_str(), text.c_str(),
               TimeText(target.Seconds()).c_str());
}

void List() {
  std::vector<ConversionDriverText> drivers;
  if (!ListConversionDrivers(drivers)) throw Failure("the conversion drivers cannot be listed");
  std::printf("Conversion drivers:\n");
  for (const ConversionDriverText& driver : drivers) {
    std::printf("  %s\n", driver.name.c_str());
    if (!driver.features.empty()) std::printf("    %s\n", driver.features.c_str());
  }
}

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("source", options.source, "The WAV file to convert; - is standard input")->type_name("");
  app.add_option("target", options.target, "The PCM WAV file to write; - is standard output")->type_name("");
  app.add_option("-r,--rate", options.rate, "Frames a second, 100 to 768000; without it those of the source")
      ->type_name("HZ")
      ->check(CLI::Range(100, 768000).description(""));
  app.add_option("-c,--channels", options.channels,
                 "Channels, 1 or 2; without it those of the source, and 2 for\n"
                 "more than 2")
      ->type_name("COUNT")
      ->check(CLI::IsMember({1, 2}).description(""));
  app.add_option("-b,--bits", options.bits,
                 "Bits of a sample, 8 or 16; without it 8 for a PCM source of\n"
                 "8 bits, and 16 for all others")
      ->type_name("BITS")
      ->check(CLI::IsMember({8, 16}).description(""));
  CLI::Option* const stages = app.add_option("--stages", options.stages,
                                             "1: a conversion driver changes the rate, 2: the library's own\n"
                                             "filter does; without it 2 where the rate changes")
                                  ->type_name("COUNT")
                                  ->check(CLI::IsMember({1, 2}).description(""));
  app.add_option("--quality", options.quality,
                 "How the rate changes: 'linear', by the library's straight lines, folds\n"
                 "what lies above half the new rate back into the sound: a tone of\n"
                 "6 kHz comes at full level as 2 kHz in 8000 Hz; 'high', by libsoxr,\n"
                 "takes it out")
      ->type_name("HOW")
      ->check(CLI::IsMember({"linear", "high"}).description(""))
      ->excludes(stages)  // by its name the program would end when memory is short
      ->capture_default_str();
  app.add_flag("-f,--force", options.force, "Overwrite the target if it exists");
  app.add_flag("--list-drivers", options.list, "List the conversion drivers and exit");
  app.callback([&options] {
    if (!options.list && options.source.empty()) throw CLI::RequiredError("source");
    if (!options.list && options.target.empty()) throw CLI::RequiredError("target");
  });
}

void Tool(int argc, char** argv) {
  CLI::App app(
      "Converts a WAV file to PCM of another rate, other channels or another sample size. Takes PCM, float,\n"
      "A-law, mu-law, IMA and MS ADPCM of 1 to 8 channels, extensible or not, in RIFF, RF64 and W64.",
      "cmm-convert");
  Options options;
  AddOptions(app, options);
  ReadOptions(app, argc, argv);
  CatchStops();
  options.list ? List() : Convert(options);
}

}  // namespace

int main(int argc, char** argv) {
  return RunTool("cmm-convert", Tool, argc, argv);
}
