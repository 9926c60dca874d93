#pragma once
// The table of the handles of buffered files.

#include <atomic>
#include <cstdint>

#include "platform/posix/core/limits.h"
#include "platform/posix/file/mmio_file.h"

namespace platform::detail {

/// A slot of the table, for one open file. Slots are in segments that are never freed, so that a look-up
/// needs no lock: the handle's low bits are the slot's index, its other bits count the openings, and the slot
/// has the complete handle to compare with.
struct MmioSlot {
  std::atomic<std::uintptr_t> key{0};  // the handle while open, 0 otherwise
  std::uintptr_t closedKey = 0;        // what key was last
  MmioSlot* nextFree = nullptr;
  MmioFile file;
};

inline constexpr std::uintptr_t kMmioSegmentSlots = 64;
inline constexpr std::uintptr_t kMmioSegments = (kHandleIndexMask + 1) / kMmioSegmentSlots;
extern constinit std::atomic<MmioSlot*> mmioSegments[kMmioSegments];

/// @return the slot of an open handle
/// @return null: not an open handle
inline MmioSlot* FindMmioSlot(HMMIO handle) noexcept {
  const auto key = reinterpret_cast<std::uintptr_t>(handle);
  const std::uintptr_t index = key & kHandleIndexMask;
  MmioSlot* const segment = mmioSegments[index / kMmioSegmentSlots].load(std::memory_order_acquire);
  if (segment == nullptr || key == 0) return nullptr;
  MmioSlot* const slot = segment + index % kMmioSegmentSlots;
  return slot->key.load(std::memory_order_acquire) == key ? slot : nullptr;
}

/// @return the file of an open handle
/// @return null: not an open handle
inline MmioFile* FindMmioFile(HMMIO handle) noexcept {
  MmioSlot* const slot = FindMmioSlot(handle);
  return slot != nullptr ? &slot->file : nullptr;
}

/// Takes a slot for a file that is about to be opened.
/// @return the slot, for ReturnMmioSlot
/// @return null: memory or handles are short
MmioSlot* TakeMmioSlot() noexcept;
/// Gives an opened slot its handle.
HMMIO ActivateMmioSlot(MmioSlot* slot) noexcept;
/// Takes a slot back, whether it was activated or not. Its file is closed.
void ReturnMmioSlot(MmioSlot* slot) noexcept;

}  // namespace platform::detail
