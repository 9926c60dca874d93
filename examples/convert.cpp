// cmm-convert: makes a PCM WAV file of the wanted rate, channels and bits out of a WAV file that the library
// reads and its conversion drivers understand.
//
// One conversion of CMMWav may change the format's tag, or its channels and rate, but not both. A compressed
// file whose channels or rate are to change therefore takes two: Passes() decodes it first, into a file that
// is gone afterwards, and converts that. The output has its name only once it is complete.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "examples/drivers.h"
#include "examples/output_file.h"
#include "examples/progress.h"
#include "examples/terminal.h"
#include "examples/wav_text.h"
#include "wavfile/CMMWav.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUse = 2;
constexpr double kLargestFile = 4294967000.0;  // the sizes in a WAV file have 32 bits
constexpr std::uint32_t kLowestRate = 8;       // lower ones have no half seconds worth the name

// Ends the program with a sentence for the user. Thrown rather than printed where it arises, so that every
// file on the way is closed and removed.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Options {
  bool list = false;
  bool force = false;
  std::string source;
  std::string target;
  std::uint32_t rate = 0;  // 0, here and below: as the source has it
  std::uint16_t channels = 0;
  std::uint16_t bits = 0;
  int stages = 0;  // 0: two where the rate changes
};

struct Pass {
  WAVEFORMATEX target;
  bool twoStages;
};

WAVEFORMATEX Pcm(std::uint32_t rate, std::uint16_t channels, std::uint16_t bits) {
  const auto block = static_cast<WORD>(channels * bits / 8);
  return {WAVE_FORMAT_PCM, channels, rate, rate * block, block, bits, 0};
}

std::string Describe(const WAVEFORMATEX& format) {
  std::string text = FormatName(format.wFormatTag);
  if (text == "format") text += " " + std::to_string(format.wFormatTag);
  return text + ", " + std::to_string(format.nSamplesPerSec) + " Hz, " + std::to_string(format.nChannels) +
         " channel(s), " + std::to_string(format.wBitsPerSample) + " bits";
}

void Open(CMMWav& wav, const std::string& file) {
  if (wav.Open(file.c_str()) != 1) throw Failure(file + ": " + WhyUnreadable(file));
}

WAVEFORMATEX FormatOf(const std::string& file) {
  CMMWav wav;
  WAVEFORMATEX format{};
  Open(wav, file);
  wav.GetFileInfo(&format);
  if (format.nSamplesPerSec < kLowestRate) throw Failure(file + ": its rate is no rate of sound");
  return format;
}

WAVEFORMATEX WantedFormat(const Options& options, const WAVEFORMATEX& source) {
  const bool keepsBits = source.wFormatTag == WAVE_FORMAT_PCM && source.wBitsPerSample == 8;
  const auto bits = static_cast<std::uint16_t>(keepsBits ? 8 : 16);
  return Pcm(options.rate != 0 ? options.rate : source.nSamplesPerSec,
             options.channels != 0 ? options.channels : source.nChannels,
             options.bits != 0 ? options.bits : bits);
}

// Drivers decode to 16 bits; all that is more than that is a pass of its own.
std::vector<Pass> Passes(const WAVEFORMATEX& source, const WAVEFORMATEX& target, int stages) {
  const bool otherRate = source.nSamplesPerSec != target.nSamplesPerSec;
  const bool twoStages = stages == 2 || (stages == 0 && otherRate);
  const Pass wanted{target, twoStages};
  if (source.wFormatTag == WAVE_FORMAT_PCM) return {wanted};
  if (!otherRate && source.nChannels == target.nChannels && target.wBitsPerSample == 16) return {wanted};
  return {{Pcm(source.nSamplesPerSec, source.nChannels, 16), false}, wanted};
}

// Half a second, in whole blocks. A whole second would let every second block end at the filter's output
// limit, which steps over a position; half of one never comes near it, and so no frame is dropped.
std::uint32_t BlockBytes(const WAVEFORMATEX& format) {
  const std::uint32_t block = format.nBlockAlign;
  return std::max<std::uint32_t>(format.nAvgBytesPerSec / 2 / block, 1) * block;
}

void CheckSize(CMMWav& source, const WAVEFORMATEX& target) {
  const double bytes = source.GetPlayTime() * target.nAvgBytesPerSec;
  if (bytes > kLargestFile) throw Failure("the result would be larger than a WAV file can be (4 GiB)");
}

