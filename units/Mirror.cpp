#include "units/Mirror.h"

#include <utility>

namespace units {
namespace {

// What no 32-bit process has in one piece; the same limit everywhere gives the same result everywhere.
constexpr std::uint32_t kLargestBlock = 0x7FFFFFFF;
// A head that is longer than its file has wrapped round. A little too long it is still harmless; otherwise it
// would be a mirror of zeros up to the memory's or the disk's end.
constexpr std::uint32_t kLargestWrapped = 0x1000000;

}  // namespace

HANDLE NewHeap() {
  return HeapCreate(HEAP_NO_SERIALIZE, 0, 0);
}

// Windows asks a null heap for memory, too.
HeapBlock::HeapBlock(HANDLE heap, std::uint32_t bytes)
    : heap_(heap),
      block_(heap != nullptr ? static_cast<std::uint8_t*>(HeapAlloc(heap, HEAP_ZERO_MEMORY, bytes))
                             : nullptr) {}

HeapBlock::~HeapBlock() {
  GiveBack(heap_, block_);
}

std::uint8_t* HeapBlock::Release() {
  return std::exchange(block_, nullptr);
}

void HeapBlock::GiveBack(HANDLE heap, std::uint8_t* block) {
  if (block != nullptr) HeapFree(heap, HEAP_NO_SERIALIZE, block);
}

bool IsPossibleHead(std::uint32_t headBytes, std::uint32_t dataBytes) {
  const std::uint32_t fileBytes = headBytes + dataBytes;
  return headBytes <= (headBytes > fileBytes ? kLargestWrapped : kLargestBlock);
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
