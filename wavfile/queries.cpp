// What an open file says about itself.
#include "wavfile/low_bits.h"
#include "wavfile/modes.h"
#include "wavfile/share.h"

namespace {

// Frames in a count of bytes, in 32 bits throughout; 0 for a format that does not count them.
std::uint32_t FramesOf(const WAVEFORMATEX& format, std::uint32_t bytes) {
  if (format.nChannels == 0 || format.wBitsPerSample == 0) return 0;
  return bytes * 8 / format.nChannels / format.wBitsPerSample;
}

}  // namespace

std::uint32_t CMMWav::GetSampleSize() {
  return Share::Live(*this) ? FramesOf(*srcFormat, dataBytes) : 0;
}

std::uint32_t CMMWav::GetNowSampleSize() {
  return Share::Live(*this) ? FramesOf(*srcFormat, dataBytes - dataChunk.cksize) : 0;
}

std::uint32_t CMMWav::GetSampleSizeInBits() {
  return Share::Live(*this) ? srcFormat->wBitsPerSample : 0;
}

std::uint32_t CMMWav::GetSampleRate() {
  return Share::Live(*this) ? srcFormat->nSamplesPerSec : 0;
}

std::uint32_t CMMWav::GetChannels() {
  return Share::Live(*this) ? srcFormat->nChannels : 0;
}

std::uint16_t CMMWav::GetFormat() {
  return Share::Live(*this) ? srcFormat->wFormatTag : std::uint16_t{0};
}

char* CMMWav::GetFileName() {
  return Share::Live(*this) ? fileName : nullptr;
}

char* CMMWav::GetPathName() {
  return Share::Live(*this) ? pathName : nullptr;
}

std::uint32_t CMMWav::GetFSize() {
  return Share::Live(*this) ? riffChunk.dwDataOffset + riffChunk.cksize : 0;
}

double CMMWav::GetPlayTime() {
  return Share::Live(*this) ? static_cast<double>(dataBytes) / srcFormat->nAvgBytesPerSec : 0.0;
}

double CMMWav::GetNowTime() {
  if (!Share::Live(*this)) return 0.0;
  const std::uint32_t consumed = dataBytes - dataChunk.cksize;
  return static_cast<double>(consumed) / srcFormat->nAvgBytesPerSec;
}

std::int32_t CMMWav::ChkFileSize() {
  // The position of a file being written is the cursor's.
  if (!Share::Live(*this) || openMode != kReading) return 0;
  const LONG end = mmioSeek(hmmio, 0, SEEK_END);
  return end != -1 && static_cast<std::uint32_t>(end) == dataChunk.dwDataOffset + dataChunk.cksize;
}

std::int32_t CMMWav::GetFileInfo(WAVEFORMATEX* out) {
  if (!Share::Live(*this) || out == nullptr) return 0;
  *out = *srcFormat;
  return 1;
}

std::uint32_t CMMWav::GetSampleToByte(std::uint32_t samples) {
  if (!Share::Live(*this) || samples > GetSampleSize()) return 0;
  const std::uint32_t bits = std::uint32_t{srcFormat->wBitsPerSample} * srcFormat->nChannels * samples;
  return (bits >> 3) + ((bits & 7) != 0 ? 1 : 0);
}

std::uint32_t CMMWav::GetTimeToByte(double seconds) {
  if (!Share::Live(*this) || srcFormat->nBlockAlign == 0) return 0;
  const std::uint32_t bytes = LowBits(srcFormat->nAvgBytesPerSec * seconds, 0);
  return bytes / srcFormat->nBlockAlign * srcFormat->nBlockAlign;
}
