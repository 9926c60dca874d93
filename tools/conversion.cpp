#include "tools/conversion.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "tools/high_quality.h"
#include "tools/progress.h"
#include "tools/tool.h"
#include "tools/wav_length.h"
#include "tools/wav_text.h"
#include "wavfile/PcmDriver.h"

namespace {

constexpr double kLargestFile = 4294967000.0;  // the sizes in a WAV file have 32 bits
constexpr std::uint32_t kLowestRate = 8;       // of a source, in hertz: half a second must be some frames

struct Pass {
  WAVEFORMATEX target;
  bool twoStages;
  bool whole = false;  // by Decode, not by CMMWav
};

// One conversion of CMMWav may change the format's tag, or its channels and rate, but not both. A file in another
// format than PCM, whose channels or rate are to change, therefore takes two. The converter of PCM decodes
// extensible formats and floating point to the wanted channels and bits, from the whole format; other drivers decode
// to 16 bits. Every further change is a second pass.
std::vector<Pass> Passes(const WavSizes& file, const WAVEFORMATEX& target, int stages) {
  const WAVEFORMATEX& source = file.format.Format;
  const bool twoStages = stages == 2 || (stages == 0 && source.nSamplesPerSec != target.nSamplesPerSec);
  const Pass wanted{target, twoStages};
  const bool isPcm = source.wFormatTag == WAVE_FORMAT_PCM;
  if (isPcm && file.IsPlain()) return {wanted};
  const bool isNumbers =
      isPcm || source.wFormatTag == WAVE_FORMAT_IEEE_FLOAT || source.wFormatTag == WAVE_FORMAT_EXTENSIBLE;
  Pass first{Pcm(source.nSamplesPerSec, source.nChannels, 16), false, isNumbers || !file.IsPlain()};
  if (isNumbers) {
    const std::uint32_t rate = twoStages ? source.nSamplesPerSec : target.nSamplesPerSec;
    first.target = Pcm(rate, target.nChannels, target.wBitsPerSample);
  }
  if (std::memcmp(&first.target, &target, sizeof target) != 0) return {first, wanted};
  return {{target, twoStages, first.whole}};
}

void CheckSize(double seconds, const WAVEFORMATEX& target) {
  const double bytes = seconds * target.nAvgBytesPerSec;
  if (bytes > kLargestFile) throw Failure("the result would be larger than a WAV file can be (4 GiB)");
}

// The results of all passes are on the disk at the same time.
void CheckRoom(const Conversion& conversion, const WavSizes& source, const std::vector<Pass>& passes) {
  const double seconds = LengthOf(source).seconds.value_or(0.0);
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
// @return false: no driver takes it
bool Convert(const std::string& from, const Pass& pass, const Sink& sink,
             const std::function<void(double)>& show) {
  CMMWav source;
  if (source.Open(from.c_str()) != 1) throw Failure(from + ": " + WhyUnreadable(from));
  WAVEFORMATEX format{};
  source.GetFileInfo(&format);
  std::uint8_t* output = nullptr;
  if (source.BeginConvert(pass.twoStages ? 0 : 1, pass.target, &output, nullptr) == 0) return false;
  const double end = EndOfSound(source, from);
  CheckSize(end, pass.target);
  // With a full second every other block would end at the filter's output limit, which skips a position; half a
  // second stays far below it, so no frame is dropped.
  const std::uint32_t bytes = HalfSecond(format);
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
  return true;
}

void Run(const std::string& from, const WavSizes& source, const Pass& pass, const Sink& sink,
         const std::function<void(double)>& show) {
  CheckSize(LengthOf(source).seconds.value_or(0.0), pass.target);
  if (pass.whole ? Decode(from, source, pass.target, sink, show) : Convert(from, pass, sink, show)) return;
  throw Failure(from + ": no conversion driver takes " + Describe(source.format) + "; " + WayOut(from));
}

void Hand(const std::vector<std::int16_t>& samples, const WAVEFORMATEX& format, const Sink& sink) {
  if (format.wBitsPerSample == 16) {
    sink(reinterpret_cast<const std::uint8_t*>(samples.data()),
         static_cast<std::uint32_t>(samples.size() * 2));
    return;
  }
  std::vector<std::uint8_t> bytes(samples.size());
  std::transform(samples.begin(), samples.end(), bytes.begin(), [](std::int16_t sample) {
    return static_cast<std::uint8_t>(std::min((sample + 0x8000 + 0x80) >> 8, 0xFF));
  });
  sink(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
}

void ConvertInHighQuality(const Conversion& conversion, const WavSizes& source, const Sink& sink) {
  const WAVEFORMATEX& target = conversion.format;
  const std::uint32_t rate = source.format.Format.nSamplesPerSec;
  const std::uint16_t channels = target.nChannels;
  CheckSize(LengthOf(source).seconds.value_or(0.0), target);
  HighQualityRate change(rate, target.nSamplesPerSec, channels);
  std::vector<std::int16_t> output;
  const auto frames = [&](const std::uint8_t* data, std::uint32_t bytes) {
    change.Convert(reinterpret_cast<const std::int16_t*>(data), bytes / 2 / channels, output);
    Hand(output, target, sink);
  };
  ConvertFile({conversion.source, conversion.target, Pcm(rate, channels, 16)}, frames);
  frames(nullptr, 0);
}

}  // namespace

WAVEFORMATEX Pcm(std::uint32_t rate, std::uint16_t channels, std::uint16_t bits) {
  const auto block = static_cast<WORD>(channels * bits / 8);
  return {WAVE_FORMAT_PCM, channels, rate, rate * block, block, bits, 0};
}

WAVEFORMATEX FormatOf(const std::string& file) {
  const WAVEFORMATEX format = ReadSource(file).format.Format;
  if (format.nSamplesPerSec < kLowestRate) throw Failure(file + ": its rate is too low to be sound");
  return format;
}

void ConvertFile(const Conversion& conversion, const Sink& sink) {
  cmm::AddPcmDriver();  // where the platform refuses it, its own drivers remain
  const WavSizes source = ReadSource(conversion.source);
  if (conversion.highQuality && source.format.Format.nSamplesPerSec != conversion.format.nSamplesPerSec) {
    ConvertInHighQuality(conversion, source, sink);
    return;
  }
  const std::vector<Pass> passes = Passes(source, conversion.format, conversion.stages);
  CheckRoom(conversion, source, passes);
  Progress progress;
  if (passes.size() == 1) {
    Run(conversion.source, source, passes[0], sink, [&](double fraction) { progress.Show(fraction); });
    return;
  }
  PcmFile decoded(conversion.target, passes[0].target, ".decoded.part");
  const Sink keep = [&](const std::uint8_t* data, std::uint32_t bytes) { decoded.Write(data, bytes); };
  Run(conversion.source, source, passes[0], keep, [&](double fraction) { progress.Show(fraction / 2); });
  decoded.Finish();
  Run(decoded.Name(), ReadSource(decoded.Name()), passes[1], sink,
      [&](double fraction) { progress.Show(0.5 + fraction / 2); });
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
