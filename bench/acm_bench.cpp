// Speed of the PCM converter by kind of source, in samples of the source a second.
//
// Every case converts one second of 48000 Hz again and again through acmStreamConvert:
//
//   build/release/bin/acm_bench
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "platform/platform.h"

namespace {

constexpr DWORD kRate = 48000;

WAVEFORMATEX Format(WORD tag, DWORD rate, WORD channels, WORD bits) {
  const auto block = static_cast<WORD>(channels * bits / 8);
  return {tag, channels, rate, rate * block, block, bits, 0};
}

void Convert(benchmark::State& state, WAVEFORMATEX from, WAVEFORMATEX to) {
  HACMSTREAM stream = nullptr;
  if (acmStreamOpen(&stream, nullptr, &from, &to, nullptr, 0, 0, 0) != MMSYSERR_NOERROR)
    return state.SkipWithError("refused");
  std::vector<BYTE> source(from.nAvgBytesPerSec);
  for (std::size_t i = 0; i < source.size(); ++i) source[i] = static_cast<BYTE>(i * 2654435761u >> 13);
  std::vector<BYTE> output(to.nAvgBytesPerSec + to.nBlockAlign);
  ACMSTREAMHEADER header = {};
  header.cbStruct = sizeof header;
  header.pbSrc = source.data();
  header.cbSrcLength = static_cast<DWORD>(source.size());
  header.pbDst = output.data();
  header.cbDstLength = static_cast<DWORD>(output.size());
  acmStreamPrepareHeader(stream, &header, 0);
  for (auto _ : state) {
    acmStreamConvert(stream, &header, ACM_STREAMCONVERTF_BLOCKALIGN);
    benchmark::DoNotOptimize(output.data());
  }
  if (header.cbSrcLengthUsed != source.size()) state.SkipWithError("not all was taken");
  acmStreamClose(stream, 0);
  state.SetItemsProcessed(state.iterations() * kRate * from.nChannels);
}

const struct {
  const char* name;
  WORD tag, channels, bits;
  WORD toChannels, toBits;
  DWORD toRate;
} kCases[] = {
    {"16 bits, stereo to mono", WAVE_FORMAT_PCM, 2, 16, 1, 16, kRate},
    {"16 bits to 8, stereo", WAVE_FORMAT_PCM, 2, 16, 2, 8, kRate},
    {"8 bits to 16, mono to stereo", WAVE_FORMAT_PCM, 1, 8, 2, 16, kRate},
    {"16 bits, stereo, to 44100 Hz", WAVE_FORMAT_PCM, 2, 16, 2, 16, 44100},
    {"16 bits, mono, to 96000 Hz", WAVE_FORMAT_PCM, 1, 16, 1, 16, 96000},
    {"24 bits to 16, stereo", WAVE_FORMAT_PCM, 2, 24, 2, 16, kRate},
    {"32 bits to 16, stereo", WAVE_FORMAT_PCM, 2, 32, 2, 16, kRate},
    {"32-bit float to 16, stereo", 3, 2, 32, 2, 16, kRate},
    {"64-bit float to 8, mono", 3, 1, 64, 1, 8, kRate},
    {"24 bits to 16, 6 channels to 2", WAVE_FORMAT_PCM, 6, 24, 2, 16, kRate},
    {"32-bit float to 16, 8 channels to 1", 3, 8, 32, 1, 16, kRate},
    {"24 bits to 16, stereo, to 44100 Hz", WAVE_FORMAT_PCM, 2, 24, 2, 16, 44100},
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  for (const auto& row : kCases) {
    benchmark::RegisterBenchmark(row.name, [&row](benchmark::State& state) {
      Convert(state, Format(row.tag, kRate, row.channels, row.bits),
              Format(WAVE_FORMAT_PCM, row.toRate, row.toChannels, row.toBits));
    });
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