// One pass from file to file.
// @param show is told the fraction that is done
template <class Show>
void Run(const std::string& from, const std::string& to, const Pass& pass, Show show) {
  CMMWav source;
  Open(source, from);
  WAVEFORMATEX format{};
  source.GetFileInfo(&format);
  std::uint8_t* output = nullptr;
  if (source.BeginConvert(pass.twoStages ? 0 : 1, pass.target, &output, nullptr) == 0) {
    throw Failure(from + ": no conversion driver takes this file: " + Describe(format) + "\n  to " +
                  Describe(pass.target) + ". --list-drivers shows what there is");
  }
  CheckSize(source, pass.target);
  CMMWav target;
  if (target.Open(pass.target, to.c_str()) != 1) {
    throw Failure("the output cannot be created: look at the permissions and the free space there");
  }
  const std::uint32_t bytes = BlockBytes(format);
  std::uint32_t frames = 0;
  while (source.GetNowTime() < source.GetPlayTime()) {
    if (StopWanted()) throw Failure("stopped");
    show(source.GetNowTime() / source.GetPlayTime());
    std::uint32_t made = 0;
    std::uint32_t taken = 0;
    if (source.Convert(bytes, &made) != 1) {
      throw Failure(from + ": it cannot be converted to its end; is it cut short?");
    }
    if (target.Write(made, output, &taken) != 1 || taken != made) {
      throw Failure("the output takes no more data: the disk is full, or the file has reached 4 GiB");
    }
    frames += made / pass.target.nBlockAlign;
  }
  source.EndConvert();
  if (target.Close(frames) != 1) throw Failure("the output cannot be finished; is the disk full?");
}

void Convert(const Options& options) {
  const WAVEFORMATEX source = FormatOf(options.source);
  const WAVEFORMATEX target = WantedFormat(options, source);
  const std::vector<Pass> passes = Passes(source, target, options.stages);
  std::string problem = OutputProblem(options.target, options.force);
  if (!problem.empty()) throw Failure(problem);

  PartialFile decoded(options.target);
  PartialFile result(options.target);
  {
    Progress progress;
    const auto count = static_cast<double>(passes.size());
    double done = 0;
    for (const Pass& pass : passes) {
      const std::string from = &pass == &passes.front() ? options.source : decoded.Name();
      const std::string to = &pass == &passes.back() ? result.Name() : decoded.Name();
      Run(from, to, pass, [&](double fraction) { progress.Show((done + fraction) / count); });
      done += 1;
    }
  }
  // Somebody else may have made the file meanwhile.
  problem = OutputProblem(options.target, options.force);
  if (problem.empty()) problem = result.Keep();
  if (!problem.empty()) throw Failure(problem);

  CMMWav made;
  Open(made, options.target);
  std::printf("Wrote %s: %s, %s\n", options.target.c_str(), Describe(target).c_str(),
              TimeText(made.GetPlayTime()).c_str());
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
  app.add_option("source", options.source, "The WAV file to convert")->type_name("");
  app.add_option("target", options.target, "The PCM WAV file to write")->type_name("");
  app.add_option("--rate", options.rate, "Frames a second, 100 to 768000; without it those of the source")
      ->type_name("HZ")
      ->check(CLI::Range(100, 768000).description(""));
  app.add_option("--channels", options.channels, "Channels, 1 or 2; without it those of the source")
      ->type_name("COUNT")
      ->check(CLI::IsMember({1, 2}).description(""));
  app.add_option("--bits", options.bits,
                 "Bits of a sample, 8 or 16; without it 8 for a PCM source of\n"
                 "8 bits, and 16 for all others")
      ->type_name("BITS")
      ->check(CLI::IsMember({8, 16}).description(""));
  app.add_option("--stages", options.stages,
                 "1: a conversion driver changes the rate, 2: the library's own\n"
                 "filter does; without it 2 where the rate changes")
      ->type_name("COUNT")
      ->check(CLI::IsMember({1, 2}).description(""));
  app.add_flag("--force", options.force, "Overwrite the target if it exists");
  app.add_flag("--list-drivers", options.list, "List the conversion drivers and leave");
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Converts a WAV file to PCM of another rate, other channels or another sample size.",
               "cmm-convert");
  app.allow_windows_style_options(false);  // a name may begin with a slash
  Options options;
  AddOptions(app, options);
  try {
    app.parse(argc, argv);
    if (!options.list && options.source.empty()) throw CLI::RequiredError("source");
    if (!options.list && options.target.empty()) throw CLI::RequiredError("target");
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kWrongUse;
  }
  CatchStops();
  try {
    options.list ? List() : Convert(options);
    return 0;
  } catch (const std::exception& failure) {
    std::fflush(stdout);
    std::fprintf(stderr, "cmm-convert: %s\n", failure.what());
    return kFailed;
  }
}
