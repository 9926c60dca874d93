#pragma once
// What the PCM converter tells about its formats, as the manager asks it.

#include "platform/windows/acm_messages.h"

namespace platform::detail {

MMRESULT TellFormatTag(ACMFORMATTAGDETAILSW& details, DWORD query);
MMRESULT TellFormat(ACMFORMATDETAILSW& details, DWORD query);
MMRESULT SuggestFormat(const FormatSuggestion& suggestion, const SuggestionTarget& room);

}  // namespace platform::detail
