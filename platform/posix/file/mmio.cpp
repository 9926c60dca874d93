// Files: opening, positions, bytes, and the record of the buffer.
#include "platform/posix/mmio.h"

#include <climits>

#include "platform/posix/file/limits.h"
#include "platform/posix/file/mmio_handles.h"
#include "platform/posix/text/codepage.h"

using namespace platform::detail;

namespace {

constexpr DWORD kOpenRead = MMIO_ALLOCBUF | MMIO_READ;
constexpr DWORD kOpenCreate = MMIO_ALLOCBUF | MMIO_CREATE | MMIO_READWRITE;

std::int64_t SeekTarget(const MmioFile& file, LONG offset, int origin) {
  if (origin == SEEK_SET) return static_cast<DWORD>(offset);
  if (origin == SEEK_CUR) return file.Position() + offset;
  const std::int64_t length = origin == SEEK_END ? file.Length() : -1;
  return length < 0 ? -1 : length + offset;
}

}  // namespace

HMMIO mmioOpenA(LPSTR name, LPMMIOINFO info, DWORD flags) {
  char path[PATH_MAX];
  if (info != nullptr || (flags != kOpenRead && flags != kOpenCreate) ||
      !NativePath(name, path, sizeof(path))) {
    return nullptr;
  }
  MmioSlot* const slot = TakeMmioSlot();
  if (slot == nullptr) return nullptr;
  if (slot->file.Open(path, flags)) return ActivateMmioSlot(slot);
  ReturnMmioSlot(slot);
  return nullptr;
}

MMRESULT mmioClose(HMMIO file, UINT) {
  MmioSlot* const slot = FindMmioSlot(file);
  if (slot == nullptr) return MMSYSERR_INVALHANDLE;
  const MMRESULT result = slot->file.Close();
  ReturnMmioSlot(slot);
  return result;
}

MMRESULT mmioFlush(HMMIO file, UINT) {
  MmioFile* const open = FindMmioFile(file);
  if (open == nullptr) return MMSYSERR_INVALHANDLE;
  open->Forgive();
  return open->Flush() ? MMSYSERR_NOERROR : MMIOERR_CANNOTWRITE;
}

LONG mmioRead(HMMIO file, HPSTR data, LONG count) {
  MmioFile* const open = FindMmioFile(file);
  if (open == nullptr || count < 0 || (data == nullptr && count > 0)) return -1;
  return static_cast<LONG>(open->Read(data, static_cast<std::size_t>(count)));
}

LONG mmioWrite(HMMIO file, const char* data, LONG count) {
  MmioFile* const open = FindMmioFile(file);
  if (open == nullptr || count < 0 || (data == nullptr && count > 0)) return -1;
  return static_cast<LONG>(open->Write(data, static_cast<std::size_t>(count)));
}

LONG mmioSeek(HMMIO file, LONG offset, int origin) {
  MmioFile* const open = FindMmioFile(file);
  if (open == nullptr) return -1;
  const std::int64_t target = SeekTarget(*open, offset, origin);
  if (target < 0 || target > kLastPosition) return -1;
  open->Forgive();
  return open->Seek(target) ? static_cast<LONG>(static_cast<DWORD>(target)) : -1;
}

MMRESULT mmioGetInfo(HMMIO file, LPMMIOINFO info, UINT) {
  const MmioFile* const open = FindMmioFile(file);
  if (open == nullptr) return MMSYSERR_INVALHANDLE;
  if (info == nullptr) return MMSYSERR_INVALPARAM;
  open->Present(file, info);
  return MMSYSERR_NOERROR;
}

MMRESULT mmioSetInfo(HMMIO file, LPCMMIOINFO info, UINT) {
  MmioFile* const open = FindMmioFile(file);
  if (open == nullptr) return MMSYSERR_INVALHANDLE;
  if (info == nullptr || !open->TakeBack(*info)) return MMSYSERR_INVALPARAM;
  open->Forgive();
  return MMSYSERR_NOERROR;
}

MMRESULT mmioAdvance(HMMIO file, LPMMIOINFO info, UINT flags) {
  MmioFile* const open = FindMmioFile(file);
  if (open == nullptr) return MMSYSERR_INVALHANDLE;
  if (info == nullptr || flags > MMIO_WRITE || !open->TakeBack(*info)) return MMSYSERR_INVALPARAM;
  const MMRESULT result = flags == MMIO_WRITE ? open->AdvanceWrite() : open->AdvanceRead();
  open->Present(file, info);
  return result;
}
