#pragma once
// Arithmetic of acmStreamSize.

#include <cstdint>
#include <limits>

#include "platform/platform.h"

namespace platform::detail {

constexpr std::uint64_t DivideUp(std::uint64_t dividend, std::uint64_t divisor) {
  return dividend / divisor + (dividend % divisor != 0);
}

/// Computes the size of @p count blocks or frames of @p bytesEach.
/// @return 0: computed
/// @return ACMERR_NOTPOSSIBLE: the count is 0, or the size has more than 32 bits; @p bytes is untouched
inline MMRESULT ComputeSize(std::uint64_t count, std::uint64_t bytesEach, DWORD& bytes) {
  if (count == 0 || count > std::numeric_limits<DWORD>::max() / bytesEach) return ACMERR_NOTPOSSIBLE;
  bytes = static_cast<DWORD>(count * bytesEach);
  return MMSYSERR_NOERROR;
}

}  // namespace platform::detail
