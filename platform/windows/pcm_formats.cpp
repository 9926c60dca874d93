#include "platform/windows/pcm_formats.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <iterator>

#include "platform/pcm/pcm_format.h"

namespace platform::detail {
namespace {

/// A format tag that the converter knows, and the example of a format that it gives for it.
struct Tag {
  WORD tag;
  WORD bits;
  DWORD formatBytes;
  const wchar_t* name;
};
constexpr Tag kTags[] = {{WAVE_FORMAT_PCM, 16, sizeof(PCMWAVEFORMAT), L"PCM"},
                         {WAVE_FORMAT_IEEE_FLOAT, 32, sizeof(WAVEFORMATEX), L"IEEE float"},
                         {WAVE_FORMAT_EXTENSIBLE, 24, sizeof(WAVEFORMATEXTENSIBLE), L"Extensible"}};

const Tag* FindTag(DWORD tag) {
  const auto* const found =
      std::find_if(std::begin(kTags), std::end(kTags), [&](const Tag& each) { return each.tag == tag; });
  return found != std::end(kTags) ? found : nullptr;
}

/// Stereo of 44100 Hz.
WAVEFORMATEXTENSIBLE ExampleOf(const Tag& tag) {
  constexpr DWORD kRate = 44100;
  const auto block = static_cast<WORD>(2 * tag.bits / 8);
  WAVEFORMATEXTENSIBLE example = {};
  example.Format = {tag.tag, 2, kRate, kRate * block, block, tag.bits, 0};
  if (tag.tag == WAVE_FORMAT_EXTENSIBLE) {
    example.Format.cbSize = sizeof example - sizeof example.Format;
    example.Samples.wValidBitsPerSample = tag.bits;
    example.dwChannelMask = 3;  // front left and right
    example.SubFormat = {WAVE_FORMAT_PCM, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}};
  }
  return example;
}

constexpr DWORD kSupport = ACMDRIVERDETAILS_SUPPORTF_CODEC | ACMDRIVERDETAILS_SUPPORTF_CONVERTER;

}  // namespace

MMRESULT TellFormatTag(ACMFORMATTAGDETAILSW& details, DWORD query) {
  const Tag* tag = nullptr;
  const DWORD which = query & ACM_FORMATTAGDETAILSF_QUERYMASK;
  if (which == ACM_FORMATTAGDETAILSF_LARGESTSIZE && details.dwFormatTag == WAVE_FORMAT_UNKNOWN) {
    tag = FindTag(WAVE_FORMAT_EXTENSIBLE);
  } else if (which == ACM_FORMATTAGDETAILSF_INDEX) {
    if (details.dwFormatTagIndex < std::size(kTags)) tag = &kTags[details.dwFormatTagIndex];
  } else if (which == ACM_FORMATTAGDETAILSF_FORMATTAG || which == ACM_FORMATTAGDETAILSF_LARGESTSIZE) {
    tag = FindTag(details.dwFormatTag);
  } else {
    return MMSYSERR_NOTSUPPORTED;
  }
  if (tag == nullptr) return ACMERR_NOTPOSSIBLE;
  details.dwFormatTagIndex = static_cast<DWORD>(tag - kTags);
  details.dwFormatTag = tag->tag;
  details.cbFormatSize = tag->formatBytes;
  details.fdwSupport = kSupport;
  details.cStandardFormats = 1;
  std::wcscpy(details.szFormatTag, tag->name);
  return MMSYSERR_NOERROR;
}

MMRESULT TellFormat(ACMFORMATDETAILSW& details, DWORD query) {
  const Tag* const tag = FindTag(details.dwFormatTag);
  if (tag == nullptr) return ACMERR_NOTPOSSIBLE;
  switch (query & ACM_FORMATDETAILSF_QUERYMASK) {
    case ACM_FORMATDETAILSF_INDEX: {
      if (details.dwFormatIndex != 0 || details.cbwfx < tag->formatBytes) return ACMERR_NOTPOSSIBLE;
      const WAVEFORMATEXTENSIBLE example = ExampleOf(*tag);
      std::memcpy(static_cast<void*>(details.pwfx), &example, tag->formatBytes);
      break;
    }
    case ACM_FORMATDETAILSF_FORMAT:
      if (!ReadPcmSource(*details.pwfx)) return ACMERR_NOTPOSSIBLE;
      break;
    default:
      return MMSYSERR_NOTSUPPORTED;
  }
  details.fdwSupport = kSupport;
  details.szFormat[0] = 0;  // the manager writes the text
  return MMSYSERR_NOERROR;
}

MMRESULT SuggestFormat(const FormatSuggestion& suggestion, const SuggestionTarget& room) {
  const auto source = ReadPcmSource(*suggestion.pwfxSrc);
  if (!source || room.cbwfxDst < sizeof(PCMWAVEFORMAT)) return ACMERR_NOTPOSSIBLE;
  const DWORD given = suggestion.fdwSuggest;
  WAVEFORMATEX target = {};
  std::memcpy(static_cast<void*>(&target), room.pwfxDst, sizeof(PCMWAVEFORMAT));
  if (!(given & ACM_FORMATSUGGESTF_WFORMATTAG)) target.wFormatTag = WAVE_FORMAT_PCM;
  if (!(given & ACM_FORMATSUGGESTF_NCHANNELS))
    target.nChannels = static_cast<WORD>(std::min<std::size_t>(source->channels, 2));
  if (!(given & ACM_FORMATSUGGESTF_NSAMPLESPERSEC)) target.nSamplesPerSec = source->rate;
  if (!(given & ACM_FORMATSUGGESTF_WBITSPERSAMPLE)) target.wBitsPerSample = 16;
  target.nBlockAlign = static_cast<WORD>(target.nChannels * target.wBitsPerSample / 8);
  target.nAvgBytesPerSec = target.nSamplesPerSec * target.nBlockAlign;
  if (!ReadPcmTarget(target, *source)) return ACMERR_NOTPOSSIBLE;
  std::memcpy(static_cast<void*>(room.pwfxDst), &target, std::min<std::size_t>(room.cbwfxDst, sizeof target));
  return MMSYSERR_NOERROR;
}

}  // namespace platform::detail
