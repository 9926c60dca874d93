// Memory blocks and private heaps.
#include "platform/posix/memory.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_set>

#include "platform/posix/core/handles.h"
#include "platform/posix/core/limits.h"

namespace platform::detail {
namespace {

class Heap final : public Object {
 public:
  ~Heap() override {
    for (void* block : blocks_) std::free(block);
  }
  bool HasOwnClose() const override { return true; }

  void* Allocate(SIZE_T bytes, bool zero) {
    const std::lock_guard lock(lock_);
    std::unique_ptr<void, decltype(&std::free)> block(zero ? std::calloc(bytes, 1) : std::malloc(bytes),
                                                      &std::free);
    if (block) blocks_.insert(block.get());
    return block.release();
  }
  bool Free(void* block) {
    const std::lock_guard lock(lock_);
    if (blocks_.erase(block) == 0) return false;
    std::free(block);
    return true;
  }

 private:
  std::mutex lock_;
  std::unordered_set<void*> blocks_;
};

}  // namespace
}  // namespace platform::detail

using namespace platform::detail;

HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes) {
  if ((flags & ~GMEM_ZEROINIT) != GMEM_FIXED) return nullptr;
  const SIZE_T size = std::max<SIZE_T>(bytes, 1);
  return flags & GMEM_ZEROINIT ? std::calloc(size, 1) : std::malloc(size);
}

HGLOBAL GlobalFree(HGLOBAL block) {
  std::free(block);
  return nullptr;
}

HANDLE HeapCreate(DWORD options, SIZE_T /*initial*/, SIZE_T greatest) try {
  if ((options & ~HEAP_NO_SERIALIZE) != 0 || greatest != 0) return nullptr;
  return OpenHandle(std::make_shared<Heap>());
} catch (const std::bad_alloc&) {
  return nullptr;
}

BOOL HeapDestroy(HANDLE heap) {
  const auto isHeap = [](const Object& object) { return dynamic_cast<const Heap*>(&object) != nullptr; };
  return CloseObject(heap, isHeap) ? TRUE : FALSE;
}

LPVOID HeapAlloc(HANDLE handle, DWORD flags, SIZE_T bytes) try {
  const auto heap = FindObject<Heap>(handle);
  if (!heap || (flags & ~(HEAP_NO_SERIALIZE | HEAP_ZERO_MEMORY)) != 0 || bytes > kMostBlockBytes)
    return nullptr;
  return heap->Allocate(std::max<SIZE_T>(bytes, 1), (flags & HEAP_ZERO_MEMORY) != 0);
} catch (const std::bad_alloc&) {
  return nullptr;
}

BOOL HeapFree(HANDLE handle, DWORD /*flags*/, LPVOID block) {
  const auto heap = FindObject<Heap>(handle);
  return heap && (block == nullptr || heap->Free(block)) ? TRUE : FALSE;
}
