// Opens, seeks and reads whatever it is given as a WAV file. Run: build/clang/bin/wav_open -max_len=4096
// CORPUS
//
// A small corpus of sound files and typical damage is added on its own, so that an empty folder will do.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "wavfile/CMMWav.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

// A file in memory that has a name.
struct MemoryFile {
  int file = memfd_create("wav", MFD_CLOEXEC);
  std::string path = "/proc/self/fd/" + std::to_string(file);

  void Set(const std::uint8_t* data, std::size_t size) const {
    if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) std::abort();
  }
};

void Require(bool holds) {
  if (!holds) std::abort();
}

std::string Chunk(const char* id, const std::string& data) {
  const auto size = static_cast<std::uint32_t>(data.size());
  std::string chunk(id, 4);
  chunk.append(reinterpret_cast<const char*>(&size), sizeof(size)).append(data);
  return chunk.append(size % 2, '\0');
}

std::string WaveFile(std::uint16_t tag, std::uint16_t channels, std::uint16_t bits,
                     const std::string& extra) {
  const auto align = static_cast<std::uint16_t>(channels * bits / 8);
  const WAVEFORMATEX format = {
      tag, channels, 8000, align * 8000u, align, bits, static_cast<WORD>(extra.size())};
  const std::string record(reinterpret_cast<const char*>(&format), sizeof(format));
  return Chunk("RIFF", "WAVE" + Chunk("LIST", "odd") +
                           Chunk("fmt ", tag == 1 ? record.substr(0, 16) : record + extra) +
                           Chunk("fact", "0000") + Chunk("data", std::string(600, 's')));
}

const std::vector<std::string>& Seeds() {
  static const std::vector<std::string> seeds = {WaveFile(1, 2, 16, ""), WaveFile(1, 1, 8, ""),
                                                 WaveFile(1, 3, 24, ""), WaveFile(6, 1, 8, ""),
                                                 WaveFile(17, 2, 4, "\xF9\x01")};
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

// Now and then begins again from a sound file, so that the header's shape is never far.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  if (size < 12 || seed % 64 == 0) {
    const std::string& sound = Seeds()[seed / 64 % Seeds().size()];
    size = std::min(sound.size(), maxSize);
    std::memcpy(data, sound.data(), size);
  }
  return LLVMFuzzerMutate(data, size, maxSize);
}
