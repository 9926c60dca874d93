// Definitions of the C library's functions that replace them in all of the process, the library and the
// loader included. They call the originals by their other names, since a search for the next definition may
// take memory itself.

#include "tests/support/Allocations.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

extern "C" {
void* __libc_malloc(std::size_t bytes) noexcept;
void* __libc_calloc(std::size_t count, std::size_t bytes) noexcept;
void* __libc_realloc(void* block, std::size_t bytes) noexcept;
void* __libc_memalign(std::size_t alignment, std::size_t bytes) noexcept;
void __libc_free(void* block) noexcept;
}

namespace {

constinit std::atomic<long> failsAt{0};  // 0: none
constinit std::atomic<long> made{0};     // since FailAllocation
constinit std::atomic<bool> allAfter{false};
constinit std::atomic<bool> failed{false};
constinit std::atomic<test::AllocationFilter> filter{nullptr};
constinit std::atomic<long> held{0};

bool Fails(const void* caller) {
  const long at = failsAt.load(std::memory_order_relaxed);
  if (at == 0) return false;
  const test::AllocationFilter wants = filter.load(std::memory_order_relaxed);
  if (wants != nullptr && !wants(caller, made + 1 >= at && !failed)) return false;
  const long number = ++made;
  if (number < at || (number > at && !allAfter)) return false;
  failed = true;
  errno = ENOMEM;
  return true;
}

void* Counted(void* block) {
  if (block != nullptr) ++held;
  return block;
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

void test::FilterAllocations(AllocationFilter given) {
  filter = given;
}

long test::AllocationsMade() {
  return made;
}

long test::AllocationsHeld() {
  return held;
}

extern "C" {

void* malloc(std::size_t bytes) noexcept {
  return Fails(__builtin_return_address(0)) ? nullptr : Counted(__libc_malloc(bytes));
}
void* calloc(std::size_t count, std::size_t bytes) noexcept {
  return Fails(__builtin_return_address(0)) ? nullptr : Counted(__libc_calloc(count, bytes));
}
void* realloc(void* block, std::size_t bytes) noexcept {
  if (block != nullptr && bytes == 0) {
    free(block);
    return nullptr;
  }
  if (Fails(__builtin_return_address(0))) return nullptr;
  void* const moved = __libc_realloc(block, bytes);
  return block == nullptr ? Counted(moved) : moved;
}
void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
  return Fails(__builtin_return_address(0)) ? nullptr : Counted(__libc_memalign(alignment, bytes));
}
void* memalign(std::size_t alignment, std::size_t bytes) noexcept {
  return Fails(__builtin_return_address(0)) ? nullptr : Counted(__libc_memalign(alignment, bytes));
}
int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) noexcept {
  if (Fails(__builtin_return_address(0))) return ENOMEM;
  void* const taken = Counted(__libc_memalign(alignment, bytes));
  if (taken != nullptr) *block = taken;
  return taken != nullptr ? 0 : ENOMEM;
}
void free(void* block) noexcept {
  if (block != nullptr) --held;
  __libc_free(block);
}

}  // extern "C"
