#pragma once
// What WavUnit and MMWavUnit have in common: the private heap, and writing to the mirror.

#include <cstdint>

#include "platform/owners.h"
#include "platform/platform.h"

namespace units {

/// @param owners receives this object as the heap's first owner
/// @return a heap without internal locking; null when memory is short
HANDLE NewHeap(cmm::Owners& owners);

/// A zeroed block of a unit's heap, freed with the object. Empty when memory is short or there is no heap.
class HeapBlock {
 public:
  /// @param heap  may be null
  /// @param bytes size of the block
  HeapBlock(HANDLE heap, std::uint32_t bytes);
  ~HeapBlock();
  HeapBlock(const HeapBlock&) = delete;
  HeapBlock& operator=(const HeapBlock&) = delete;

  /// Whether there is a block.
  explicit operator bool() const { return block_ != nullptr; }
  std::uint8_t* Get() const { return block_; }  ///< the block; still this object's
  /// @return the block, which is the caller's to Free
  std::uint8_t* Release();
  /// Frees a block that was released; null is allowed.
  static void Free(HANDLE heap, std::uint8_t* block);

 private:
  HANDLE heap_;
  std::uint8_t* block_;
};

/// @return the new file, replacing one that exists; null when it cannot be created
HANDLE CreateMirror(const char* file);

/// @return whether the bytes were written
bool WriteMirror(HANDLE mirror, const void* data, std::uint32_t bytes);

}  // namespace units
