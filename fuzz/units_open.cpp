// Opens any input as a WAV file with WavUnit and MMWavUnit, and mirrors it. Run:
//   build/clang/bin/units_open -max_len=4096 CORPUS
//
// The result of WavUnit is compared with a plain reading of the bytes, a mirror with what was written to it.
// It starts from a few valid files of its own, so that an empty folder will do as CORPUS.
#include <sys/resource.h>

#include <array>
#include <csignal>
#include <string>
#include <type_traits>
#include <vector>

#include "fuzz/wav_files.h"
#include "units/MMWavUnit.h"
#include "units/WavUnit.h"

namespace {

std::string With(std::string file, std::size_t at, const std::string& bytes) {
  return file.replace(at, bytes.size(), bytes);
}

const std::vector<std::string>& Seeds() {
  static const std::vector<std::string> seeds = [] {
    const std::string format("\1\0\2\0\x40\x1F\0\0\0\x7D\0\0\4\0\x10\0\0\0", 18);
    const std::string data = Chunk("data", std::string(600, 's'));
    const std::string plain = Chunk("RIFF", "WAVE" + Chunk("fmt ", format) + data);
    return std::vector<std::string>{
        WaveFile({1, 2, 8000, 32000, 4, 16, 0}),
        plain,
        With(plain, 19, "\x80"),              // the top bit of the format's size
        With(plain, 45, "\xFF"),              // far more samples than there are bytes
        With(plain, 42, "\xFF\xFF\xFF\xFF"),  // a few more
        Chunk("RIFF", "WAVE" + Chunk("fmt ", format.substr(0, 16)) + Chunk("fact", "0000") + data),
        Chunk("RIFF", "WAVE" + Chunk("fmt ", format.substr(0, 12)) + data)};
  }();
  return seeds;
}

// Reads the file's bytes in a row; a read past its end leaves the rest of the target as it was.
struct Bytes {
  const std::uint8_t* data;
  std::size_t size;
  std::size_t at = 0;

