// Short memory: an operation that cannot have its block gives 0 and leaves nothing behind.
#include <cstdlib>
#include <new>

#include "tests/wavfile/wav_test.h"

namespace {
int allocationsLeft = -1;  // negative: no end
}  // namespace

// The library's own allocations come here too; it makes no others that it frees with delete.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocationsLeft == 0 ? nullptr : (--allocationsLeft, std::malloc(size));
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* block) noexcept {
  std::free(block);
}
void operator delete[](void* block) noexcept {
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}
void* operator new(std::size_t size) {
  void* const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
void* operator new[](std::size_t size) {
  return operator new(size);
}

namespace {

class Memory : public test::WavTest {};

TEST_F(Memory, OpensFailCleanlyAtEveryAllocation) {
  const std::string directory =
      folder_.Path().string() + std::string(300, '/');  // longer than the usual room
  for (const bool writes : {true, false}) {
    int needed = -1;
    for (int limit = 0; needed < 0 && limit < 100; ++limit) {
      CMMWav wav;
      allocationsLeft = limit;
      const std::int32_t opened = writes ? wav.Open(test::Pcm(2, 44100, 16), "a.wav", directory.c_str())
                                         : wav.Open("a.wav", directory.c_str());
      allocationsLeft = -1;
      EXPECT_EQ(wav.GetFileName() != nullptr, opened == 1);
      EXPECT_EQ(wav.Close(), opened);
      if (opened == 1) needed = limit;
    }
    EXPECT_GE(needed, 4);  // two names, the path, the format
  }
}

}  // namespace
