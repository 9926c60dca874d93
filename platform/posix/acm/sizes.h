#pragma once
// Arithmetic of acmStreamSize.

#include <limits>

#include "platform/posix/acm.h"

namespace platform::detail {

constexpr std::uint64_t DivideUp(std::uint64_t dividend, std::uint64_t divisor) {
  return dividend / divisor + (dividend % divisor != 0);
}

/// Gives the bytes of @p units, of @p unitBytes each, if there are any and the published type holds them.
inline MMRESULT GiveSize(std::uint64_t units, std::uint64_t unitBytes, DWORD& bytes) {
  if (units == 0 || units > std::numeric_limits<DWORD>::max() / unitBytes) return ACMERR_NOTPOSSIBLE;
  bytes = static_cast<DWORD>(units * unitBytes);
  return MMSYSERR_NOERROR;
}

}  // namespace platform::detail
