// Speed of CMMWav against libsndfile and against the system's own calls, side by side in one run.
//
// Every case moves the same bytes of 16-bit stereo through one of three: CMMWav, libsndfile (sf_write_raw,
// sf_read_raw), or plain read, write and pread. Files lie in memory-backed storage, so that the programs are
// measured and not a disk. Compare medians within one run:
//
//   build/release/bin/wav_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true
//
// WAV_BENCH_MIB sets the size of the large file (512 by default), WAV_BENCH_DIR where it lies (/dev/shm).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sndfile.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "wavfile/CMMWav.h"
#include "wavfile/WavCheck.h"

namespace {

constexpr WAVEFORMATEX kFormat = {WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};

std::string Setting(const char* name, const char* usual) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : usual;
}

const std::size_t kFileBytes = std::stoul(Setting("WAV_BENCH_MIB", "512")) << 20;
// A name of this process's own: two runs side by side must not write into each other's file.
const std::string kFile =
    Setting("WAV_BENCH_DIR", "/dev/shm") + "/wav_bench-" + std::to_string(getpid()) + ".wav";

SF_INFO SoundInfo() {
  SF_INFO info = {};
  info.samplerate = 44100;
  info.channels = 2;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  return info;
}

// The three peers: each opens the file, and moves a block; false when it could not.
struct OurWriter {
  CMMWav wav;
  bool Open() { return wav.Open(kFormat, kFile.c_str()) != 0; }
  bool Move(char* block, std::size_t bytes) {
    std::uint32_t taken = 0;
    return wav.Write(static_cast<std::uint32_t>(bytes), block, &taken) != 0 && taken == bytes;
  }
  bool Close() { return wav.Close() != 0; }
};
struct OurReader {
  CMMWav wav;
  bool Open() { return wav.Open(kFile.c_str()) != 0; }
  bool Move(char* block, std::size_t bytes) {
    std::uint32_t delivered = 0;
    return wav.Read(static_cast<std::uint32_t>(bytes), block, &delivered) != 0 && delivered == bytes;
  }
  bool Close() { return wav.Close() != 0; }
};
template <int mode>
struct Sndfile {
  SNDFILE* file = nullptr;
  bool Open() {
    SF_INFO info = mode == SFM_WRITE ? SoundInfo() : SF_INFO();
    return (file = sf_open(kFile.c_str(), mode, &info)) != nullptr;
  }
  bool Move(char* block, std::size_t bytes) {
    const auto count = static_cast<sf_count_t>(bytes);
    return (mode == SFM_WRITE ? sf_write_raw(file, block, count) : sf_read_raw(file, block, count)) == count;
  }
  bool Close() { return sf_close(file) == 0; }
};
template <int mode>
struct Plain {
  int file = -1;
  bool Open() { return (file = open(kFile.c_str(), mode, 0666)) >= 0 && lseek(file, 56, SEEK_SET) == 56; }
  bool Move(char* block, std::size_t bytes) {
    const auto count = static_cast<ssize_t>(bytes);
    return (mode == O_RDONLY ? read(file, block, bytes) : write(file, block, bytes)) == count;
  }
  bool Close() { return close(file) == 0; }
};
using SndfileWriter = Sndfile<SFM_WRITE>;
using SndfileReader = Sndfile<SFM_READ>;
using PlainWriter = Plain<O_WRONLY | O_CREAT | O_TRUNC>;
using PlainReader = Plain<O_RDONLY>;

// A file whose 32-bit words count from 0, so that each tells its offset.
void MakeFile(std::size_t bytes) {
  std::vector<std::uint32_t> block(1 << 18);
  CMMWav wav;
  bool made = wav.Open(kFormat, kFile.c_str()) != 0;
  for (std::size_t done = 0; made && done < bytes; done += block.size() * 4) {
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<std::uint32_t>(done / 4 + i);
    std::uint32_t taken = 0;
    made = wav.Write(static_cast<std::uint32_t>(block.size() * 4), block.data(), &taken) != 0;
  }
  if (!made || wav.Close() == 0) std::exit(EXIT_FAILURE);
}

// The complete file in blocks of one size. What was read is checked once, after the timing.
template <class Peer, bool reads>
void Stream(benchmark::State& state) {
  const auto blockBytes = static_cast<std::size_t>(state.range(0));
  std::vector<char> block(blockBytes, 1);
  if (reads) MakeFile(kFileBytes);
  for (auto _ : state) {
    if (!reads) {
      state.PauseTiming();
      unlink(kFile.c_str());
      state.ResumeTiming();
    }
    Peer peer;
    bool fine = peer.Open();
    for (std::size_t done = 0; fine && done < kFileBytes; done += blockBytes) {
      fine = peer.Move(block.data(), blockBytes);
      benchmark::DoNotOptimize(block.data());
    }
    if (!fine || !peer.Close()) return state.SkipWithError("a block or the file failed");
  }
  std::uint32_t last = 0;
  std::memcpy(&last, block.data() + blockBytes - 4, 4);
  if (reads && last != kFileBytes / 4 - 1) state.SkipWithError("the bytes read are not the file's");
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(kFileBytes));
}

// 4 KiB at random frames. Half the size: frames are counted right below 512 MiB of data only.
const std::size_t kSeekBytes = kFileBytes / 2;

