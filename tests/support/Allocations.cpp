// Definitions of the C library's functions that replace them in all of the process, the library and the
// loader included. They call the originals by their other names, since a search for the next definition may
// take memory itself. The functions that give memory back are not replaced.

#include "tests/support/Allocations.h"

#include <atomic>
#include <cerrno>
#include <cstddef>

extern "C" {
void* __libc_malloc(std::size_t bytes) noexcept;
void* __libc_calloc(std::size_t count, std::size_t bytes) noexcept;
void* __libc_realloc(void* block, std::size_t bytes) noexcept;
void* __libc_memalign(std::size_t alignment, std::size_t bytes) noexcept;
}

namespace {

constinit std::atomic<long> failsAt{0};  // 0: none
constinit std::atomic<long> made{0};     // since FailAllocation
constinit std::atomic<bool> allAfter{false};
constinit std::atomic<bool> failed{false};

bool Fails() {
  const long at = failsAt.load(std::memory_order_relaxed);
  if (at == 0) return false;
  const long number = ++made;
  if (number < at || (number > at && !allAfter)) return false;
  failed = true;
  errno = ENOMEM;
  return true;
}

}  // namespace

void test::FailAllocation(long nth, bool andAllAfter) {
  made = 0;
  failed = false;
  allAfter = andAllAfter;
  failsAt = nth;
}

bool test::AllocateAgain() {
  failsAt = 0;
  return failed;
}

extern "C" {

void* malloc(std::size_t bytes) noexcept {
  return Fails() ? nullptr : __libc_malloc(bytes);
}
void* calloc(std::size_t count, std::size_t bytes) noexcept {
  return Fails() ? nullptr : __libc_calloc(count, bytes);
}
void* realloc(void* block, std::size_t bytes) noexcept {
  return Fails() ? nullptr : __libc_realloc(block, bytes);
}
void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
  return Fails() ? nullptr : __libc_memalign(alignment, bytes);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) noexcept {
  if (Fails()) return ENOMEM;
  void* const made = __libc_memalign(alignment, bytes);
  if (made != nullptr) *block = made;
  return made != nullptr ? 0 : ENOMEM;
}

}  // extern "C"
