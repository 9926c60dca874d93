#include "tools/wav_length.h"

#include <algorithm>
#include <cstring>
#include <fstream>

#include "tools/paths.h"
#include "tools/tool.h"
#include "tools/wav_text.h"
#include "wavfile/CMMWav.h"

namespace {

constexpr std::uint64_t kMostFormatBytes = sizeof(WAVEFORMATEX) + 65535;

// What programs write for a size that they do not know and cannot go back to put in.
bool IsUnknown(std::uint64_t size, std::uint64_t rest) {
  return size == 0xFFFFFFFF || size >> 62 != 0 || (size >= 0x7FFFF000 && size <= 0x7FFFFFFF && size > rest);
}

struct Chunk {
  char name[4];
  std::uint64_t size;  // of the content

  bool Is(const char* wanted) const { return std::memcmp(name, wanted, sizeof name) == 0; }
};

// Numbers are little-endian, as every system that this runs on. A W64 chunk has an identifier of 16 bytes, which
// begins with the name, and a size that counts its own header.
bool ReadChunk(std::ifstream& file, bool isW64, Chunk& chunk) {
  constexpr std::uint64_t kW64Header = 24;
  char header[kW64Header];
  if (!file.read(header, isW64 ? kW64Header : 8)) return false;
  std::memcpy(chunk.name, header, sizeof chunk.name);
  chunk.size = 0;
  std::memcpy(&chunk.size, header + (isW64 ? 16 : 4), isW64 ? 8 : 4);
  const std::uint64_t counted = isW64 ? kW64Header : 0;
  if (chunk.size < counted) return false;
  chunk.size -= counted;
  return true;
}

// Reads the content of a chunk other than the data.
void ReadContent(std::ifstream& file, const Chunk& chunk, std::uint64_t rest, WavSizes& sizes) {
  if (chunk.Is("fact") && chunk.size >= 4) {
    file.read(reinterpret_cast<char*>(&sizes.factFrames), sizeof sizes.factFrames);
  } else if (chunk.Is("ds64") && chunk.size >= 16) {
    file.seekg(8, std::ios::cur);  // the size of the file
    file.read(reinterpret_cast<char*>(&sizes.dataBytes), sizeof sizes.dataBytes);
  } else if (chunk.Is("fmt ") && sizes.formatAt == 0) {
    sizes.formatAt = sizes.fileBytes - rest;
    sizes.formatBytes = std::min({chunk.size, rest, kMostFormatBytes});
    const std::uint64_t kept = std::min<std::uint64_t>(sizes.formatBytes, sizeof sizes.format);
    file.read(reinterpret_cast<char*>(&sizes.format), static_cast<std::streamsize>(kept));
  }
}

// An RF64 file has told the size of the data before.
void TakeData(const Chunk& chunk, std::uint64_t rest, WavSizes& sizes) {
  const std::uint64_t size = chunk.size == 0xFFFFFFFF && sizes.dataBytes != 0 ? sizes.dataBytes : chunk.size;
  const bool isUnknown = IsUnknown(size, rest);
  sizes.isOpenEnded = sizes.isOpenEnded || isUnknown;
  sizes.dataAt = sizes.fileBytes - rest;
  sizes.dataBytes = isUnknown ? rest : size;
  sizes.heldBytes = std::min(sizes.dataBytes, rest);
}

// Frames in a block of ADPCM; 0 for other formats. The block begins with a header for each channel, which
// holds the first samples; then come 4 bits a sample.
std::uint64_t FramesInBlock(const WAVEFORMATEX& format) {
  const bool microsoft = format.wFormatTag == 2;
  if (!microsoft && format.wFormatTag != 0x11) return 0;
  const std::uint32_t header = microsoft ? 7 : 4;
  const std::uint32_t inHeader = microsoft ? 2 : 1;
  if (format.nChannels == 0 || format.nBlockAlign < header * format.nChannels) return 0;
  return (format.nBlockAlign / format.nChannels - header) * 2 + inHeader;
}

std::optional<std::uint64_t> FramesOf(const WAVEFORMATEX& format, std::uint64_t bytes, std::uint32_t fact) {
  if (format.nBlockAlign == 0) return std::nullopt;
  if (const std::uint64_t inBlock = FramesInBlock(format); inBlock != 0) {
    const std::uint64_t most = (bytes + format.nBlockAlign - 1) / format.nBlockAlign * inBlock;
    return fact != 0 ? std::min<std::uint64_t>(fact, most) : most;
  }
  if (format.nBlockAlign == format.nChannels * ((format.wBitsPerSample + 7) / 8)) {
    return bytes / format.nBlockAlign;
  }
  return fact != 0 ? std::optional<std::uint64_t>(fact) : std::nullopt;
}

}  // namespace

