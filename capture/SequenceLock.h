#pragma once
// A value that one thread writes and any thread reads.

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace capture {

/// A sequence lock: the writer never waits, and a reader that finds a change under way reads again. One
/// writer at a time.
///
/// The count is odd during a change. Each word is stored with release and loaded with acquire order, so a
/// reader that has loaded a word of a change also sees its odd count, or a later one, when it compares.
template <class T>
class SequenceLocked {
  static_assert(std::is_trivially_copyable_v<T>);

 public:
  void Store(const T& value) noexcept {
    std::array<std::uint64_t, kWords> words{};
    std::memcpy(words.data(), &value, sizeof value);
    const std::uint32_t count = count_.load(std::memory_order_relaxed);
    count_.store(count + 1, std::memory_order_relaxed);
    for (std::size_t i = 0; i < kWords; ++i) words_[i].store(words[i], std::memory_order_release);
    count_.store(count + 2, std::memory_order_release);
  }

  T Load() const noexcept {
    std::array<std::uint64_t, kWords> words;
    std::uint32_t before;
    do {
      before = count_.load(std::memory_order_acquire);
      for (std::size_t i = 0; i < kWords; ++i) words[i] = words_[i].load(std::memory_order_acquire);
    } while (before % 2 != 0 || count_.load(std::memory_order_relaxed) != before);
    T value;
    std::memcpy(&value, words.data(), sizeof value);
    return value;
  }

 private:
  static constexpr std::size_t kWords = (sizeof(T) + 7) / 8;

  std::atomic<std::uint32_t> count_{0};
  std::array<std::atomic<std::uint64_t>, kWords> words_{};
};

}  // namespace capture
