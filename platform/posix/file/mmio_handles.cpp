// The table of the handles of buffered files.
#include "platform/posix/file/mmio_handles.h"

#include <mutex>
#include <new>

namespace platform::detail {

constinit std::atomic<MmioSlot*> mmioSegments[kMmioSegments];

namespace {

constinit std::mutex tableMutex;          // guards what follows
constinit MmioSlot* freeSlots = nullptr;  // most recently closed first
constinit std::uintptr_t numSegments = 0;

constexpr std::uintptr_t kGeneration = kHandleIndexMask + 1;

bool AddSegment() noexcept {
  if (numSegments == kMmioSegments) return false;
  auto* const segment = new (std::nothrow) MmioSlot[kMmioSegmentSlots];
  if (segment == nullptr) return false;
  for (std::uintptr_t i = kMmioSegmentSlots; i-- > 0;) {
    segment[i].closedKey = numSegments * kMmioSegmentSlots + i;
    segment[i].nextFree = freeSlots;
    freeSlots = &segment[i];
  }
  mmioSegments[numSegments++].store(segment, std::memory_order_release);
  return true;
}

}  // namespace

MmioSlot* TakeMmioSlot() noexcept {
  const std::lock_guard lock(tableMutex);
  if (freeSlots == nullptr && !AddSegment()) return nullptr;
  MmioSlot* const slot = freeSlots;
  freeSlots = slot->nextFree;
  return slot;
}

HMMIO ActivateMmioSlot(MmioSlot* slot) noexcept {
  std::uintptr_t key = slot->closedKey + kGeneration;
  if (key < kGeneration) key += kGeneration;  // the count has wrapped round; 0 is no opening
  slot->closedKey = key;
  slot->key.store(key, std::memory_order_release);
  return reinterpret_cast<HMMIO>(key);
}

void ReturnMmioSlot(MmioSlot* slot) noexcept {
  slot->key.store(0, std::memory_order_release);
  const std::lock_guard lock(tableMutex);
  slot->nextFree = freeSlots;
  freeSlots = slot;
}

}  // namespace platform::detail
