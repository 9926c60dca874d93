// Reading a WAV file as PCM.
#include "platform/posix/playback/wave_reader.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/posix/playback/limits.h"

namespace platform::detail {
namespace {

WAVEFORMATEX Pcm(WORD channels, DWORD rate, unsigned bytesPerSample) {
  const auto block = static_cast<WORD>(channels * bytesPerSample);
  return {WAVE_FORMAT_PCM, channels, rate, rate * block, block, static_cast<WORD>(8 * bytesPerSample), 0};
}

/// @return true: the format is PCM in the extensible form, which programs use for more than 16 bits or two
///         channels
bool IsExtensiblePcm(std::span<const BYTE> format) {
  constexpr std::array<BYTE, 2> kExtensible = {0xFE, 0xFF};  // the tag; a GUID has the true one
  constexpr std::size_t kSubFormat = 24;                     // its offset
  constexpr std::array<BYTE, 16> kPcm = {1, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
  return format.size() >= kSubFormat + kPcm.size() &&
         std::equal(kExtensible.begin(), kExtensible.end(), format.begin()) &&
         std::equal(kPcm.begin(), kPcm.end(), format.begin() + kSubFormat);
}

}  // namespace

MCIERROR WaveReader::Open(const char* file) {
  file_.reset(mmioOpenA(const_cast<char*>(file), nullptr, MMIO_ALLOCBUF | MMIO_READ));
  if (file_ == nullptr) return MCIERR_FILE_NOT_FOUND;
  MMCKINFO riff = {};
  riff.fccType = mmioFOURCC('W', 'A', 'V', 'E');
  if (mmioDescend(file_.get(), &riff, nullptr, MMIO_FINDRIFF) != 0) return MCIERR_INVALID_FILE;
  if (const MCIERROR error = ReadFormat(&riff); error != 0) return error;
  data_.ckid = mmioFOURCC('d', 'a', 't', 'a');
  return mmioDescend(file_.get(), &data_, &riff, MMIO_FINDCHUNK) == 0 ? 0 : MCIERR_INVALID_FILE;
}

MCIERROR WaveReader::ReadFormat(MMCKINFO* riff) {
  MMCKINFO chunk = {};
  chunk.ckid = mmioFOURCC('f', 'm', 't', ' ');
  if (mmioDescend(file_.get(), &chunk, riff, MMIO_FINDCHUNK) != 0 || chunk.cksize < kLeastFormatBytes ||
      chunk.cksize > kMostFormatBytes) {
    return MCIERR_INVALID_FILE;
  }
  formatBlock_.assign(std::max<std::size_t>(chunk.cksize, sizeof(WAVEFORMATEX)), 0);
  const auto size = static_cast<LONG>(chunk.cksize);
  if (mmioRead(file_.get(), reinterpret_cast<char*>(formatBlock_.data()), size) != size ||
      mmioAscend(file_.get(), &chunk, 0) != 0) {
    return MCIERR_INVALID_FILE;
  }
  return ParseFormat() ? 0 : MCIERR_INVALID_FILE;
}

bool WaveReader::ParseFormat() {
  WAVEFORMATEX format;
  std::memcpy(&format, formatBlock_.data(), sizeof format);
  if (format.nChannels == 0 || format.nSamplesPerSec == 0 || format.nBlockAlign == 0) return false;
  block_ = format.nBlockAlign;
  coded_ = format.wFormatTag != WAVE_FORMAT_PCM && !IsExtensiblePcm(formatBlock_);
  if (coded_) {
    played_ = Pcm(format.nChannels, format.nSamplesPerSec, 2);
    return sizeof format + format.cbSize <= formatBlock_.size();
  }
  // Samples are in the upper bits of complete bytes, so they are played by their bytes: 20 bits as 24.
  const unsigned bytes = block_ / format.nChannels;
  played_ = Pcm(format.nChannels, format.nSamplesPerSec, bytes);
  return played_.nBlockAlign == block_ && format.wBitsPerSample <= 8 * bytes;
}

MCIERROR WaveReader::Rewind() {
  piece_.resize(std::max<std::size_t>(kPieceBytes - kPieceBytes % block_, block_));
  if (coded_ && decoder_ == nullptr) {
    if (const MCIERROR error = OpenDecoder(); error != 0) return error;
  }
  conversion_ = ACM_STREAMCONVERTF_START;
  bytesLeft_ = data_.cksize;
  const LONG begin = static_cast<LONG>(data_.dwDataOffset);
  return mmioSeek(file_.get(), begin, SEEK_SET) == begin ? 0 : MCIERR_INVALID_FILE;
}

MCIERROR WaveReader::OpenDecoder() {
  HACMSTREAM stream = nullptr;
  if (acmStreamOpen(&stream, nullptr, reinterpret_cast<WAVEFORMATEX*>(formatBlock_.data()), &played_, nullptr,
                    0, 0, 0) != 0) {
    return MCIERR_WAVE_OUTPUTSUNSUITABLE;
  }
  decoder_.reset(stream);
  DWORD room = 0;
  if (acmStreamSize(stream, static_cast<DWORD>(piece_.size()), &room, ACM_STREAMSIZEF_SOURCE) != 0) {
    return MCIERR_WAVE_OUTPUTSUNSUITABLE;
  }
  decoded_.resize(room);
  header_ = {};
  header_.cbStruct = sizeof header_;
  header_.pbSrc = piece_.data();
  header_.cbSrcLength = static_cast<DWORD>(piece_.size());
  header_.pbDst = decoded_.data();
  header_.cbDstLength = room;
  return acmStreamPrepareHeader(stream, &header_, 0) == 0 ? 0 : MCIERR_OUT_OF_MEMORY;
}

std::span<const BYTE> WaveReader::Next() {
  const auto wanted = static_cast<LONG>(std::min<std::size_t>(piece_.size(), bytesLeft_));
  const LONG got = mmioRead(file_.get(), reinterpret_cast<char*>(piece_.data()), wanted);
  if (got <= 0) return {};
  bytesLeft_ =
      got == wanted ? bytesLeft_ - static_cast<DWORD>(got) : 0;  // a file may end before its declared size
  const auto bytes = static_cast<DWORD>(got);
  if (coded_) return Decode(bytes);
  return std::span<const BYTE>(piece_).first(bytes - bytes % block_);
}

std::span<const BYTE> WaveReader::Decode(DWORD bytes) {
  header_.cbSrcLength = bytes;
  conversion_ |= bytesLeft_ == 0 ? ACM_STREAMCONVERTF_END : ACM_STREAMCONVERTF_BLOCKALIGN;
  const MMRESULT error = acmStreamConvert(decoder_.get(), &header_, conversion_);
  conversion_ = 0;
  if (error != 0) return {};
  return std::span<const BYTE>(decoded_).first(header_.cbDstLengthUsed);
}

}  // namespace platform::detail
