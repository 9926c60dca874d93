#include "wavfile/share.h"

#include <memory>
#include <new>

WAVEFORMATEX* CMMWav::Share::NewFormat(CMMWav* owner, std::size_t extraBytes) {
  void* const block = ::operator new(sizeof(Share) + sizeof(WAVEFORMATEX) + extraBytes, std::nothrow);
  if (block == nullptr) return nullptr;
  return new (std::construct_at(static_cast<Share*>(block), owner) + 1) WAVEFORMATEX();
}

void CMMWav::Share::FreeFormat(WAVEFORMATEX* format) {
  Share* const share = reinterpret_cast<Share*>(format) - 1;
  std::destroy_at(share);
  ::operator delete(share);
}

void CMMWav::Share::CopyFields(CMMWav& to, const CMMWav& from) {
  to.fileName = from.fileName;
  to.pathName = from.pathName;
  to.convertBuf = from.convertBuf;
  to.srcFormat = from.srcFormat;
  to.dstFormat = from.dstFormat;
  to.hmmio = from.hmmio;
  to.mmioInfo = from.mmioInfo;
  to.dataChunk = from.dataChunk;
  to.riffChunk = from.riffChunk;
  to.openMode = from.openMode;
  to.dataBytes = from.dataBytes;
  to.convertSize = from.convertSize;
  to.driverId = from.driverId;
  to.acmStream = from.acmStream;
  to.streamHeader = from.streamHeader;
  to.convertKind = from.convertKind;
  to.firstBlock = from.firstBlock;
}

void CMMWav::Share::EndFile(CMMWav& wav) {
  if (wav.srcFormat == nullptr) return;
  Share* const share = Of(wav);
  share->holder = nullptr;
  if (--share->sharers == 0) FreeFormat(wav.srcFormat);
  wav.srcFormat = nullptr;
}

void CMMWav::Share::GiveUp(CMMWav& wav) {
  if (!Live(wav)) return;
  if (Last(wav)) {
    wav.Close(0);
    return;
  }
  Share* const share = Of(wav);
  CopyFields(share->keeper, wav);
  share->keeper.srcFormat = nullptr;
  share->holder = &share->keeper;
  --share->sharers;
}

// The object is a sharer, but not the holder.
bool CMMWav::Share::TakeOver(CMMWav& wav) {
  Share* const share = Of(wav);
  if (share->holder != nullptr) {
    WAVEFORMATEX* const format = wav.srcFormat;
    CopyFields(wav, *share->holder);
    wav.srcFormat = format;
    share->holder = &wav;
    return true;
  }
  // The file is closed; the blocks go with the last that notices.
  if (Last(wav)) {
    delete[] wav.pathName;
    delete[] wav.fileName;
  }
  EndFile(wav);
  CopyFields(wav, CMMWav());
  return false;
}
