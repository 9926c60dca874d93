#include "platform/posix/file/mmio_file.h"

#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/posix/errors.h"

namespace platform::detail {

bool MmioFile::Open(const char* path, DWORD flags) noexcept {
  writable_ = (flags & MMIO_READWRITE) != 0;
  flags_ = flags;
  fd_ = OpenDiskFile(path, {true, writable_, true, true}, (flags & MMIO_CREATE) != 0, entry_);
  room_.Begin();
  return fd_ >= 0;
}

MMRESULT MmioFile::Close() noexcept {
  const bool flushed = Flush();
  entry_.reset();
  const bool closed = close(fd_) == 0 || errno == EINTR;
  if (!closed) SetLastError(static_cast<DWORD>(errno));
  *this = MmioFile();
  if (!flushed) return MMIOERR_CANNOTWRITE;
  return closed ? MMSYSERR_NOERROR : MMIOERR_CANNOTCLOSE;
}

std::int64_t MmioFile::Length() const noexcept {
  struct stat status;
  if (fstat(fd_, &status) != 0) return -1;
  return std::max<std::int64_t>(status.st_size, Dirty() ? start_ + (dirtyEnd_ - base_) : 0);
}

bool MmioFile::Seek(std::int64_t position) noexcept {
  if (position >= start_ && position <= start_ + (end_ - base_)) {
    next_ = base_ + (position - start_);
    return true;
  }
  if (!Flush()) return false;
  Place(position);
  window_ = kFirstWindow;
  return true;
}

std::int64_t MmioFile::Read(char* data, std::size_t count) noexcept {
  std::size_t done = 0;
  const auto stopped = [&done] { return done > 0 ? static_cast<std::int64_t>(done) : -1; };
  for (;;) {
    const std::size_t held = std::min(static_cast<std::size_t>(end_ - next_), count - done);
    if (held > 0) {
      std::memcpy(data + done, next_, held);
      next_ += held;
      done += held;
    }
    if (done == count) return static_cast<std::int64_t>(done);
    if (!Flush()) return stopped();
    if (count - done < window_) {
      if (!Fill()) return stopped();
      if (next_ == end_) return static_cast<std::int64_t>(done);
      continue;
    }
    // No less than the window would take: straight to the caller.
    const std::int64_t position = Position();
    const std::int64_t got = ReadDisk(data + done, count - done, position);
    if (got < 0) return stopped();
    Place(position + got);
    window_ = std::min(window_ * 2, kBufferSize);
    done += static_cast<std::size_t>(got);
    if (got == 0) return static_cast<std::int64_t>(done);
  }
}

std::int64_t MmioFile::Write(const char* data, std::size_t count) noexcept {
  if (!writable_ || !NeedStorage()) return -1;
  failed_ = false;
  if (!FitsRoom(count)) {
    room_.End(DirtyBytes() + count);
    if (!FitsRoom(count)) return WriteThrough(data, count);
  }
  if (count > 0) std::memcpy(next_, data, count);
  MarkDirty(next_, next_ + count);
  next_ += count;
  return static_cast<std::int64_t>(count);
}

bool MmioFile::Patch(std::int64_t position, const char (&bytes)[4]) noexcept {
  constexpr std::int64_t kCount = sizeof(bytes);
  if (position >= start_ && position + kCount <= start_ + (end_ - base_)) {
    char* const place = base_ + (position - start_);
    std::memcpy(place, bytes, sizeof(bytes));
    MarkDirty(place, place + kCount);
    return true;
  }
  if (!Flush()) return false;
  const std::int64_t here = Position();
  const bool written = WriteDisk(bytes, sizeof(bytes), nullptr, 0, position) == sizeof(bytes);
  Place(here);
  return written;
}

bool MmioFile::Flush() noexcept {
  if (!Dirty()) return true;
  const std::size_t count = DirtyBytes();
  const std::size_t wrote = WriteDisk(dirtyBegin_, count, nullptr, 0, start_ + (dirtyBegin_ - base_));
  if (wrote < count) next_ = end_ = dirtyBegin_ + wrote;
  dirtyBegin_ = dirtyEnd_ = nullptr;
  return wrote == count;
}

void MmioFile::Present(HMMIO handle, MMIOINFO* info) const noexcept {
  // This runs for every block that a caller moves: field by field, since a record cleared as a whole takes
  // the processor longer than the rest of a small block's journey.
  info->dwFlags = flags_;
  info->fccIOProc = 0;
  info->pIOProc = nullptr;
  info->wErrorRet = 0;
  info->htask = nullptr;
  info->cchBuffer = static_cast<LONG>(kBufferSize);
  info->pchBuffer = base_;
  info->pchNext = next_;
  info->pchEndRead = end_;
  info->pchEndWrite = base_;
  if (writable_) info->pchEndWrite = failed_ ? next_ : RoomLimit();
  info->lBufOffset = static_cast<LONG>(static_cast<DWORD>(start_));
  info->lDiskOffset = static_cast<LONG>(static_cast<DWORD>(disk_));
  for (DWORD& word : info->adwInfo) word = 0;
  info->dwReserved1 = 0;
  info->dwReserved2 = 0;
  info->hmmio = handle;
}

bool MmioFile::TakeBack(const MMIOINFO& info) noexcept {
  const bool dirty = writable_ && (info.dwFlags & MMIO_DIRTY) != 0;
  if (info.pchBuffer != base_ || static_cast<DWORD>(info.lBufOffset) != static_cast<DWORD>(start_) ||
      info.pchNext < base_ || info.pchNext > (dirty ? WindowLimit() : end_)) {
    return false;
  }
  if (dirty) MarkDirty(std::min(next_, info.pchNext), std::max(next_, info.pchNext));
  next_ = info.pchNext;
  return true;
}

MMRESULT MmioFile::AdvanceRead() noexcept {
  next_ = end_;
  if (!Flush()) return MMIOERR_CANNOTWRITE;
  return Fill() ? MMSYSERR_NOERROR : MMIOERR_CANNOTREAD;
}

MMRESULT MmioFile::AdvanceWrite() noexcept {
  if (!writable_ || failed_) return MMIOERR_CANNOTWRITE;
  if (!NeedStorage()) return MMIOERR_OUTOFMEMORY;
  if (Dirty()) room_.End(DirtyBytes());
  failed_ = !Flush();
  room_.Begin();
  Place(Position());
  return failed_ ? MMIOERR_CANNOTWRITE : MMSYSERR_NOERROR;
}

// ---- details ----

// Where writing into the window ends; at the position where that is further on, as after reading.
char* MmioFile::RoomLimit() const noexcept {
  if (!storage_) return nullptr;
  const std::size_t room = room_.Bytes();
  char* const limit = room < kPageSize ? base_ + room : storage_.get() + room;
  return std::max(limit, next_);
}

bool MmioFile::NeedStorage() noexcept {
  if (storage_) return true;
  storage_.reset(static_cast<char*>(std::aligned_alloc(kPageSize, kBufferSize)));
  if (!storage_) return false;
  Place(start_);
  return true;
}

// Starts an empty, clean window.
void MmioFile::Place(std::int64_t position) noexcept {
  start_ = position;
  base_ = storage_ ? storage_.get() + static_cast<std::size_t>(position) % kPageSize : nullptr;
  next_ = end_ = base_;
  dirtyBegin_ = dirtyEnd_ = nullptr;
}

// Reads the window that begins at the position; nothing may be dirty. Ends on a page boundary of the file.
bool MmioFile::Fill() noexcept {
  if (!NeedStorage()) return false;
  Place(Position());
  const auto offset = static_cast<std::size_t>(base_ - storage_.get());
  const std::size_t limit = std::min((offset + window_ + kPageSize - 1) / kPageSize * kPageSize, kBufferSize);
  const std::int64_t got = ReadDisk(base_, limit - offset, start_);
  if (got < 0) return false;
  end_ = base_ + got;
  window_ = std::min(window_ * 2, kBufferSize);
  return true;
}

// The window's dirty bytes and the caller's go out in one piece, up to a page boundary of the file; the tail
// behind that stays in the next window, unless bytes come so slowly that not even a page may wait.
std::int64_t MmioFile::WriteThrough(const char* data, std::size_t count) noexcept {
  if (dirtyEnd_ != next_ && !Flush()) {
    failed_ = true;
    return 0;
  }
  const std::int64_t position = Position();
  const std::size_t held = DirtyBytes();
  const auto behindPage = static_cast<std::size_t>(position + static_cast<std::int64_t>(count)) % kPageSize;
  const std::size_t tail = room_.Bytes() < kPageSize ? 0 : std::min(behindPage, count);
  const std::size_t direct = count - tail;
  const std::int64_t from = position - static_cast<std::int64_t>(held);
  const std::size_t wrote = WriteDisk(dirtyBegin_, held, data, direct, from);
  room_.Begin();
  Place(from + static_cast<std::int64_t>(wrote));
  if (wrote < held + direct) {
    failed_ = true;
    return wrote > held ? static_cast<std::int64_t>(wrote - held) : 0;
  }
  std::memcpy(next_, data + direct, tail);
  MarkDirty(next_, next_ + tail);
  next_ += tail;
  return static_cast<std::int64_t>(count);
}

void MmioFile::MarkDirty(char* begin, char* end) noexcept {
  if (begin == end) return;
  const bool clean = !Dirty();
  dirtyBegin_ = clean ? begin : std::min(dirtyBegin_, begin);
  dirtyEnd_ = clean ? end : std::max(dirtyEnd_, end);
  end_ = std::max(end_, end);
}

// Writes two spans one behind the other; gives the count of bytes that the disk took.
std::size_t MmioFile::WriteDisk(const char* first, std::size_t firstCount, const char* second,
                                std::size_t secondCount, std::int64_t position) noexcept {
  const std::size_t count = firstCount + secondCount;
  std::size_t done = 0;
  while (done < count) {
    const std::size_t skipFirst = std::min(done, firstCount);
    const std::size_t skipSecond = done - skipFirst;
    // pwritev does not write through the pointers, which C could not say.
    const iovec spans[] = {{const_cast<char*>(first) + skipFirst, firstCount - skipFirst},
                           {const_cast<char*>(second) + skipSecond, secondCount - skipSecond}};
    const off_t place = position + static_cast<std::int64_t>(done);
    const ssize_t wrote = secondCount == 0 ? pwrite(fd_, spans[0].iov_base, spans[0].iov_len, place)
                                           : pwritev(fd_, spans, 2, place);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) {
      SetLastError(static_cast<DWORD>(wrote < 0 ? errno : ENOSPC));
      break;
    }
    done += static_cast<std::size_t>(wrote);
  }
  disk_ = position + static_cast<std::int64_t>(done);
  return done;
}

// One read, which may deliver less than asked; 0 at the end of the file, -1 on failure.
std::int64_t MmioFile::ReadDisk(char* data, std::size_t count, std::int64_t position) noexcept {
  ssize_t got;
  do got = pread(fd_, data, count, position);
  while (got < 0 && errno == EINTR);
  if (got < 0) SetLastError(static_cast<DWORD>(errno));
  if (got >= 0) disk_ = position + got;
  return got;
}

}  // namespace platform::detail
