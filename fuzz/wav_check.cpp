// Checks any input as a WAV file and repairs it, by a copy and in place. Run:
//   build/clang/bin/wav_check -max_len=4096 CORPUS
//
// What is repaired has no finding worse than harmless, is not repaired again, and can be opened. It starts
// from a few files of its own, so that an empty folder will do as CORPUS.
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/wav_files.h"
#include "wavfile/CMMWav.h"
#include "wavfile/WavCheck.h"

namespace {

std::string With(std::string file, std::size_t at, const std::string& bytes) {
  return file.replace(at, bytes.size(), bytes);
}

const std::vector<std::string>& Seeds() {
  static const std::vector<std::string> seeds = [] {
    const std::string format("\1\0\2\0\x40\x1F\0\0\0\x7D\0\0\4\0\x10\0", 16), zero(4, '\0'), ones(4, '\xFF');
    const std::string data = Chunk("data", std::string(600, 's')), list = Chunk("LIST", "INFOISFT" + zero);
    const std::string plain = Chunk("RIFF", "WAVE" + Chunk("fmt ", format) + data);
    const std::string listed = Chunk("RIFF", "WAVE" + Chunk("fmt ", format) + data + list);
    return std::vector<std::string>{
        plain,
        listed,
        WaveFile({17, 1, 8000, 4066, 36, 4, 0}, "\x41"),
        WaveFile({6, 1, 8000, 8000, 1, 8, 0}),
        With(With(plain, 4, zero), 40, zero),
        With(With(listed, 4, ones), 40, ones),
        With(plain, 0, std::string(44, '\0')),
        With(Chunk("RF64", "WAVE" + Chunk("ds64", std::string(28, '\0')) + Chunk("fmt ", format) + data), 76,
             ones),
        Chunk("RIFF", "WAVE" + data + Chunk("fmt ", format)),
        Chunk("RIFF", "WAVE" + Chunk("fmt ", format) + data + data)};
  }();
  return seeds;
}

struct Sum {
  bool harmless = true;
  bool opens = true;
};

void Add(void* context, const cmm::WavFinding& finding) {
  auto& sum = *static_cast<Sum*>(context);
  Require(cmm::CodeText(finding.code) != nullptr && std::strlen(finding.chunk) == 4);
  if (finding.severity != cmm::WavSeverity::kHarmless) sum.harmless = false;
  // A format that is not PCM and has no extra size: this library reads the next bytes for it.
  if (std::strcmp(finding.code, "extra-size-missing") == 0) sum.opens = false;
}

Sum Check(const MemoryFile& file) {
  Sum sum;
  Require(cmm::CheckWavFile(file.path.c_str(), Add, &sum) >= 0);
  return sum;
}

std::int32_t Repair(const MemoryFile& file, const cmm::WavRepair& how, std::uint64_t* frames) {
  return cmm::RepairWavFile(file.path.c_str(), how, nullptr, nullptr, frames);
}

void IsSound(const MemoryFile& file, const WAVEFORMATEX* format, std::uint64_t frames) {
  const Sum sum = Check(file);
  std::uint64_t again = 0;
  Require(sum.harmless && Repair(file, {nullptr, format, false}, &again) == 2 && again == frames);
  CMMWav wav;
  Require(!sum.opens || wav.Open(file.path.c_str()) == 1);
}

void Use(const std::uint8_t* data, std::size_t size, const WAVEFORMATEX* format) {
  static const MemoryFile file, copy;
  file.Set(data, size);
  copy.Set(data, 0);
  std::uint64_t tried = 0, frames = 0;
  const bool harmless = Check(file).harmless;
  const std::int32_t inPlace = Repair(file, {nullptr, format, true}, &tried);
  const std::int32_t copied = Repair(file, {copy.path.c_str(), format, false}, &frames);
  Require((inPlace == 2) == harmless && (copied == 2) == harmless && (inPlace != 1 || copied == 1));
  if (copied == 1) IsSound(copy, format, frames);
  Require(Repair(file, {nullptr, format, false}, &frames) == inPlace && frames == tried);
  if (inPlace == 1) IsSound(file, format, frames);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const WAVEFORMATEX format = {WAVE_FORMAT_PCM, 2, 44100, 0, 0, 24, 0};
  Use(data, size, size % 2 == 0 ? nullptr : &format);
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return MutateFrom(Seeds(), data, size, maxSize, seed);
}
