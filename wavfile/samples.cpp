// Sample bytes in and out.
#include <algorithm>
#include <cstring>

#include "wavfile/CMMWav.h"
#include "wavfile/limits.h"

namespace {

std::size_t Distance(const char* from, const char* to) {
  return static_cast<std::size_t>(to - from);
}

// The largest data size whose RIFF size, which counts everything from the form type to the pad byte, fits.
std::uint32_t LargestData(const MMCKINFO& riff, const MMCKINFO& data) {
  return (kLargestChunk - (data.dwDataOffset - riff.dwDataOffset)) & ~1u;
}

std::uint32_t Position(const MMIOINFO& cursor) {
  return static_cast<std::uint32_t>(cursor.lBufOffset) +
         static_cast<std::uint32_t>(Distance(cursor.pchBuffer, cursor.pchNext));
}

// Flushes the file's buffer. Gives whether the cursor is then at that position: a full disk drops what it
// does not take, and leaves the cursor where it stopped.
bool FlushUpTo(HMMIO file, MMIOINFO* cursor, std::uint32_t position) {
  cursor->dwFlags |= MMIO_DIRTY;
  if (mmioSetInfo(file, cursor, 0) != 0) return false;
  const bool flushed = mmioFlush(file, 0) == 0;
  return mmioGetInfo(file, cursor, 0) == 0 && flushed && Position(*cursor) == position;
}

// Whether the services can seek to a position beyond 2 GiB: where positions are signed, they write there and
// then cannot go back to fill in the sizes. The buffer must be flushed: a seek would drop what a full disk
// does not take.
bool CanSeekTo(HMMIO file, MMIOINFO* cursor, std::uint32_t position) {
  const auto here = static_cast<LONG>(Position(*cursor));
  const bool seeks = mmioSeek(file, static_cast<LONG>(position), SEEK_SET) != -1;
  return mmioSeek(file, here, SEEK_SET) == here && mmioGetInfo(file, cursor, 0) == 0 && seeks;
}

// Writes without the buffer. Gives the bytes taken, and the cursor as it is afterwards.
std::uint32_t WriteLarge(HMMIO file, MMIOINFO* cursor, const char* from, std::uint32_t count) {
  cursor->dwFlags |= MMIO_DIRTY;
  if (mmioSetInfo(file, cursor, 0) != 0) return 0;
  const LONG wrote = mmioWrite(file, from, static_cast<LONG>(std::min(count, kLargestCall)));
  return mmioGetInfo(file, cursor, 0) == 0 && wrote > 0 ? static_cast<std::uint32_t>(wrote) : 0;
}

// Reads without the buffer, after handing its cursor back.
bool ReadLarge(HMMIO file, const MMIOINFO& cursor, char* to, std::uint32_t count) {
  if (mmioSetInfo(file, &cursor, 0) != 0) return false;
  while (count > 0) {
    const LONG part = static_cast<LONG>(std::min(count, kLargestCall));
    if (mmioRead(file, to, part) != part) return false;
    to += part;
    count -= static_cast<std::uint32_t>(part);
  }
  return true;
}

}  // namespace

std::int32_t CMMWav::Read(std::uint32_t bytes, void* buffer, std::uint32_t* delivered) {
  if (delivered == nullptr) return 0;
  *delivered = 0;
  if (!fileOwners.IsOpen() || (buffer == nullptr && bytes > 0)) return 0;
  if (srcFormat->nBlockAlign == 0 || bytes % srcFormat->nBlockAlign != 0) return 0;
  const std::uint32_t take = std::min<std::uint32_t>(bytes, dataChunk.cksize);
  if (take == 0) return 1;
  MMIOINFO cursor;
  if (mmioGetInfo(hmmio, &cursor, 0) != 0) return 0;
  dataChunk.cksize -= take;

  char* to = static_cast<char*>(buffer);
  std::uint32_t rest = take;
  for (;;) {
    const auto held =
        static_cast<std::uint32_t>(std::min<std::size_t>(Distance(cursor.pchNext, cursor.pchEndRead), rest));
    if (held > 0) std::memcpy(to, cursor.pchNext, held);
    cursor.pchNext += held;
    to += held;
    rest -= held;
    if (rest == 0 || rest >= kDirectBytes) break;
    if (mmioAdvance(hmmio, &cursor, MMIO_READ) != 0) return 0;
    if (cursor.pchNext == cursor.pchEndRead) return 0;  // the file ends before its declared size
  }
  if (!ReadLarge(hmmio, cursor, to, rest)) return 0;
  *delivered = take;
  return 1;
}

std::int32_t CMMWav::Write(std::uint32_t bytes, const void* data, std::uint32_t* taken) {
  if (!fileOwners.IsOpen() || openMode != kWriting || taken == nullptr || (data == nullptr && bytes > 0))
    return 0;
  const std::uint32_t align = srcFormat->nBlockAlign;
  if (align == 0) {
    *taken = 0;
    return 0;
  }
  if (bytes % align != 0) return 0;
  std::uint32_t room = LargestData(riffChunk, dataChunk) - dataBytes;
  const std::uint32_t toTwoGib = (kLargestPosition & ~1u) - dataChunk.dwDataOffset;
  if (dataBytes <= toTwoGib && bytes > toTwoGib - dataBytes) {
    if (!FlushUpTo(hmmio, &mmioInfo, dataChunk.dwDataOffset + dataBytes)) {
      *taken = 0;
      return 0;
    }
    if (!CanSeekTo(hmmio, &mmioInfo, kLargestPosition + 1)) room = toTwoGib - dataBytes;
  }
  const std::uint32_t fit = bytes <= room ? bytes : room / align * align;

  const char* from = static_cast<const char*>(data);
  std::uint32_t rest = fit;
  while (rest > 0) {
    // Before a large block too, so that a full disk stops it as well.
    if (mmioInfo.pchNext == mmioInfo.pchEndWrite) {
      mmioInfo.dwFlags |= MMIO_DIRTY;
      if (mmioAdvance(hmmio, &mmioInfo, MMIO_WRITE) != 0) break;
    }
    const std::size_t space = Distance(mmioInfo.pchNext, mmioInfo.pchEndWrite);
    std::uint32_t part;
    if (rest > space && rest >= kDirectBytes) {
      part = WriteLarge(hmmio, &mmioInfo, from, rest);
      if (part == 0) break;
    } else {
      part = static_cast<std::uint32_t>(std::min<std::size_t>(space, rest));
      std::memcpy(mmioInfo.pchNext, from, part);
      mmioInfo.pchNext += part;
    }
    from += part;
    rest -= part;
  }
  *taken = fit - rest;
  dataBytes += fit - rest;
  return rest == 0 && fit == bytes;
}
