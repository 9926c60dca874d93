#pragma once
// What the audio compression manager says to a driver: messages and their structures, by their published
// meaning. The compiler's headers have the host's side alone.

#include "platform/platform.h"

namespace platform::detail {

// Messages; what their two parameters are is told with each.
enum : UINT {
  kDriverDetails = ACMDM_BASE + 10,     // ACMDRIVERDETAILSW
  kFormatTagDetails = ACMDM_BASE + 25,  // ACMFORMATTAGDETAILSW, ACM_FORMATTAGDETAILSF_...
  kFormatDetails = ACMDM_BASE + 26,     // ACMFORMATDETAILSW, ACM_FORMATDETAILSF_...
  kFormatSuggest = ACMDM_BASE + 27,     // FormatSuggestion, SuggestionTarget
  kStreamOpen = ACMDM_BASE + 76,        // StreamInstance
  kStreamClose = ACMDM_BASE + 77,       // StreamInstance
  kStreamSize = ACMDM_BASE + 78,        // StreamInstance, StreamSizes
  kStreamConvert = ACMDM_BASE + 79,     // StreamInstance, StreamHeader
  kStreamReset = ACMDM_BASE + 80,       // StreamInstance
};

// On 64 bits some managers align the pointers of their structures to 8 bytes, and others pack all fields.
// Where that makes a difference, the size that the structure states tells which it is.

#pragma pack(push, 1)
/// ACMDRVSTREAMINSTANCE without its first field, the size: a stream.
struct StreamInstance {
  LPWAVEFORMATEX pwfxSrc;
  LPWAVEFORMATEX pwfxDst;
  LPWAVEFILTER pwfltr;
  DWORD_PTR dwCallback;
  DWORD_PTR dwInstance;
  DWORD fdwOpen;  // ACM_STREAMOPENF_...
  DWORD fdwDriver;
  DWORD_PTR dwDriver;  // the driver's own
  HACMSTREAM has;
};

/// ACMDRVSTREAMSIZE: one length given, the other asked for.
struct StreamSizes {
  DWORD cbStruct;
  DWORD fdwSize;  // ACM_STREAMSIZEF_...
  DWORD cbSrcLength;
  DWORD cbDstLength;
};

/// The beginning of ACMDRVSTREAMHEADER: a header of the host, and how to convert it.
struct StreamHeader {
  DWORD cbStruct;
  DWORD fdwStatus;
  DWORD_PTR dwUser;
  LPBYTE pbSrc;
  DWORD cbSrcLength;
  DWORD cbSrcLengthUsed;
  DWORD_PTR dwSrcUser;
  LPBYTE pbDst;
  DWORD cbDstLength;
  DWORD cbDstLengthUsed;
  DWORD_PTR dwDstUser;
  DWORD fdwConvert;  // ACM_STREAMCONVERTF_...
};

/// The beginning of ACMDRVFORMATSUGGEST: a source.
struct FormatSuggestion {
  DWORD cbStruct;
  DWORD fdwSuggest;  // ACM_FORMATSUGGESTF_...: fields of the destination that are given
  LPWAVEFORMATEX pwfxSrc;
  DWORD cbwfxSrc;
};
/// The end of ACMDRVFORMATSUGGEST: room for a destination.
struct SuggestionTarget {
  LPWAVEFORMATEX pwfxDst;
  DWORD cbwfxDst;
};
#pragma pack(pop)

/// The parameter of a message as what it points to.
template <class Structure>
Structure& At(LPARAM parameter) {
  return *reinterpret_cast<Structure*>(parameter);
}

/// The stream of a message: the last bytes of the structure.
inline StreamInstance& StreamAt(LPARAM parameter) {
  const auto offset = static_cast<LPARAM>(At<DWORD>(parameter) - sizeof(StreamInstance));
  return At<StreamInstance>(parameter + offset);
}

inline SuggestionTarget& SuggestionTargetAt(LPARAM parameter) {
  constexpr std::size_t kPacked = sizeof(FormatSuggestion) + sizeof(SuggestionTarget);
  const std::size_t gap = At<DWORD>(parameter) > kPacked ? sizeof(DWORD) : 0;
  return At<SuggestionTarget>(parameter + static_cast<LPARAM>(sizeof(FormatSuggestion) + gap));
}

}  // namespace platform::detail
