#pragma once
// What has been captured and has no place in the ring yet.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <span>

#include "platform/posix/types.h"

namespace platform::detail {

/// A first-in, first-out buffer of a fixed size. Its memory is taken once and its pages are first touched
/// when they are needed, so that a backlog that stays empty costs nothing.
///
/// The room that Tail gives may be filled without the owner's lock; everything else is under it.
class Backlog {
 public:
  /// Throws std::bad_alloc.
  explicit Backlog(std::size_t bytes) : bytes_(std::make_unique_for_overwrite<BYTE[]>(bytes)), size_(bytes) {}

  std::size_t Held() const { return held_; }

  /// Room in one piece behind what it holds; empty when it is full.
  std::span<BYTE> Tail() const {
    const std::size_t begin = (first_ + held_) % size_;
    return {&bytes_[begin], std::min(size_ - held_, size_ - begin)};
  }
  /// Takes in what has been put at the beginning of Tail.
  void Commit(std::size_t count) { held_ += count; }

  /// Moves the oldest bytes out, at most @p most. @return how many
  std::size_t Take(BYTE* to, std::size_t most) {
    const std::size_t count = std::min({most, held_, size_ - first_});
    std::memcpy(to, &bytes_[first_], count);
    Drop(count);
    return count;
  }
  /// Forgets the oldest bytes.
  void Drop(std::size_t count) {
    first_ = (first_ + count) % size_;
    held_ -= count;
  }
  void Clear() { first_ = held_ = 0; }

 private:
  const std::unique_ptr<BYTE[]> bytes_;
  const std::size_t size_;
  std::size_t first_ = 0;  // of the oldest byte
  std::size_t held_ = 0;
};

}  // namespace platform::detail
