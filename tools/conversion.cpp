#include "tools/conversion.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "tools/progress.h"
#include "tools/tool.h"
#include "tools/wav_length.h"
#include "tools/wav_text.h"

namespace {

constexpr double kLargestFile = 4294967000.0;  // the sizes in a WAV file have 32 bits
constexpr std::uint32_t kLowestRate = 8;       // of a source, in hertz: half a second must be some frames

struct Pass {
  WAVEFORMATEX target;
  bool twoStages;
};

// One conversion of CMMWav may change the format's tag, or its channels and rate, but not both. A compressed
// file whose channels or rate are to change therefore takes two. Drivers decode to 16 bits; every
// further change is a second pass.
std::vector<Pass> Passes(const WAVEFORMATEX& source, const WAVEFORMATEX& target, int stages) {
  const bool otherRate = source.nSamplesPerSec != target.nSamplesPerSec;
  const bool twoStages = stages == 2 || (stages == 0 && otherRate);
  const Pass wanted{target, twoStages};
  if (source.wFormatTag == WAVE_FORMAT_PCM) return {wanted};
  if (!otherRate && source.nChannels == target.nChannels && target.wBitsPerSample == 16) return {wanted};
  return {{Pcm(source.nSamplesPerSec, source.nChannels, 16), false}, wanted};
}

// Half a second, in whole blocks. With a full second every other block would end at the filter's output
// limit, which skips a position; half a second stays far below it, so no frame is dropped.
std::uint32_t BlockBytes(const WAVEFORMATEX& format) {
  const std::uint32_t block = format.nBlockAlign;
  return std::max<std::uint32_t>(format.nAvgBytesPerSec / 2 / block, 1) * block;
}

void CheckSize(double seconds, const WAVEFORMATEX& target) {
  const double bytes = seconds * target.nAvgBytesPerSec;
  if (bytes > kLargestFile) throw Failure("the result would be larger than a WAV file can be (4 GiB)");
}

// The results of all passes are on the disk at the same time.
void CheckRoom(const Conversion& conversion, const std::vector<Pass>& passes) {
  const double seconds = LengthOfSound(conversion.source).seconds.value_or(0.0);
  double bytes = 0.0;
  for (const Pass& pass : passes) bytes += seconds * pass.target.nAvgBytesPerSec;
  CheckSpace(conversion.target, bytes);
}

// What is left until @p end, as far as @p most, in whole blocks: where the header does not say where the sound
// ends, nothing may be read past it.
std::uint32_t BytesLeft(CMMWav& source, const WAVEFORMATEX& format, double end, std::uint32_t most) {
  const double left = std::round((end - source.GetNowTime()) * format.nAvgBytesPerSec);
  const double blocks = std::ceil(std::max(left, 1.0) / format.nBlockAlign);
  return static_cast<std::uint32_t>(std::min<double>(blocks * format.nBlockAlign, most));
}

// @param show is told the fraction that is done
template <class Show>
void Run(const std::string& from, const Pass& pass, const Sink& sink, Show show) {
  CMMWav source;
  OpenSource(source, from);
  WAVEFORMATEX format{};
  source.GetFileInfo(&format);
  std::uint8_t* output = nullptr;
  if (source.BeginConvert(pass.twoStages ? 0 : 1, pass.target, &output, nullptr) == 0) {
    throw Failure(from + ": no conversion driver takes this file: " + Describe(format) + "\n  to " +
                  Describe(pass.target) + ". --list-drivers of cmm-convert shows what there is");
  }
  const double end = EndOfSound(source, from);
  CheckSize(end, pass.target);
  const std::uint32_t bytes = BlockBytes(format);
  while (source.GetNowTime() < end) {
    CheckStop();
    show(source.GetNowTime() / end);
    std::uint32_t made = 0;
    if (source.Convert(BytesLeft(source, format, end, bytes), &made) != 1) {
      throw Failure(from + ": it cannot be converted to its end; is it cut short?");
    }
    sink(output, made);
  }
  source.EndConvert();
}

}  // namespace

WAVEFORMATEX Pcm(std::uint32_t rate, std::uint16_t channels, std::uint16_t bits) {
  const auto block = static_cast<WORD>(channels * bits / 8);
  return {WAVE_FORMAT_PCM, channels, rate, rate * block, block, bits, 0};
}

std::string Describe(const WAVEFORMATEX& format) {
  std::string text = FormatName(format.wFormatTag);
  if (text == "format") text.append(" ").append(std::to_string(format.wFormatTag));
  return text + ", " + std::to_string(format.nSamplesPerSec) + " Hz, " + std::to_string(format.nChannels) +
         " channel(s), " + std::to_string(format.wBitsPerSample) + " bits";
}

void OpenSource(CMMWav& wav, const std::string& file) {
  if (wav.Open(file.c_str()) != 1) throw Failure(file + ": " + WhyUnreadable(file));
}

WAVEFORMATEX FormatOf(const std::string& file) {
  CMMWav wav;
  WAVEFORMATEX format{};
  OpenSource(wav, file);
  wav.GetFileInfo(&format);
  if (format.nSamplesPerSec < kLowestRate) throw Failure(file + ": its rate is too low to be sound");
  return format;
}

void ConvertFile(const Conversion& conversion, const Sink& sink) {
  const std::vector<Pass> passes = Passes(FormatOf(conversion.source), conversion.format, conversion.stages);
  CheckRoom(conversion, passes);
  Progress progress;
  if (passes.size() == 1) {
    Run(conversion.source, passes[0], sink, [&](double fraction) { progress.Show(fraction); });
    return;
  }
  PcmFile decoded(conversion.target, passes[0].target, ".decoded.part");
  const Sink keep = [&](const std::uint8_t* data, std::uint32_t bytes) { decoded.Write(data, bytes); };
  Run(conversion.source, passes[0], keep, [&](double fraction) { progress.Show(fraction / 2); });
  decoded.Finish();
  Run(decoded.Name(), passes[1], sink, [&](double fraction) { progress.Show(0.5 + fraction / 2); });
}

PcmFile::PcmFile(const std::string& wanted, const WAVEFORMATEX& format, const char* suffix)
    : wanted_(wanted), format_(format), part_(wanted, suffix) {
  if (wav_.Open(format, part_.Name().c_str()) != 1) {
    throw Failure(wanted_ + " cannot be written: the library cannot open " + part_.Name());
  }
}

void PcmFile::Write(const void* data, std::uint32_t bytes) {
  std::uint32_t taken = 0;
  if (wav_.Write(bytes, data, &taken) != 1 || taken != bytes) {
    throw Failure(wanted_ + " takes no more data: the disk is full, or the file has reached 4 GiB");
  }
  bytes_ += bytes;
}

void PcmFile::Finish() {
  if (wav_.Close(bytes_ / format_.nBlockAlign) != 1) {
    throw Failure(wanted_ + " cannot be finished; is the disk full?");
  }
}