template <class ReadAt>
void Random(benchmark::State& state, ReadAt readAt) {
  constexpr std::uint32_t kBytes = 4096;
  std::mt19937 random(1);
  std::uniform_int_distribution<std::uint32_t> frames(
      0, static_cast<std::uint32_t>(kSeekBytes / 4) - kBytes / 4);
  std::vector<std::uint32_t> block(kBytes / 4);
  for (auto _ : state) {
    const std::uint32_t frame = frames(random);
    if (!readAt(frame, block.data(), kBytes) || block[0] != frame || block.back() != frame + kBytes / 4 - 1) {
      return state.SkipWithError("the bytes read are not the file's");
    }
  }
}
void RandomOurs(benchmark::State& state) {
  MakeFile(kSeekBytes);
  CMMWav wav;
  wav.Open(kFile.c_str());
  Random(state, [&](std::uint32_t frame, void* to, std::uint32_t bytes) {
    std::uint32_t delivered = 0;
    return wav.SampleFind(frame) != 0 && wav.Read(bytes, to, &delivered) != 0;
  });
}
void RandomPlain(benchmark::State& state) {
  MakeFile(kSeekBytes);
  const int file = open(kFile.c_str(), O_RDONLY);
  Random(state, [&](std::uint32_t frame, void* to, std::uint32_t bytes) {
    return pread(file, to, bytes, 56 + off_t{4} * frame) == static_cast<ssize_t>(bytes);
  });
  close(file);
}

// A small file: opened, 4 KiB moved, closed.
template <class Peer>
void OpenClose(benchmark::State& state) {
  std::vector<char> block(4096, 1);
  {
    OurWriter file;
    if (!file.Open() || !file.Move(block.data(), block.size()) || !file.Close()) std::exit(EXIT_FAILURE);
  }
  for (auto _ : state) {
    Peer peer;
    if (!peer.Open() || !peer.Move(block.data(), block.size()) || !peer.Close()) {
      return state.SkipWithError("the file failed");
    }
  }
}

// Files that claim much: one of 4 million empty chunks, and a small one with a second of half a gigabyte. The
// speed is in bytes of the file: 100 MB/s are 10 ns a byte.
std::string Chunk(const char* name, const std::string& content) {
  const auto size = static_cast<std::uint32_t>(content.size());
  return std::string(name, 4).append(reinterpret_cast<const char*>(&size), 4) + content;
}
std::string ManyChunks() {
  std::string chunks = "WAVE";
  for (int i = 0; i < 1 << 22; ++i) chunks += Chunk("none", "");
  return Chunk("RIFF", chunks);
}
std::string LargeSecond() {
  const WAVEFORMATEX format = {WAVE_FORMAT_DVI_ADPCM, 1, 8000, 0x20000000, 256, 4, 2};
  const std::string fields(reinterpret_cast<const char*>(&format), sizeof format);
  return Chunk("RIFF", "WAVE" + Chunk("fmt ", fields + "\xF9\1") + Chunk("data", std::string(512, 's')));
}
template <class Call>
void Hostile(benchmark::State& state, const std::string& file, Call call) {
  std::ofstream(kFile, std::ios::binary) << file;
  for (auto _ : state) {
    if (!call()) return state.SkipWithError("not the result that such a file has");
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(file.size()));
}
void HostileOpen(benchmark::State& state) {
  Hostile(state, ManyChunks(), [] { return CMMWav().Open(kFile.c_str()) == 0; });
}
void HostileCheck(benchmark::State& state) {
  Hostile(state, ManyChunks(), [] { return cmm::CheckWavFile(kFile.c_str(), nullptr, nullptr) > 0; });
}
void HostileConvert(benchmark::State& state) {
  Hostile(state, LargeSecond(), [] {
    CMMWav wav;
    std::uint8_t* output = nullptr;
    const WAVEFORMATEX target = {WAVE_FORMAT_PCM, 1, 8000, 16000, 2, 16, 0};
    return wav.Open(kFile.c_str()) == 1 && wav.BeginConvert(1, target, &output, nullptr) == 0;
  });
}

void Blocks(benchmark::internal::Benchmark* bench) {
  bench->Arg(256)->Arg(4096)->Arg(65536)->Arg(1 << 20)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(Stream<OurWriter, false>)->Name("write/CMMWav")->Apply(Blocks);
BENCHMARK(Stream<SndfileWriter, false>)->Name("write/libsndfile")->Apply(Blocks);
BENCHMARK(Stream<PlainWriter, false>)->Name("write/plain")->Apply(Blocks);
BENCHMARK(Stream<OurReader, true>)->Name("read/CMMWav")->Apply(Blocks);
BENCHMARK(Stream<SndfileReader, true>)->Name("read/libsndfile")->Apply(Blocks);
BENCHMARK(Stream<PlainReader, true>)->Name("read/plain")->Apply(Blocks);
BENCHMARK(RandomOurs)->Name("seek-read/CMMWav");
BENCHMARK(RandomPlain)->Name("seek-read/pread");
BENCHMARK(OpenClose<OurWriter>)->Name("create-close/CMMWav");
BENCHMARK(OpenClose<SndfileWriter>)->Name("create-close/libsndfile");
BENCHMARK(OpenClose<OurReader>)->Name("open-close/CMMWav");
BENCHMARK(OpenClose<SndfileReader>)->Name("open-close/libsndfile");
BENCHMARK(HostileOpen)->Name("hostile/open")->Unit(benchmark::kMillisecond);
BENCHMARK(HostileCheck)->Name("hostile/check")->Unit(benchmark::kMillisecond);
BENCHMARK(HostileConvert)->Name("hostile/BeginConvert");

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  unlink(kFile.c_str());
  return 0;
}
