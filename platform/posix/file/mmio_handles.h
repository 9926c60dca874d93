#pragma once
// The table behind the file handles.

#include <atomic>
#include <cstdint>

#include "platform/posix/core/limits.h"
#include "platform/posix/file/mmio_file.h"

namespace platform::detail {

/// A place for one open file. Slots lie in segments that are never freed, so that a look-up needs no lock: it
/// goes by the handle's low bits to a slot and compares the whole handle, whose other bits count the
/// openings.
struct MmioSlot {
  std::atomic<std::uintptr_t> key{0};  // the handle while open, 0 otherwise
  std::uintptr_t closedKey = 0;        // what key was last
  MmioSlot* nextFree = nullptr;
  MmioFile file;
};

inline constexpr std::uintptr_t kMmioSegmentSlots = 64;
inline constexpr std::uintptr_t kMmioSegments = (kHandleIndexMask + 1) / kMmioSegmentSlots;
extern constinit std::atomic<MmioSlot*> mmioSegments[kMmioSegments];

/// @return the slot of an open handle; null for any other value
inline MmioSlot* FindMmioSlot(HMMIO handle) noexcept {
  const auto key = reinterpret_cast<std::uintptr_t>(handle);
  const std::uintptr_t index = key & kHandleIndexMask;
  MmioSlot* const segment = mmioSegments[index / kMmioSegmentSlots].load(std::memory_order_acquire);
  if (segment == nullptr || key == 0) return nullptr;
  MmioSlot* const slot = segment + index % kMmioSegmentSlots;
  return slot->key.load(std::memory_order_acquire) == key ? slot : nullptr;
}

/// @return the file of an open handle; null for any other value
inline MmioFile* FindMmioFile(HMMIO handle) noexcept {
  MmioSlot* const slot = FindMmioSlot(handle);
  return slot != nullptr ? &slot->file : nullptr;
}

/// @return a slot for a file that is about to be opened; null when memory or handles are short
MmioSlot* TakeMmioSlot() noexcept;
/// Gives an opened slot its handle.
HMMIO ActivateMmioSlot(MmioSlot* slot) noexcept;
/// Takes a slot back, whether it was activated or not. Its file is closed.
void ReturnMmioSlot(MmioSlot* slot) noexcept;

}  // namespace platform::detail
