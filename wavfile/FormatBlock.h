#pragma once
// A format structure on the heap, followed by the bytes that its cbSize announces.

#include <cstring>
#include <memory>
#include <new>

#include "platform/platform.h"

/// Gives a format back that NewFormat has made.
struct FreeFormat {
  /// @param format may be null
  void operator()(WAVEFORMATEX* format) const { delete[] reinterpret_cast<char*>(format); }
};
using FormatBlock = std::unique_ptr<WAVEFORMATEX, FreeFormat>;

/// @return a copy of the structure, followed by zeros; empty when memory is short
inline FormatBlock NewFormat(const WAVEFORMATEX& format) {
  char* const block = new (std::nothrow) char[sizeof format + format.cbSize]();
  if (block != nullptr) std::memcpy(block, &format, sizeof format);
  return FormatBlock(reinterpret_cast<WAVEFORMATEX*>(block));
}