bool WavSizes::IsPlain() const {
  const bool isComplete = format.Format.wFormatTag == WAVE_FORMAT_PCM || formatBytes >= sizeof(WAVEFORMATEX);
  return container == std::string("RIFF") && isComplete;
}

std::optional<WavSizes> ReadSizes(const std::string& name) {
  std::ifstream file(NativePath(name), std::ios::binary | std::ios::ate);
  const std::streamoff end = file.tellg();
  if (!file || end < 0) return std::nullopt;
  WavSizes sizes;
  sizes.fileBytes = static_cast<std::uint64_t>(end);
  file.seekg(0);
  const bool isW64 = ContainerName(name) == "W64";
  Chunk chunk;
  while (ReadChunk(file, isW64, chunk)) {
    const std::streamoff begin = file.tellg();
    if (begin < 0) return std::nullopt;
    const auto rest = static_cast<std::uint64_t>(end - begin);
    if (chunk.Is("RIFF") || chunk.Is("RF64") || chunk.Is("riff")) {
      sizes.container = isW64 ? "W64" : chunk.Is("RF64") ? "RF64" : "RIFF";
      sizes.isOpenEnded = IsUnknown(chunk.size, sizes.fileBytes);
      file.seekg(begin + (isW64 ? 16 : 4));  // past the form type
      continue;
    }
    if (chunk.Is("data") && sizes.dataAt == 0) TakeData(chunk, rest, sizes);
    ReadContent(file, chunk, rest, sizes);
    if (file.bad()) return std::nullopt;
    if (sizes.dataAt != 0 && sizes.formatAt != 0) return sizes;
    if (chunk.size > rest) break;
    const std::uint64_t unit = isW64 ? 8 : 2;  // to which chunks are padded
    file.seekg(begin + static_cast<std::streamoff>((chunk.size + unit - 1) / unit * unit));
  }
  return sizes.dataAt != 0 && !file.bad() ? std::optional(sizes) : std::nullopt;
}

WavSizes ReadSource(const std::string& file) {
  const std::optional<WavSizes> sizes = ReadSizes(file);
  CMMWav wav;
  const bool isReadable = sizes && (!sizes->IsPlain() || wav.Open(file.c_str()) == 1);
  if (!isReadable || sizes->formatBytes < sizeof(PCMWAVEFORMAT))
    throw Failure(file + ": " + WhyUnreadable(file));
  return *sizes;
}

WavLength LengthOf(const WAVEFORMATEX& format, std::uint64_t bytes, std::uint32_t factFrames) {
  WavLength length{FramesOf(format, bytes, factFrames), std::nullopt};
  if (length.frames && format.nSamplesPerSec != 0) {
    length.seconds = static_cast<double>(*length.frames) / format.nSamplesPerSec;
  } else if (format.nAvgBytesPerSec != 0) {
    length.seconds = static_cast<double>(bytes) / format.nAvgBytesPerSec;
  }
  return length;
}

std::uint32_t HalfSecond(const WAVEFORMATEX& format) {
  constexpr std::uint32_t kMost = 1 << 24;
  const std::uint32_t block = std::max<std::uint32_t>(format.nBlockAlign, 1);
  const std::uint32_t half = std::min<std::uint32_t>(format.nAvgBytesPerSec / 2, kMost);
  return std::max<std::uint32_t>(half / block, 1) * block;
}

double EndOfSound(CMMWav& wav, const std::string& file) {
  const std::optional<WavSizes> sizes = ReadSizes(file);
  if (!sizes || !sizes->isOpenEnded || sizes->format.Format.nBlockAlign == 0) return wav.GetPlayTime();
  const WAVEFORMATEX& format = sizes->format.Format;
  const std::uint64_t wholeBlocks = sizes->heldBytes / format.nBlockAlign * format.nBlockAlign;
  return static_cast<double>(wholeBlocks) / format.nAvgBytesPerSec;
}