  template <class T>
  T& Read(T& to, std::size_t bytes = sizeof(T)) {
    const std::size_t got = std::min(bytes, size - at);
    std::memcpy(&to, data + at, got);
    at += got;
    return to;
  }
};

int StrictAnswer(Bytes file, std::uint32_t& dataSize) {
  std::array<char, 4> id = {};
  std::uint32_t number = 0;
  std::array<char, 18> format;
  const auto is = [&](const char* name) { return std::memcmp(id.data(), name, 4) == 0; };
  if (file.size < 39) return 2;
  file.Read(id);
  if (!is("RIFF")) return 6;
  if (file.Read(number) + 8 != file.size) return 7;
  file.Read(id);
  if (!is("WAVE")) return 8;
  file.Read(id);
  if (!is("fmt ") || file.Read(number) > 0x7FFFFFFF) return 8;
  file.Read(format, std::min<std::size_t>(number, 18));
  std::array<char, 4> next = {'W', 'A', 'V', 'E'};
  if (std::memcmp(file.Read(next).data(), "fact", 4) == 0) {
    file.Read(number);
    file.Read(number);
    file.Read(next);
  }
  if (std::memcmp(next.data(), "data", 4) != 0) return 8;
  dataSize = 0;
  file.Read(dataSize);
  return 0;
}

constexpr std::uint32_t kLargestFile = 1 << 20;

std::string Contents(const MemoryFile& file) {
  const auto length = static_cast<std::size_t>(std::max<off_t>(lseek(file.file, 0, SEEK_END), 0));
  std::string bytes(std::min<std::size_t>(length, kLargestFile), '\0');
  Require(pread(file.file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  return bytes;
}

// Writes small pieces, and one that may be larger than the sub-buffer's 8192 bytes, in each way that the unit
// has.
template <class Unit>
void Write(Unit& unit, const MemoryFile& mirror, std::uint32_t seed) {
  std::string expected = Contents(mirror);
  constexpr std::uint32_t kLargest = 9000;
  const std::string bytes(kLargest, static_cast<char>('a' + seed % 26));
  for (int step = 0; step < 8; ++step) {
    seed = seed * 1664525 + 1013904223;
    const std::uint32_t count = (seed >> 16) % (step == 4 ? kLargest : 600);
    if constexpr (std::is_same_v<Unit, MMWavUnit>) {
      Require(unit.WriteMirrorSubBuf(bytes.data(), count) == 0);
      if (seed % 8 == 0) Require(unit.WriteFlushSubBuf() == 0);
    } else {
      Require(unit.WriteMirrorBuf(bytes.data(), count) == 0);
    }
    expected.append(bytes, 0, count);
  }
  Require(unit.CloseMFile() == 0 && unit.CloseMFile() == 5);
  Require(Contents(mirror) == expected);
}

template <class Unit>
void Use(const MemoryFile& source, const MemoryFile& mirror, Bytes file, const int* expectedCode,
         std::uint32_t expectedSize) {
  constexpr bool kStrict = std::is_same_v<Unit, WavUnit>;
  Unit first;
  const int code = first.OpenWFile(source.path.c_str());
  Unit unit(first);  // shares what is open
  Require(expectedCode != nullptr ? code == *expectedCode : code == 0 || code == 2);
  if (code != 0) {
    Require(unit.PcmDataSize() == 0 && unit.CloseWFile() == 5 && unit.CreateMirrorFile("m") == 9);
    return;
  }
  Require(expectedCode == nullptr || unit.PcmDataSize() == expectedSize);
  const int sum = unit.ChkPcmFile(1, 2, 8000, 16);
  Require(sum >= 0 && sum <= 16390);
  std::vector<char> block(file.size + 64);
  const std::uint32_t dataSize = unit.PcmDataSize();
  const std::uint32_t headerBytes = static_cast<std::uint32_t>(file.size) - dataSize;
  // A block of more than 16 MiB takes the sanitizer as long as hundreds of runs: one size in 512 is tried.
  const bool tried = dataSize * 2654435769u >> 23 == 0;
  if (dataSize > file.size && headerBytes > 1 << 24 && !tried) return;
  const int mirrored = unit.CreateMirrorFile(mirror.path.c_str());
  if (dataSize <= file.size) {
    Require(mirrored == 0 && Contents(mirror) == std::string(file.data, file.data + headerBytes));
    Require(unit.ReadPcmData(block.data(), dataSize) == 0);
    Require(std::memcmp(block.data(), file.data + headerBytes, dataSize) == 0);
    Require(unit.ReadPcmData(block.data(), 1) == (kStrict ? 0 : 2));
  } else if (headerBytes >= 1u << 31) {  // no block is that large
    Require(mirrored == 17);
  } else {
    Require(mirrored == (kStrict && headerBytes <= kLargestFile ? 0 : kStrict ? 17 : 2));
  }
  if (mirrored == 0 && headerBytes <= kLargestFile / 2)
    Write(unit, mirror, static_cast<std::uint32_t>(file.size));
}

// Limits the size of a mirror, for sources with wrong sizes. Called late, since the fuzzer installs its own
// handler for the signal at its start.
bool LimitFiles() {
  const rlimit limit = {kLargestFile, RLIM_INFINITY};
  return std::signal(SIGXFSZ, SIG_IGN) != SIG_ERR && setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool limited = LimitFiles();
  static const MemoryFile source;
  static const MemoryFile mirror;
  Require(limited);
  source.Set(data, size);
  std::uint32_t dataSize = 0;
  const int answer = StrictAnswer({data, size}, dataSize);
  Use<WavUnit>(source, mirror, {data, size}, &answer, dataSize);
  Use<MMWavUnit>(source, mirror, {data, size}, nullptr, 0);
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  size = MutateFrom(Seeds(), data, size, maxSize, seed);
  // Most often the RIFF size is made right again: the strict reader looks no further than a wrong one.
  const auto riffSize = static_cast<std::uint32_t>(size) - 8;
  if (size >= 8 && seed % 4 != 0) std::memcpy(data + 4, &riffSize, sizeof riffSize);
  return size;
}
