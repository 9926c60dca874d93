#include "platform/posix/memory.h"

#include <algorithm>
#include <cstdlib>

HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes) {
  if ((flags & ~GMEM_ZEROINIT) != GMEM_FIXED) return nullptr;
  const SIZE_T size = std::max<SIZE_T>(bytes, 1);
  return flags & GMEM_ZEROINIT ? std::calloc(size, 1) : std::malloc(size);
}

HGLOBAL GlobalFree(HGLOBAL block) {
  std::free(block);
  return nullptr;
}
