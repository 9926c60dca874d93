// RIFF chunks: an identifier and a size of four bytes each, then the data, padded to an even length.
#include <cstring>

#include "platform/posix/file/limits.h"
#include "platform/posix/file/mmio_handles.h"

using namespace platform::detail;

namespace {

constexpr std::int64_t kHeaderSize = 8;

bool HasFormType(FOURCC id) {
  return id == FOURCC_RIFF || id == FOURCC_LIST;
}

// Numbers are in the file with the low byte first.
void Store(DWORD value, char* bytes) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<char>(value >> (8 * i));
}

DWORD Load(const char* bytes) {
  return mmioFOURCC(bytes[0], bytes[1], bytes[2], bytes[3]);
}

// Reads the header at the position, the form type included.
bool ReadHeader(MmioFile& file, MMCKINFO* chunk) {
  char bytes[kHeaderSize + 4];
  const std::int64_t dataOffset = file.Position() + kHeaderSize;
  if (dataOffset >= kEndOfPositions || file.Read(bytes, kHeaderSize) != kHeaderSize) return false;
  *chunk = {Load(bytes), Load(bytes + 4), 0, static_cast<DWORD>(dataOffset), 0};
  if (!HasFormType(chunk->ckid)) return true;
  if (file.Read(bytes + kHeaderSize, 4) != 4) return false;
  chunk->fccType = Load(bytes + kHeaderSize);
  return true;
}

std::int64_t EndOfChunk(const MMCKINFO& chunk) {
  return std::int64_t{chunk.dwDataOffset} + chunk.cksize + (chunk.cksize & 1);
}

// Reads header after header until one matches. The position grows by a header at least, so the search ends.
bool FindChunk(MmioFile& file, MMCKINFO* wanted, std::int64_t parentEnd,
               bool (*matches)(const MMCKINFO&, const MMCKINFO&)) {
  MMCKINFO chunk;
  while (file.Position() + kHeaderSize <= parentEnd && ReadHeader(file, &chunk)) {
    if (matches(chunk, *wanted)) {
      *wanted = chunk;
      return true;
    }
    const std::int64_t next = EndOfChunk(chunk);
    if (next >= kEndOfPositions || !file.Seek(next)) break;
  }
  return false;
}

bool SameId(const MMCKINFO& chunk, const MMCKINFO& wanted) {
  return chunk.ckid == wanted.ckid;
}
bool SameRiff(const MMCKINFO& chunk, const MMCKINFO& wanted) {
  return chunk.ckid == FOURCC_RIFF && chunk.fccType == wanted.fccType;
}
bool SameList(const MMCKINFO& chunk, const MMCKINFO& wanted) {
  return chunk.ckid == FOURCC_LIST && chunk.fccType == wanted.fccType;
}

// Finishes a chunk that was written: its length is from its start to the position, and a pad byte makes it
// even. The pad is written to the disk at once: should the disk be full, the length is that of the data on
// the disk.
bool EndWritten(MmioFile& file, MMCKINFO* chunk) {
  std::int64_t length = file.Position() - chunk->dwDataOffset;
  bool padded = true;
  if (length > 0 && (length & 1) != 0) {
    padded = file.Write("", 1) == 1 && file.Flush();
    if (!padded) length = std::min(length, file.Position() - chunk->dwDataOffset);
  }
  if (length < 0 || length >= kEndOfPositions) return false;
  const auto size = static_cast<DWORD>(length);
  if (size != chunk->cksize) {
    char bytes[4];
    Store(size, bytes);
    if (!file.Patch(std::int64_t{chunk->dwDataOffset} - 4, bytes)) return false;
  }
  chunk->cksize = size;
  chunk->dwFlags &= ~MMIO_DIRTY;
  return padded;
}

}  // namespace

MMRESULT mmioDescend(HMMIO file, LPMMCKINFO chunk, const MMCKINFO* parent, UINT flags) {
  MmioFile* const open = FindMmioFile(file);
  if (open == nullptr) return MMSYSERR_INVALHANDLE;
  if (chunk == nullptr) return MMSYSERR_INVALPARAM;
  const std::int64_t parentEnd =
      parent != nullptr ? std::int64_t{parent->dwDataOffset} + parent->cksize : kEndOfPositions;
  bool found;
  switch (flags) {
    case 0:
      found = open->Position() + kHeaderSize <= parentEnd && ReadHeader(*open, chunk);
      break;
    case MMIO_FINDCHUNK:
      found = FindChunk(*open, chunk, parentEnd, SameId);
      break;
    case MMIO_FINDRIFF:
      found = FindChunk(*open, chunk, parentEnd, SameRiff);
      break;
    case MMIO_FINDLIST:
      found = FindChunk(*open, chunk, parentEnd, SameList);
      break;
    default:
      return MMSYSERR_INVALPARAM;
  }
  return found ? MMSYSERR_NOERROR : MMIOERR_CHUNKNOTFOUND;
}

MMRESULT mmioAscend(HMMIO file, LPMMCKINFO chunk, UINT) {
  MmioFile* const open = FindMmioFile(file);
  if (open == nullptr) return MMSYSERR_INVALHANDLE;
  if (chunk == nullptr) return MMSYSERR_INVALPARAM;
  if ((chunk->dwFlags & MMIO_DIRTY) != 0 && !EndWritten(*open, chunk)) return MMIOERR_CANNOTWRITE;
  return open->Seek(EndOfChunk(*chunk)) ? MMSYSERR_NOERROR : MMIOERR_CANNOTSEEK;
}

MMRESULT mmioCreateChunk(HMMIO file, LPMMCKINFO chunk, UINT flags) {
  MmioFile* const open = FindMmioFile(file);
  if (open == nullptr) return MMSYSERR_INVALHANDLE;
  if (chunk == nullptr || (flags & ~(MMIO_CREATERIFF | MMIO_CREATELIST)) != 0) return MMSYSERR_INVALPARAM;
  if (flags != 0) chunk->ckid = (flags & MMIO_CREATERIFF) != 0 ? FOURCC_RIFF : FOURCC_LIST;
  const std::int64_t dataOffset = open->Position() + kHeaderSize;
  if (dataOffset >= kEndOfPositions) return MMIOERR_CANNOTWRITE;
  char bytes[kHeaderSize + 4];
  Store(chunk->ckid, bytes);
  Store(chunk->cksize, bytes + 4);
  Store(chunk->fccType, bytes + kHeaderSize);
  const std::int64_t count = flags != 0 ? kHeaderSize + 4 : kHeaderSize;
  if (open->Write(bytes, static_cast<std::size_t>(count)) != count) return MMIOERR_CANNOTWRITE;
  chunk->dwDataOffset = static_cast<DWORD>(dataOffset);
  chunk->dwFlags = MMIO_DIRTY;
  return MMSYSERR_NOERROR;
}
