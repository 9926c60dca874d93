// Converts any input as a WAV file, in one stage and in two, to valid and invalid formats. Run:
//   build/clang/bin/wav_convert -max_len=4096 CORPUS
//
// Large outputs and buffers take the sanitizer as long as hundreds of runs. So few runs try a large factor
// between the rates, or a large second.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/wav_files.h"
#include "wavfile/CMMWav.h"

namespace {

constexpr std::int32_t kOneStage = 1;
constexpr std::int32_t kTwoStages = 0;

template <class... Words>
std::string Extra(Words... words) {
  std::string bytes;
  for (const int word : {words...}) bytes.append({static_cast<char>(word), static_cast<char>(word >> 8)});
  return bytes;
}

const std::vector<std::string>& Seeds() {
  static const std::vector<std::string> seeds = {
      WaveFile({1, 2, 8000, 32000, 4, 16, 0}),
      WaveFile({1, 1, 300, 300, 1, 8, 0}),
      WaveFile({6, 1, 100, 100, 1, 8, 0}),
      WaveFile({7, 2, 8000, 16000, 2, 8, 0}),
      WaveFile({17, 1, 8000, 4066, 36, 4, 0}, Extra(65)),
      WaveFile({17, 2, 400, 450, 72, 4, 0}, Extra(65)),
      WaveFile({2, 1, 8000, 4096, 70, 4, 0},
               Extra(128, 7, 256, 0, 512, -256, 0, 0, 192, 64, 240, 0, 460, -208, 392, -232)),
      WaveFile({2, 2, 300, 400, 140, 4, 0},
               Extra(128, 7, 256, 0, 512, -256, 0, 0, 192, 64, 240, 0, 460, -208, 392, -232))};
  return seeds;
}

class Random {
 public:
  explicit Random(std::uint32_t seed) : state_(seed) {}
  std::uint32_t Next() { return (state_ = state_ * 1664525 + 1013904223) >> 8; }
  template <class T>
  T Of(std::initializer_list<T> values) {
    return values.begin()[Next() % values.size()];
  }

 private:
  std::uint32_t state_;
};

WAVEFORMATEX Target(const WAVEFORMATEX& source, Random& random) {
  WAVEFORMATEX target = source;
  target.wFormatTag = random.Of<WORD>({1, 1, 1, source.wFormatTag, 2, 6, 7, 17});
  target.nChannels = random.Of<WORD>({source.nChannels, source.nChannels, 1, 2, 4});
  const DWORD rate = source.nSamplesPerSec;
  target.nSamplesPerSec = random.Of<DWORD>({rate, rate, 1, rate + 1, rate / 2 + 1, rate * 2 + 3});
  if (random.Next() % 128 == 0) target.nSamplesPerSec = random.Of<DWORD>({8000, 44101});
  target.wBitsPerSample = random.Of<WORD>({16, 16, 8, 24, 4});
  target.nBlockAlign = static_cast<WORD>(target.nChannels * target.wBitsPerSample / 8);
  target.nAvgBytesPerSec = target.nBlockAlign * target.nSamplesPerSec;
  if (random.Next() % 16 == 0) target.nAvgBytesPerSec = random.Of<DWORD>({0, 1, 7, 0xFFFFFFFF});
  if (random.Next() % 16 == 0) target.nBlockAlign = random.Of<WORD>({0, 1, 0xFFFF});
  if (random.Next() % 16 == 0) target.cbSize = random.Of<WORD>({2, 34, 0xFFFF});
  return target;
}

void Convert(CMMWav& wav, std::int32_t stages, Random& random) {
  WAVEFORMATEX source = {};
  wav.GetFileInfo(&source);
  std::uint8_t* output = nullptr;
  const std::uint32_t size = wav.BeginConvert(stages, Target(source, random), &output, nullptr);
  Require((size != 0) == (output != nullptr) && wav.GetConvertBuf() == output);
  for (int piece = 0; piece < 6; ++piece) {
    const std::uint32_t block = std::max<std::uint32_t>(source.nBlockAlign, 1);
    std::uint32_t made = random.Next() % 2;
    if (random.Next() % 2 == 0) {
      wav.Convert(random.Of<std::uint32_t>({1, 2, 10, 100, source.nAvgBytesPerSec / block}) * block, &made);
    } else {
      made = wav.Convert();
    }
    Require(made <= size);
    ReadEnds(output, made);
    if (random.Next() % 4 == 0) wav.SampleFind(random.Next() % 300);
  }
  wav.EndConvert();
  Require(wav.GetConvertBuf() == nullptr && wav.GetNowDriverID() == nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile file;
  file.Set(data, size);
  std::uint32_t seed = static_cast<std::uint32_t>(size);
  for (std::size_t i = 0; i < size; i += 7) seed = seed * 31 + data[i];
  Random random(seed);
  CMMWav wav;
  if (wav.Open(file.path.c_str()) != 1) return 0;
  WAVEFORMATEX source = {};
  wav.GetFileInfo(&source);
  if (source.nAvgBytesPerSec > 1 << 18 && random.Next() % 64 != 0) return 0;
  for (const std::int32_t stages : {kOneStage, kTwoStages}) {
    Convert(wav, stages, random);
    wav.Reset();
  }
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return MutateFrom(Seeds(), data, size, maxSize, seed);
}
