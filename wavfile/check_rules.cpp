// Two rules bind five numbers of a format: the block is the channels times the bytes of one, and the byte
// rate is the sample rate times the block. So one wrong number can be told from the others.
#include "wavfile/check_rules.h"

#include <algorithm>
#include <iterator>

namespace cmm::check {

namespace {

// G.726, GSM, MPEG, MP3, AAC, WMA, FLAC and their kin.
constexpr std::uint32_t kOtherTags[] = {0x10,   0x14,   0x20,   0x22,   0x31,   0x40,   0x42,   0x45,
                                        0x50,   0x55,   0x61,   0x62,   0x64,   0x65,   0x92,   0xFF,
                                        0x160,  0x161,  0x162,  0x163,  0x1600, 0x1602, 0x1610, 0x2000,
                                        0x2001, 0x566F, 0x674F, 0x6751, 0x704F, 0xA106, 0xF1AC};
constexpr std::uint32_t kCommonRates[] = {8000,  11025, 12000, 16000, 22050,  24000, 32000,
                                          44100, 48000, 88200, 96000, 176400, 192000};

}  // namespace

bool IsKnownTag(std::uint32_t tag) {
  return IsPlain(tag) || IsAdpcm(tag) || tag == kExtensible ||
         std::find(std::begin(kOtherTags), std::end(kOtherTags), tag) != std::end(kOtherTags);
}

bool IsCommonRate(std::uint32_t rate) {
  return std::find(std::begin(kCommonRates), std::end(kCommonRates), rate) != std::end(kCommonRates);
}

bool IsPlain(std::uint32_t tag) {
  return tag == WAVE_FORMAT_PCM || tag == kFloat || tag == WAVE_FORMAT_ALAW || tag == WAVE_FORMAT_MULAW;
}
bool IsAdpcm(std::uint32_t tag) {
  return tag == WAVE_FORMAT_ADPCM || tag == WAVE_FORMAT_DVI_ADPCM;
}

bool BitsAreRight(const Format& f) {
  switch (f.tag) {
    case WAVE_FORMAT_PCM:
      return f.bits >= 1 && f.bits <= 64;
    case kFloat:
      return f.bits == 32 || f.bits == 64;
    case WAVE_FORMAT_ALAW:
    case WAVE_FORMAT_MULAW:
      return f.bits == 8;
    default:
      return f.bits == 4;
  }
}

std::uint64_t BytesOfChannel(const Format& f) {
  if (f.tag == WAVE_FORMAT_DVI_ADPCM) return f.framesPerBlock > 1 ? (f.framesPerBlock - 1) / 2 + 4 : 0;
  if (f.tag == WAVE_FORMAT_ADPCM) return f.framesPerBlock > 2 ? (f.framesPerBlock - 2) / 2 + 7 : 0;
  return (f.bits + 7) / 8;
}

std::uint64_t FramesPerBlock(const Format& f) {
  if (!f.compressed) return 1;
  const std::uint64_t bytes = f.channels != 0 ? f.block / f.channels : 0;
  if (f.tag == WAVE_FORMAT_DVI_ADPCM) return bytes > 4 ? (bytes - 4) * 2 + 1 : 0;
  return bytes > 7 ? (bytes - 7) * 2 + 2 : 0;
}

std::uint64_t ByteRate(const Format& f) {
  return f.framesPerBlock != 0 ? std::uint64_t{f.rate} * f.block / f.framesPerBlock : 0;
}

bool Agree(const Format& f) {
  const std::uint64_t byteRate = ByteRate(f), bytes = BytesOfChannel(f);
  const std::uint64_t off = byteRate > f.byteRate ? byteRate - f.byteRate : f.byteRate - byteRate;
  return f.channels != 0 && f.rate != 0 && f.block != 0 && byteRate != 0 && BitsAreRight(f) &&
         bytes * f.channels == f.block && off <= (f.compressed ? byteRate / 32 + 1 : 0);
}

std::uint64_t FromOthers(const Format& f, const Field& field) {
  const std::uint64_t bytes = BytesOfChannel(f);
  if (field.value == &Format::byteRate) return ByteRate(f);
  if (field.value == &Format::block) return f.channels * bytes;
  if (field.value == &Format::channels) return bytes != 0 ? f.block / bytes : 0;
  if (field.value == &Format::bits)
    return f.compressed ? 4 : f.channels != 0 ? f.block / f.channels * 8ull : 0;
  if (field.value == &Format::framesPerBlock) return FramesPerBlock(f);
  const std::uint64_t rate = f.block != 0 ? std::uint64_t{f.byteRate} * f.framesPerBlock / f.block : 0;
  for (const std::uint32_t common : kCommonRates) {
    if (f.compressed && rate > common - common / 32 && rate < common + common / 32) return common;
  }
  return f.compressed ? 0 : rate;
}

Format PcmFormat(const WAVEFORMATEX& wanted) {
  Format f;
  f.tag = WAVE_FORMAT_PCM;
  f.channels = wanted.nChannels;
  f.rate = wanted.nSamplesPerSec;
  f.bits = wanted.wBitsPerSample;
  const std::uint64_t block = FromOthers(f, kBlock), byteRate = block * f.rate;
  if (f.bits % 8 != 0 || block > 0xFFFF || byteRate > 0xFFFFFFFF) return {};
  f.block = static_cast<std::uint32_t>(block);
  f.byteRate = static_cast<std::uint32_t>(byteRate);
  return Agree(f) ? f : Format{};
}

}  // namespace cmm::check
