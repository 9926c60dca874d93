// Queries of an open file, and seeking in it.
#include "wavfile/CMMWav.h"

namespace {

// Frames in a count of bytes, in 32 bits throughout; 0 for a format that does not count them.
std::uint32_t FramesOf(const WAVEFORMATEX& format, std::uint32_t bytes) {
  if (format.nChannels == 0 || format.wBitsPerSample == 0) return 0;
  return bytes * 8 / format.nChannels / format.wBitsPerSample;
}

// The low 32 bits of a value truncated toward zero; `otherwise` when it is a NaN or does not fit a 64-bit
// integer.
std::uint32_t LowBits(double value, std::uint32_t otherwise) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (!(value >= -kLimit && value < kLimit)) return otherwise;
  return static_cast<std::uint32_t>(static_cast<std::int64_t>(value));
}

}  // namespace

std::uint32_t CMMWav::GetSampleSize() {
  return fileOwners.IsOpen() ? FramesOf(*srcFormat, dataBytes) : 0;
}

std::uint32_t CMMWav::GetNowSampleSize() {
  return fileOwners.IsOpen() ? FramesOf(*srcFormat, dataBytes - dataChunk.cksize) : 0;
}

std::uint32_t CMMWav::GetSampleSizeInBits() {
  return fileOwners.IsOpen() ? srcFormat->wBitsPerSample : 0;
}

std::uint32_t CMMWav::GetSampleRate() {
  return fileOwners.IsOpen() ? srcFormat->nSamplesPerSec : 0;
}

std::uint32_t CMMWav::GetChannels() {
  return fileOwners.IsOpen() ? srcFormat->nChannels : 0;
}

std::uint16_t CMMWav::GetFormat() {
  return fileOwners.IsOpen() ? srcFormat->wFormatTag : std::uint16_t{0};
}

char* CMMWav::GetFileName() {
  return fileOwners.IsOpen() ? fileName : nullptr;
}

char* CMMWav::GetPathName() {
  return fileOwners.IsOpen() ? pathName : nullptr;
}

std::uint32_t CMMWav::GetFSize() {
  return fileOwners.IsOpen() ? riffChunk.dwDataOffset + riffChunk.cksize : 0;
}

double CMMWav::GetPlayTime() {
  return fileOwners.IsOpen() ? static_cast<double>(dataBytes) / srcFormat->nAvgBytesPerSec : 0.0;
}

double CMMWav::GetNowTime() {
  if (!fileOwners.IsOpen()) return 0.0;
  const std::uint32_t consumed = dataBytes - dataChunk.cksize;
  return static_cast<double>(consumed) / srcFormat->nAvgBytesPerSec;
}

std::int32_t CMMWav::ChkFileSize() {
  // In a file being written the position is the cursor's, which a seek would lose.
  if (!fileOwners.IsOpen() || openMode != kReading) return 0;
  const LONG end = mmioSeek(hmmio, 0, SEEK_END);
  return end != -1 && static_cast<std::uint32_t>(end) == dataChunk.dwDataOffset + dataChunk.cksize;
}

std::int32_t CMMWav::GetFileInfo(WAVEFORMATEX* out) {
  if (!fileOwners.IsOpen() || out == nullptr) return 0;
  *out = *srcFormat;
  return 1;
}

std::uint32_t CMMWav::GetSampleToByte(std::uint32_t samples) {
  if (!fileOwners.IsOpen() || samples > GetSampleSize()) return 0;
  const std::uint32_t bits = std::uint32_t{srcFormat->wBitsPerSample} * srcFormat->nChannels * samples;
  return (bits >> 3) + ((bits & 7) != 0 ? 1 : 0);
}

std::uint32_t CMMWav::GetTimeToByte(double seconds) {
  if (!fileOwners.IsOpen() || srcFormat->nBlockAlign == 0) return 0;
  const std::uint32_t bytes = LowBits(srcFormat->nAvgBytesPerSec * seconds, 0);
  return bytes / srcFormat->nBlockAlign * srcFormat->nBlockAlign;
}

std::int32_t CMMWav::SampleFind(std::uint32_t sample) {
  if (!fileOwners.IsOpen() || openMode == kWriting || sample > GetSampleSize()) return 0;
  const std::uint32_t offset = srcFormat->nBlockAlign * sample;
  mmioSeek(hmmio, static_cast<LONG>(dataChunk.dwDataOffset + offset), SEEK_SET);
  dataChunk.cksize = dataBytes - offset;
  return 1;
}

std::int32_t CMMWav::TimeFind(double seconds) {
  if (!fileOwners.IsOpen() || openMode == kWriting || srcFormat->nBlockAlign == 0) return 0;
  const double block = srcFormat->nAvgBytesPerSec * seconds / srcFormat->nBlockAlign;
  constexpr std::uint32_t kNoFrame = 0xFFFFFFFF;  // above every file's count of frames
  return SampleFind(LowBits(block, kNoFrame));
}
