#include "units/Mirror.h"

#include <utility>

namespace units {

HANDLE NewHeap(cmm::Owners& owners) {
  if (!owners.Begin()) return nullptr;
  return HeapCreate(HEAP_NO_SERIALIZE, 0, 0);
}

// HeapAlloc of Windows does not test its heap for null.
HeapBlock::HeapBlock(HANDLE heap, std::uint32_t bytes)
    : heap_(heap),
      block_(heap != nullptr ? static_cast<std::uint8_t*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, bytes))
                             : nullptr) {}

HeapBlock::~HeapBlock() {
  Free(heap_, block_);
}

std::uint8_t* HeapBlock::Release() {
  return std::exchange(block_, nullptr);
}

void HeapBlock::Free(HANDLE heap, std::uint8_t* block) {
  if (block != nullptr) HeapFree(heap, HEAP_NO_SERIALIZE, block);
}

HANDLE CreateMirror(const char* file) {
  const HANDLE mirror = CreateFileA(file, GENERIC_WRITE, FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  return mirror != INVALID_HANDLE_VALUE ? mirror : nullptr;
}

bool WriteMirror(HANDLE mirror, const void* data, std::uint32_t bytes) {
  DWORD written = 0;
  return WriteFile(mirror, data, bytes, &written, nullptr) != FALSE;
}

}  // namespace units
