// Decodes any input as the programs do, RF64 and W64 too. Run:
//   build/clang/bin/tool_decode -max_len=4096 CORPUS
//
// It starts from a few valid files of its own, so that an empty folder will do as CORPUS.
#include <string>
#include <vector>

#include "fuzz/tool_files.h"
#include "fuzz/wav_files.h"
#include "tools/decoding.h"
#include "tools/tool.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile file;
  file.Set(data, size);
  try {
    const WavSizes sizes = ReadSource(file.path);
    const WAVEFORMATEX& format = sizes.format.Format;
    Require(sizes.dataAt <= size && sizes.heldBytes <= size - sizes.dataAt);
    Require(sizes.formatAt <= size && sizes.formatBytes <= size - sizes.formatAt);
    const DWORD rate = size % 4 == 0 ? format.nSamplesPerSec / 2 + 1 : format.nSamplesPerSec;
    const auto channels = static_cast<WORD>(size % 3 == 0 ? 1 : format.nChannels);
    const WAVEFORMATEX target = {1,  channels, rate, rate * channels * 2, static_cast<WORD>(channels * 2),
                                 16, 0};
    const auto sink = [](const std::uint8_t* made, std::uint32_t bytes) { ReadEnds(made, bytes); };
    Decode(file.path, sizes, target, sink, [](double done) { Require(done >= 0 && done < 1); });
  } catch (const Failure&) {
    return 0;
  }
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return MutateFrom(ToolSeeds(), data, size, maxSize, seed);
}
