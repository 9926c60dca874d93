#pragma once
// How much a file's buffer collects before it writes: much from a program that writes as fast as it can, little
// from a recording.

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace platform::detail {

/// The room for new bytes in a file's buffer, by the speed at which they have come so far: half a second of
/// them, from 256 bytes to a page. At 16 MiB a second and more it is a page and a half, and after eight pages in a
/// row at that speed the full buffer, until bytes come slower again. The clock is read for each write to the disk,
/// and not for bytes that go into the buffer.
class MmioRoom {
 public:
  static constexpr std::size_t kPage = 4096;
  static constexpr std::size_t kFull = 65536;

  std::size_t Bytes() const noexcept { return bytes_; }
  /// After the file was opened, and after a write to the disk: its own time does not count.
  void Begin() noexcept { begin_ = Clock::now(); }
  /// Before a write to the disk.
  /// @param bytes what has come since Begin, > 0
  void End(std::size_t bytes) noexcept {
    const std::chrono::nanoseconds time = Clock::now() - begin_;
    const std::int64_t halfSecond =
        static_cast<std::int64_t>(bytes) * 500'000'000 / std::max<std::int64_t>(time.count(), 1);
    if (halfSecond < kFast) {
      fastPages_ = 0;
    } else if (bytes >= kPage && fastPages_ < kFastPages) {
      ++fastPages_;
    }
    if (fastPages_ > 0) {
      bytes_ = fastPages_ < kFastPages ? kPage + kPage / 2 : kFull;
      return;
    }
    // Two small writes in a row may belong to one segment of a recording, and tell little about its speed.
    const std::size_t most = bytes < kPage ? std::min(2 * bytes_, kPage) : kPage;
    bytes_ = static_cast<std::size_t>(
        std::clamp<std::int64_t>(halfSecond, kLeast, static_cast<std::int64_t>(most)));
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::size_t kLeast = 256;
  static constexpr std::int64_t kFast = 8 << 20;  // bytes in half a second
  // A recording that catches up after a stall of the disk writes its ring in two pieces, and then what came
  // meanwhile: fewer than eight.
  static constexpr int kFastPages = 8;

  Clock::time_point begin_;
  std::size_t bytes_ = 2 * kLeast;  // until the speed is known
  int fastPages_ = 0;               // writes of a page and more
};

}  // namespace platform::detail
