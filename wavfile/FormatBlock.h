#pragma once
// A format record on the heap, with the bytes behind it that its cbSize promises.

#include <cstring>
#include <memory>
#include <new>

#include "platform/platform.h"

struct FreeFormat {
  void operator()(WAVEFORMATEX* format) const { delete[] reinterpret_cast<char*>(format); }
};
using FormatBlock = std::unique_ptr<WAVEFORMATEX, FreeFormat>;

/// @return a copy of the record with zeros behind it; empty when memory is short
inline FormatBlock NewFormat(const WAVEFORMATEX& record) {
  char* const block = new (std::nothrow) char[sizeof record + record.cbSize]();
  if (block != nullptr) std::memcpy(block, &record, sizeof record);
  return FormatBlock(reinterpret_cast<WAVEFORMATEX*>(block));
}
