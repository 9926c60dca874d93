// Replaces the C++ heap of a test program by one that counts. In a file of its own, so that no compiler sees
// through it.

#include <atomic>
#include <cstdlib>
#include <new>

static std::atomic<long> blocksTaken{0};

long BlocksTaken() {
  return blocksTaken;
}

void* operator new(std::size_t size) {
  ++blocksTaken;
  if (void* block = std::malloc(size)) return block;
  throw std::bad_alloc();
}
// By default it comes to the one above; a sanitizer's runtime has one of its own, to which the delete below
// is foreign.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  ++blocksTaken;
  return std::malloc(size);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
