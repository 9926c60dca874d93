#pragma once
// The buffer of sound that has been captured while the ring had no room.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>

#include "platform/posix/types.h"

namespace platform::detail {

/// A first-in, first-out buffer of a fixed size. Its memory is allocated once, but a page is first written
/// when it is needed: a backlog that stays empty uses no memory.
///
/// The memory of FreeSpan may be written without the owner's lock; everything else needs it.
class Backlog {
 public:
  /// Throws std::bad_alloc.
  explicit Backlog(std::size_t bytes) : bytes_(std::make_unique_for_overwrite<BYTE[]>(bytes)), size_(bytes) {}

  std::size_t Used() const { return used_; }

  /// @return free memory after the used bytes, in one piece; empty when the buffer is full
  std::span<BYTE> FreeSpan() const {
    const std::size_t begin = (first_ + used_) % size_;
    return {&bytes_[begin], std::min(size_ - used_, size_ - begin)};
  }
  /// Adds the first @p count bytes of FreeSpan, which have been written.
  void Commit(std::size_t count) { used_ += count; }

  /// Moves the oldest bytes out. @return how many: at most @p most, and perhaps fewer than there are
  std::size_t Take(BYTE* to, std::size_t most) {
    const std::size_t count = std::min({most, used_, size_ - first_});
    std::memcpy(to, &bytes_[first_], count);
    Drop(count);
    return count;
  }
  /// Discards the oldest bytes.
  void Drop(std::size_t count) {
    first_ = (first_ + count) % size_;
    used_ -= count;
  }
  void Clear() { first_ = used_ = 0; }

 private:
  const std::unique_ptr<BYTE[]> bytes_;
  const std::size_t size_;
  std::size_t first_ = 0;  // of the oldest byte
  std::size_t used_ = 0;
};

}  // namespace platform::detail
