#include "tools/wav_length.h"

#include <algorithm>
#include <cstring>
#include <fstream>

#include "tools/paths.h"
#include "tools/tool.h"
#include "tools/wav_text.h"
#include "wavfile/CMMWav.h"

namespace {

// What programs write for a size that they do not know and cannot go back to put in.
bool IsUnknown(std::uint32_t size, std::uint64_t rest) {
  return size == 0xFFFFFFFF || (size >= 0x7FFFF000 && size <= 0x7FFFFFFF && size > rest);
}

bool ReadChunk(std::ifstream& file, char (&name)[4], std::uint32_t& size) {
  unsigned char header[8];
  if (!file.read(reinterpret_cast<char*>(header), sizeof header)) return false;
  std::memcpy(name, header, sizeof name);
  std::memcpy(&size, header + sizeof name, sizeof size);  // little-endian, as every system that this runs on
  return true;
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

std::optional<WavSizes> ReadSizes(const std::string& name) {
  std::ifstream file(NativePath(name), std::ios::binary | std::ios::ate);
  const std::streamoff end = file.tellg();
  if (!file || end < 0) return std::nullopt;
  WavSizes sizes;
  sizes.fileBytes = static_cast<std::uint64_t>(end);
  file.seekg(0);
  char chunk[4];
  std::uint32_t size = 0;
  while (ReadChunk(file, chunk, size)) {
    const std::streamoff begin = file.tellg();
    if (std::memcmp(chunk, "RIFF", 4) == 0) {
      sizes.isOpenEnded = IsUnknown(size, sizes.fileBytes);
      file.seekg(begin + 4);  // past the form type
      continue;
    }
    if (std::memcmp(chunk, "fact", 4) == 0 && size >= 4) {
      file.read(reinterpret_cast<char*>(&sizes.factFrames), sizeof sizes.factFrames);
    } else if (std::memcmp(chunk, "data", 4) == 0) {
      const auto rest = static_cast<std::uint64_t>(end - begin);
      const bool isUnknown = IsUnknown(size, rest);
      sizes.isOpenEnded = sizes.isOpenEnded || isUnknown;
      sizes.dataBytes = isUnknown ? rest : size;
      sizes.heldBytes = std::min(sizes.dataBytes, rest);
      return sizes;
    }
    file.seekg(begin + size + size % 2);
  }
  return std::nullopt;
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

double EndOfSound(CMMWav& wav, const std::string& file) {
  WAVEFORMATEX format{};
  const std::optional<WavSizes> sizes = ReadSizes(file);
  if (!sizes || !sizes->isOpenEnded || wav.GetFileInfo(&format) != 1 || format.nBlockAlign == 0) {
    return wav.GetPlayTime();
  }
  const std::uint64_t wholeBlocks = sizes->heldBytes / format.nBlockAlign * format.nBlockAlign;
  return static_cast<double>(wholeBlocks) / format.nAvgBytesPerSec;
}

WavLength LengthOfSound(const std::string& file) {
  CMMWav wav;
  WAVEFORMATEX format{};
  if (wav.Open(file.c_str()) != 1) throw Failure(file + ": " + WhyUnreadable(file));
  wav.GetFileInfo(&format);
  const WavSizes sizes = ReadSizes(file).value_or(WavSizes{});
  return LengthOf(format, sizes.heldBytes, sizes.factFrames);
}
