// Speed of WavUnit and MMWavUnit against the system's own calls, side by side in one run.
//
// Every case moves the same bytes through one of three: either reader, or plain read and write. Files lie in
// memory-backed storage, so that the programs are measured and not a disk. Compare medians of the CPU time
// within one run; all work is the process's own, and on a busy machine wall-clock time includes the work of
// others:
//
//   build/release/bin/units_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
//
// UNITS_BENCH_MIB sets the size of the file (256 by default), UNITS_BENCH_DIR where it lies (/dev/shm).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "units/MMWavUnit.h"
#include "units/WavUnit.h"
#include "wavfile/CMMWav.h"

namespace {

constexpr WAVEFORMATEX kFormat = {WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
constexpr int kHeaderBytes = 56;

std::string Setting(const char* name, const char* usual) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : usual;
}

const std::size_t kFileBytes = std::stoul(Setting("UNITS_BENCH_MIB", "256")) << 20;
// A name of this process's own: two runs side by side must not write into each other's file.
const std::string kBase = Setting("UNITS_BENCH_DIR", "/dev/shm") + "/units_bench-" + std::to_string(getpid());
const std::string kSource = kBase + ".wav";
const std::string kHostile = kBase + "-hostile.wav";
const std::string kMirror = kBase + "-mirror.wav";

// The peers: each opens source and mirror, reads a block, writes one.
template <class Unit>
struct Ours {
  Unit unit;
  bool Open() { return unit.OpenWFile(kSource.c_str()) == 0 && unit.CreateMirrorFile(kMirror.c_str()) == 0; }
  bool Read(char* block, std::uint32_t bytes) { return unit.ReadPcmData(block, bytes) == 0; }
  bool Write(const char* block, std::uint32_t bytes) { return unit.WriteMirrorBuf(block, bytes) == 0; }
};
struct ByPieces : Ours<MMWavUnit> {
  bool Write(const char* block, std::uint32_t bytes) { return unit.WriteMirrorSubBuf(block, bytes) == 0; }
};
struct Plain {
  int source = open(kSource.c_str(), O_RDONLY);
  int mirror = open(kMirror.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  ~Plain() {
    close(source);
    close(mirror);
  }
  bool Open() {
    char header[kHeaderBytes];
    return read(source, header, kHeaderBytes) == kHeaderBytes &&
           write(mirror, header, kHeaderBytes) == kHeaderBytes;
  }
  bool Read(char* block, std::uint32_t bytes) { return read(source, block, bytes) == ssize_t{bytes}; }
  bool Write(const char* block, std::uint32_t bytes) { return write(mirror, block, bytes) == ssize_t{bytes}; }
};

// The complete file in blocks of one size, read or written. What was read is checked.
template <class Peer, bool reads>
void Stream(benchmark::State& state) {
  const auto bytes = static_cast<std::uint32_t>(state.range(0));
  std::vector<char> block(bytes, 1);
  for (auto _ : state) {
    state.PauseTiming();
    unlink(kMirror.c_str());
    {
      Peer peer;
      bool fine = peer.Open();
      state.ResumeTiming();
      for (std::size_t done = 0; fine && done < kFileBytes; done += bytes) {
        fine = reads ? peer.Read(block.data(), bytes) : peer.Write(block.data(), bytes);
        benchmark::DoNotOptimize(block.data());
      }
      state.PauseTiming();
      if (!fine) state.SkipWithError("a block failed");
    }
    state.ResumeTiming();
  }
  std::uint32_t last = 0;
  std::memcpy(&last, block.data() + bytes - 4, 4);
  if (reads && last != kFileBytes / 4 - 1) state.SkipWithError("the bytes read are not the file's");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(kFileBytes));
}

// A file that declares 2.5 GiB of samples: the header's size, the file's less that, wraps round to 1.5 GiB.
void Hostile(benchmark::State& state) {
  std::ofstream(kHostile, std::ios::binary)
      .write("RIFF\x28\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x80\x3E\0\0\2\0\x10\0data\0\0\0\xA0ssss",
             48);
  for (auto _ : state) {
    MMWavUnit unit;
    if (unit.OpenWFile(kHostile.c_str()) != 0 || unit.CreateMirrorFile(kMirror.c_str()) != 2)
      return state.SkipWithError("not the result that such a file has");
  }
}

// A file whose 32-bit words count from 0, so that each tells its offset.
void MakeSource() {
  std::vector<std::uint32_t> block(1 << 18);
  CMMWav wav;
  bool made = wav.Open(kFormat, kSource.c_str()) != 0;
  for (std::size_t done = 0; made && done < kFileBytes; done += block.size() * 4) {
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<std::uint32_t>(done / 4 + i);
    std::uint32_t taken = 0;
    made = wav.Write(static_cast<std::uint32_t>(block.size() * 4), block.data(), &taken) != 0;
  }
  if (!made || wav.Close() == 0) std::exit(EXIT_FAILURE);
}

void Blocks(benchmark::internal::Benchmark* bench) {
  bench->Arg(65536)->Arg(262144)->Arg(1 << 20)->Unit(benchmark::kMillisecond)->UseRealTime();
}
void Pieces(benchmark::internal::Benchmark* bench) {
  bench->Arg(256)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(Stream<Ours<WavUnit>, true>)->Name("read/WavUnit")->Apply(Blocks);
BENCHMARK(Stream<Ours<MMWavUnit>, true>)->Name("read/MMWavUnit")->Apply(Blocks);
BENCHMARK(Stream<Plain, true>)->Name("read/plain")->Apply(Blocks);
BENCHMARK(Stream<Ours<WavUnit>, false>)->Name("write/WavUnit")->Apply(Blocks);
BENCHMARK(Stream<Ours<MMWavUnit>, false>)->Name("write/MMWavUnit")->Apply(Blocks);
BENCHMARK(Stream<Plain, false>)->Name("write/plain")->Apply(Blocks);
BENCHMARK(Stream<ByPieces, false>)->Name("pieces/sub-buffer")->Apply(Pieces);
BENCHMARK(Stream<Plain, false>)->Name("pieces/plain")->Apply(Pieces);
BENCHMARK(Hostile)->Name("hostile/MMWavUnit");

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  MakeSource();
  benchmark::RunSpecifiedBenchmarks();
  unlink(kSource.c_str());
  unlink(kMirror.c_str());
  unlink(kHostile.c_str());
  return 0;
}
