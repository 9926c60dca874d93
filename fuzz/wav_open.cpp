// Opens, seeks in and reads any input as a WAV file. Run: build/clang/bin/wav_open -max_len=4096 CORPUS
//
// It starts from a few valid files of its own, so that an empty folder will do as CORPUS.
#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/wav_files.h"
#include "wavfile/CMMWav.h"

namespace {

std::string ValidFile(WORD tag, WORD channels, WORD bits, const std::string& extra) {
  const auto align = static_cast<WORD>(channels * bits / 8);
  return WaveFile({tag, channels, 8000, align * 8000u, align, bits, 0}, extra);
}

const std::vector<std::string>& Seeds() {
  static const std::vector<std::string> seeds = {ValidFile(1, 2, 16, ""), ValidFile(1, 1, 8, ""),
                                                 ValidFile(1, 3, 24, ""), ValidFile(6, 1, 8, ""),
                                                 ValidFile(17, 2, 4, "\xF9\x01")};
  return seeds;
}

// The queries of an open file agree with each other, and its bytes come from inside the file.
void Use(CMMWav& wav, std::size_t fileSize, std::uint32_t seed) {
  WAVEFORMATEX format = {};
  Require(wav.GetFileInfo(&format) == 1 && wav.GetChannels() == format.nChannels);
  std::vector<char> block(std::size_t{format.nBlockAlign} * 8 + 20000);
  for (int step = 0; step < 16; ++step) {
    seed = seed * 1664525 + 1013904223;
    std::uint32_t count = seed >> 16;
    if (format.nBlockAlign != 0) count = std::min(count, 20000u) / format.nBlockAlign * format.nBlockAlign;
    std::uint32_t delivered = 1;
    const std::int32_t result = wav.Read(std::min<std::uint32_t>(count, 20000), block.data(), &delivered);
    Require(delivered <= count && delivered <= fileSize && (result == 1 || delivered == 0));
    switch (seed >> 8 & 7) {
      case 0:
        wav.SampleFind(seed);
        break;
      case 1:
        wav.SampleFind(wav.GetSampleSize());
        break;
      case 2:
        wav.TimeFind(wav.GetPlayTime() * (seed % 100) / 99.0);
        break;
      case 3:
        wav.TimeFind(static_cast<double>(seed) * 1e12 - 1e21);
        break;
      case 4:
        Require(wav.Reset() == 1 && wav.GetNowSampleSize() == 0);
        break;
      case 5:
        wav.ChkFileSize();
        break;
      case 6:
        Require(wav.GetTimeToByte(seed / 1e6) % std::max<std::uint32_t>(format.nBlockAlign, 1) == 0);
        break;
      default:
        wav.GetSampleToByte(seed);
        break;
    }
  }
  Require(wav.Close() == 1 && wav.GetFileName() == nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile file;
  file.Set(data, size);
  CMMWav wav;
  if (wav.Open(file.path.c_str()) == 1) {
    CMMWav copy(wav);
    Use(copy, size, static_cast<std::uint32_t>(size));
  }
  Require(wav.GetChannels() == 0);
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return MutateFrom(Seeds(), data, size, maxSize, seed);
}
