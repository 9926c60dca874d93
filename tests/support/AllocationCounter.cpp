// In a file of its own, so that no compiler optimises the calls away. Every form is here, since a sanitizer's
// other forms would not call these.

#include "tests/support/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

static std::atomic<long> blocksTaken{0};
static std::atomic<long> blocksGiven{0};
static std::atomic<long> blocksLeft{-1};

long BlocksTaken() {
  return blocksTaken;
}

long BlocksHeld() {
  return blocksTaken - blocksGiven;
}

void LimitBlocks(long left) {
  blocksLeft = left;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++blocksTaken;
  if (blocksLeft >= 0 && blocksLeft-- == 0) {
    blocksLeft = 0;
    ++blocksGiven;
    return nullptr;
  }
  return std::malloc(size != 0 ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void* operator new(std::size_t size) {
  if (void* block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
  return operator new(size);
}
void operator delete(void* block) noexcept {
  if (block != nullptr) ++blocksGiven;
  std::free(block);
}
void operator delete[](void* block) noexcept {
  operator delete(block);
}
void operator delete(void* block, std::size_t) noexcept {
  operator delete(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  operator delete(block);
}
