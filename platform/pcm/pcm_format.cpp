#include "platform/pcm/pcm_format.h"

#include <cstdint>
#include <cstring>

namespace platform::detail {
namespace {

static_assert(sizeof(WAVEFORMATEX) == 18 && sizeof(WAVEFORMATEXTENSIBLE) == 40, "as in files");

/// What the tags have in common once the extensible form is taken apart.
struct Contents {
  DWORD tag;
  unsigned bits;       // of the container, or of plain PCM
  unsigned validBits;  // 0: not said
  DWORD mask;
};

/// The identifier of a format code: the code itself, followed by bytes that are the same for all.
bool IsOfCode(const GUID& id) {
  static constexpr BYTE kRest[8] = {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
  return id.Data2 == 0 && id.Data3 == 0x10 && std::memcmp(id.Data4, kRest, sizeof kRest) == 0;
}

std::optional<Contents> ReadExtensible(const WAVEFORMATEX& format) {
  WAVEFORMATEXTENSIBLE extensible;
  if (format.cbSize < sizeof extensible - sizeof format) return std::nullopt;
  std::memcpy(&extensible, static_cast<const void*>(&format), sizeof extensible);
  GUID id;
  std::memcpy(&id, &extensible.SubFormat, sizeof id);
  const unsigned bits = format.wBitsPerSample;
  const unsigned validBits = extensible.Samples.wValidBitsPerSample;
  if (!IsOfCode(id) || bits % 8 != 0 || validBits > bits) return std::nullopt;
  return Contents{static_cast<DWORD>(id.Data1), bits, validBits, extensible.dwChannelMask};
}

std::optional<Contents> ReadContents(const WAVEFORMATEX& format) {
  if (format.wFormatTag == WAVE_FORMAT_EXTENSIBLE) return ReadExtensible(format);
  if (format.wFormatTag != WAVE_FORMAT_PCM && format.wFormatTag != WAVE_FORMAT_IEEE_FLOAT)
    return std::nullopt;
  return Contents{format.wFormatTag, format.wBitsPerSample, 0, 0};
}

std::optional<SampleKind> KindOf(const Contents& contents) {
  if (contents.tag == WAVE_FORMAT_PCM) {
    switch (contents.bits) {
      case 8:
        return SampleKind::kPcm8;
      case 16:
        return SampleKind::kPcm16;
      case 20:
      case 24:
        return SampleKind::kPcm24;
      case 32:
        return SampleKind::kPcm32;
      default:
        return std::nullopt;
    }
  }
  if (contents.validBits != 0 && contents.validBits != contents.bits) return std::nullopt;
  if (contents.tag == WAVE_FORMAT_IEEE_FLOAT) {
    if (contents.bits == 32) return SampleKind::kFloat;
    if (contents.bits == 64) return SampleKind::kDouble;
  }
  if (contents.bits == 8) {
    if (contents.tag == WAVE_FORMAT_ALAW) return SampleKind::kALaw;
    if (contents.tag == WAVE_FORMAT_MULAW) return SampleKind::kMuLaw;
  }
  return std::nullopt;
}

/// Whether block and byte rate are those of the channels, the rate and the bits.
bool IsConsistent(const WAVEFORMATEX& format, unsigned bits) {
  const std::uint64_t block = std::uint64_t{format.nChannels} * ((bits + 7) / 8);
  return format.nChannels > 0 && format.nChannels <= kMostPcmChannels && format.nSamplesPerSec > 0 &&
         format.nBlockAlign == block && format.nAvgBytesPerSec == block * format.nSamplesPerSec;
}

}  // namespace

std::optional<PcmSource> ReadPcmSource(const WAVEFORMATEX& format) {
  const auto contents = ReadContents(format);
  if (!contents || !IsConsistent(format, contents->bits)) return std::nullopt;
  const auto kind = KindOf(*contents);
  if (!kind) return std::nullopt;
  return PcmSource{*kind, format.nChannels, contents->mask, format.nSamplesPerSec, format.nBlockAlign};
}

std::optional<PcmTarget> ReadPcmTarget(const WAVEFORMATEX& format, const PcmSource& source) {
  const unsigned bits = format.wBitsPerSample;
  if (format.wFormatTag != WAVE_FORMAT_PCM || (bits != 8 && bits != 16)) return std::nullopt;
  if (!IsConsistent(format, bits)) return std::nullopt;
  if (format.nChannels > 2 && format.nChannels != source.channels) return std::nullopt;
  return PcmTarget{bits / 8, format.nChannels, format.nSamplesPerSec};
}

}  // namespace platform::detail
