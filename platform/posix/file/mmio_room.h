#pragma once
// How much a file's buffer collects before it writes: much from a program that writes as fast as it can, little
// from a recording.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace platform::detail {

/// The room for new bytes in a file's buffer, by the speed at which they have come so far.
/// A quarter second of them, from 256 bytes to a page; after eight pages in a row at 16 MiB a second and more
/// the full buffer, until they come slower again. The clock is read for each write to the disk, and not for
/// bytes that go into the buffer.
class MmioRoom {
 public:
  static constexpr std::size_t kPage = 4096;
  static constexpr std::size_t kFull = 65536;

  std::size_t Bytes() const noexcept { return bytes_; }
  /// The file has been opened, or a write to the disk has ended: how long that took does not count.
  void Begin() noexcept { begin_ = Clock::now(); }
  /// A write to the disk begins.
  /// @param bytes what has come since Begin, > 0
  void End(std::size_t bytes) noexcept {
    const std::int64_t time = std::max<std::int64_t>(std::chrono::nanoseconds(Clock::now() - begin_).count(), 1);
    const std::int64_t quarterSecond = static_cast<std::int64_t>(bytes) * 250'000'000 / time;
    if (quarterSecond < kFast) {
      fastPages_ = 0;
    } else if (bytes >= kPage && fastPages_ < kFastPages) {
      ++fastPages_;
    }
    bytes_ = fastPages_ == kFastPages
                 ? kFull
                 : static_cast<std::size_t>(std::clamp<std::int64_t>(quarterSecond, kLeast, kPage));
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::size_t kLeast = 256;
  static constexpr std::int64_t kFast = 4 << 20;  // bytes in a quarter second
  // A recording that catches up after a stall of the disk writes its ring in two pieces, and then what came
  // meanwhile: fewer than eight.
  static constexpr int kFastPages = 8;

  Clock::time_point begin_;
  std::size_t bytes_ = 2 * kLeast;  // until the speed is known
  int fastPages_ = 0;               // writes of a page and more
};

}  // namespace platform::detail
