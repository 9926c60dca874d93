#pragma once
// One open file behind the multimedia file functions: a window of the file in memory, and its traffic with
// the disk.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "platform/posix/file/disk_file.h"
#include "platform/posix/file/mmio_room.h"
#include "platform/posix/mmio.h"

namespace platform::detail {

/// A buffered file. All traffic names its place in the file, so that moving the position costs no call.
///
/// The window is what the buffer holds: the file's bytes from a position on, valid up to an end, a range of
/// them dirty (newer than the disk's). The window lies in the page-aligned buffer as its bytes lie in the
/// pages of the file, so that a full one ends on a page boundary of both. Only a program that writes fast gets
/// all of it for new bytes (MmioRoom). Positions have 64 bits inside; the
/// published calls carry 32.
class MmioFile {
 public:
  static constexpr std::size_t kBufferSize = MmioRoom::kFull;

  /// @param flags those of mmioOpenA, checked by the caller
  bool Open(const char* path, DWORD flags) noexcept;
  /// Flushes, closes and gives the buffer back; ready for another Open, whatever the result.
  MMRESULT Close() noexcept;

  std::int64_t Position() const noexcept { return start_ + (next_ - base_); }
  /// @return length of the file, what still waits in the window included; -1 on failure
  std::int64_t Length() const noexcept;

  /// @return false when dirty bytes had to go to the disk and did not (the position is then the end of what
  /// did)
  bool Seek(std::int64_t position) noexcept;
  /// @return bytes read; -1 when none could be for a failure
  std::int64_t Read(char* data, std::size_t count) noexcept;
  /// @return bytes written, fewer when the disk took fewer; -1 when the file is not for writing or memory is
  /// short
  std::int64_t Write(const char* data, std::size_t count) noexcept;
  /// Writes over four bytes that the file has already; the position stays.
  bool Patch(std::int64_t position, const char (&bytes)[4]) noexcept;
  /// Writes the dirty bytes. What the disk does not take is dropped, and the position is the end of what it
  /// took.
  bool Flush() noexcept;

  void Present(HMMIO handle, MMIOINFO* info) const noexcept;
  /// @return false, and nothing changes, when the record does not describe the present window
  bool TakeBack(const MMIOINFO& info) noexcept;
  MMRESULT AdvanceRead() noexcept;
  MMRESULT AdvanceWrite() noexcept;
  /// Lets writing through mmioAdvance try again after a failure.
  void Forgive() noexcept { failed_ = false; }

 private:
  static constexpr std::size_t kPageSize = MmioRoom::kPage;
  static constexpr std::size_t kFirstWindow = kPageSize;

  struct FreeBlock {
    void operator()(char* block) const noexcept { std::free(block); }
  };

  char* WindowLimit() const noexcept { return storage_ ? storage_.get() + kBufferSize : nullptr; }
  char* RoomLimit() const noexcept;
  bool FitsRoom(std::size_t count) const noexcept {
    return count <= static_cast<std::size_t>(RoomLimit() - next_);
  }
  bool Dirty() const noexcept { return dirtyBegin_ != dirtyEnd_; }
  std::size_t DirtyBytes() const noexcept { return static_cast<std::size_t>(dirtyEnd_ - dirtyBegin_); }
  bool NeedStorage() noexcept;
  void Place(std::int64_t position) noexcept;
  bool Fill() noexcept;
  void MarkDirty(char* begin, char* end) noexcept;
  std::int64_t WriteThrough(const char* data, std::size_t count) noexcept;
  std::size_t WriteDisk(const char* first, std::size_t firstCount, const char* second,
                        std::size_t secondCount, std::int64_t position) noexcept;
  std::int64_t ReadDisk(char* data, std::size_t count, std::int64_t position) noexcept;

  std::unique_ptr<char, FreeBlock> storage_;  // allocated when first needed
  char* base_ = nullptr;                      // the window's first byte, and the end of what is valid in it
  char* end_ = nullptr;
  char* dirtyBegin_ = nullptr;
  char* dirtyEnd_ = nullptr;
  // The position stands between fields that Present does not copy. A caller that moves bytes changes it
  // shortly before; fetched together with a neighbour it would have to wait for the change to reach the
  // cache.
  char* next_ = nullptr;
  std::size_t window_ = kFirstWindow;  // how much the next refill reads; grows while reading goes straight on
  std::int64_t start_ = 0;             // file position of base_
  std::int64_t disk_ = 0;              // file position behind the last transfer
  MmioRoom room_;
  DWORD flags_ = 0;
  int fd_ = -1;
  FileTableEntryPtr entry_;  // shares reading and writing
  bool writable_ = false;
  bool failed_ = false;  // a write failed: the window presents no room until Forgive
};

}  // namespace platform::detail
