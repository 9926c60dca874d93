#pragma once
// What is the same in the two readers: the private heap, and the writing side.

#include <cstdint>

#include "platform/owners.h"
#include "platform/platform.h"

namespace units {

/// @return a heap without internal locking, with one owner; null when there is none to be had
HANDLE NewHeap(cmm::Owners& owners);

/// A zeroed block of a unit's heap, given back with the object. Empty when it could not be had, also because
/// there is no heap.
class HeapBlock {
 public:
  HeapBlock(HANDLE heap, std::uint32_t bytes);
  ~HeapBlock();
  HeapBlock(const HeapBlock&) = delete;
  HeapBlock& operator=(const HeapBlock&) = delete;

  explicit operator bool() const { return block_ != nullptr; }
  std::uint8_t* Get() const { return block_; }
  /// Leaves the block to the caller, for GiveBack.
  std::uint8_t* Release();
  static void GiveBack(HANDLE heap, std::uint8_t* block);

 private:
  HANDLE heap_;
  std::uint8_t* block_;
};

/// @return the new file, in place of one that exists; null when it could not be made
HANDLE CreateMirror(const char* file);
bool WriteMirror(HANDLE mirror, const void* data, std::uint32_t bytes);

}  // namespace units
