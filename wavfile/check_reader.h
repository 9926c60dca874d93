#pragma once
// A file read at any offset, through a small buffer.

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "platform/platform.h"

namespace cmm::check {

inline constexpr std::uint32_t FourCc(const char (&name)[5]) {
  std::uint32_t id = 0;
  for (int i = 3; i >= 0; --i) id = id << 8 | static_cast<std::uint8_t>(name[i]);
  return id;
}

/// A file handle that is closed once.
class FileHandle {
 public:
  FileHandle() = default;
  ~FileHandle() { Close(); }
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  bool Open(const char* path, DWORD access, DWORD share, DWORD disposition) {
    file_ = CreateFileA(path, access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
    return file_ != INVALID_HANDLE_VALUE;
  }
  /// @return false on failure
  bool Close() {
    const HANDLE file = file_;
    file_ = INVALID_HANDLE_VALUE;
    return file == INVALID_HANDLE_VALUE || CloseHandle(file) != FALSE;
  }
  /// Distances are signed 32-bit numbers, so the second half of the 4 GiB is reached in two steps.
  bool Seek(std::uint32_t offset) {
    constexpr std::uint32_t kStep = 0x7FFFFFFF;
    const std::uint32_t first = std::min(offset, kStep);
    DWORD now = SetFilePointer(file_, static_cast<LONG>(first), nullptr, FILE_BEGIN);
    if (offset > first) now = SetFilePointer(file_, static_cast<LONG>(offset - first), nullptr, FILE_CURRENT);
    return now == offset;
  }
  bool Read(void* to, std::uint32_t bytes) {
    DWORD got = 0;
    return ReadFile(file_, to, bytes, &got, nullptr) != FALSE && got == bytes;
  }
  bool Write(const void* data, std::uint32_t bytes) {
    DWORD got = 0;
    return WriteFile(file_, data, bytes, &got, nullptr) != FALSE && got == bytes;
  }
  /// @return its end; INVALID_SET_FILE_POINTER for 4 GiB and more, which no position can tell
  std::uint32_t End() { return SetFilePointer(file_, 0, nullptr, FILE_END); }

 private:
  HANDLE file_ = INVALID_HANDLE_VALUE;
};

/// Bytes with offsets, read through a small buffer: a file, or what a repair would make of one.
class Reader {
 public:
  Reader() = default;
  virtual ~Reader() = default;
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  std::uint64_t Size() const { return size_; }
  /// Whether the bytes are the first of a file whose size no position can tell.
  bool IsTooLarge() const { return tooLarge_; }
  /// A call could not read what there is.
  bool HasFailed() const { return failed_; }

  /// Reads from an offset. @return false, and zeros, when there is not all of it
  bool Read(std::uint64_t offset, void* to, std::uint32_t bytes) {
    auto* out = static_cast<char*>(to);
    std::memset(out, 0, bytes);
    if (offset > size_ || bytes > size_ - offset) return false;
    while (bytes > 0) {
      if (!Load(offset / kBlock * kBlock)) return false;
      const auto from = static_cast<std::uint32_t>(offset - start_);
      const std::uint32_t part = std::min(bytes, held_ - from);
      std::memcpy(out, buffer_ + from, part);
      out += part;
      offset += part;
      bytes -= part;
    }
    return true;
  }
  /// @return a little-endian number; 0 when it lies behind the end
  std::uint32_t Number(std::uint64_t offset, std::uint32_t bytes = 4) {
    std::uint8_t raw[4] = {};
    // Names are searched byte by byte: most numbers lie in the buffer.
    if (offset >= start_ && offset + bytes <= start_ + held_) {
      std::memcpy(raw, buffer_ + (offset - start_), bytes);
    } else {
      Read(offset, raw, bytes);
    }
    return std::uint32_t{raw[0]} | std::uint32_t{raw[1]} << 8 | std::uint32_t{raw[2]} << 16 |
           std::uint32_t{raw[3]} << 24;
  }

 protected:
  /// Reads bytes that there are into the buffer.
  virtual bool Fetch(std::uint64_t start, char* to, std::uint32_t bytes) = 0;
  /// Says how many bytes there are; what the buffer holds is forgotten.
  void SetSize(std::uint64_t size) {
    size_ = size;
    held_ = 0;
  }
  bool tooLarge_ = false;

 private:
  static constexpr std::uint32_t kBlock = 4096;

  // Makes the buffer hold the block at that offset, which begins before the end.
  bool Load(std::uint64_t start) {
    if (held_ > 0 && start == start_) return true;
    const auto bytes = static_cast<std::uint32_t>(std::min<std::uint64_t>(kBlock, size_ - start));
    const bool read = !failed_ && Fetch(start, buffer_, bytes);
    held_ = read ? bytes : 0;
    start_ = start;
    if (!read) failed_ = true;
    return read;
  }

  std::uint64_t size_ = 0;
  bool failed_ = false;
  std::uint64_t start_ = 0;
  std::uint32_t held_ = 0;
  char buffer_[kBlock];
};

class FileReader final : public Reader {
 public:
  /// @param share FILE_SHARE_READ, or with FILE_SHARE_WRITE
  bool Open(const char* path, DWORD share) {
    if (path == nullptr || !file_.Open(path, GENERIC_READ, share, OPEN_EXISTING)) return false;
    const std::uint32_t end = file_.End();
    tooLarge_ = end == INVALID_SET_FILE_POINTER;
    // The same answer comes from a disk that fails. Only a file that is too large has a byte there.
    constexpr std::uint32_t kFarByte = 0xFFFFFFFE;
    char byte;
    if (tooLarge_ && !(file_.Seek(kFarByte) && file_.Read(&byte, 1))) return false;
    constexpr std::uint32_t kLookedAt = 12;  // bytes of a file that is too large
    SetSize(tooLarge_ ? kLookedAt : end);
    return true;
  }
  void Close() { file_.Close(); }

 private:
  bool Fetch(std::uint64_t start, char* to, std::uint32_t bytes) override {
    return file_.Seek(static_cast<std::uint32_t>(start)) && file_.Read(to, bytes);
  }

  FileHandle file_;
};

}  // namespace cmm::check
