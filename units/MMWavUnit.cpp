#include "units/MMWavUnit.h"

#include <cstring>

#include "units/Copies.h"
#include "units/Mirror.h"
#include "units/codes.h"

using namespace units;

namespace {

constexpr std::uint32_t kSubBufferSize = 8192;
constexpr std::uint32_t kMostToRead = 0x7FFFFFFF;  // mmioRead has a signed count

bool ReadExactly(HMMIO file, void* to, std::uint32_t bytes) {
  if (bytes > kMostToRead) return false;
  const auto count = static_cast<LONG>(bytes);
  return mmioRead(file, static_cast<char*>(to), count) == count;
}

}  // namespace

struct MMWavUnit::Copies
    : CopyRing<MMWavUnit, &MMWavUnit::nextCopy, &MMWavUnit::heap, &MMWavUnit::hmmio, &MMWavUnit::mirrorFile,
               &MMWavUnit::dataSize, &MMWavUnit::headerSize, &MMWavUnit::waveFormat, &MMWavUnit::subBufSize,
               &MMWavUnit::subBuf, &MMWavUnit::subBufFill> {
  // Lets go of all that the object has a part in; its fields are dead then.
  static void GiveUp(MMWavUnit& unit) {
    if (!Alone(unit)) return Leave(unit);
    if (unit.hmmio != nullptr) unit.CloseWFile();
    if (unit.mirrorFile != nullptr) unit.CloseMFile();
    if (unit.heap != nullptr) HeapDestroy(unit.heap);
  }
};

struct MMWavUnit::Header {
  // To the mirror. The block is given back when this returns, ahead of the handle that a failure closes.
  static std::int32_t Copy(MMWavUnit& unit) {
    const HeapBlock block(unit.heap, unit.headerSize);
    if (!block) return kNotWritten;
    if (mmioSeek(unit.hmmio, 0, SEEK_SET) == -1 || !ReadExactly(unit.hmmio, block.Get(), unit.headerSize)) {
      return kNotRead;
    }
    return WriteMirror(unit.mirrorFile, block.Get(), unit.headerSize) ? kDone : kNotWritten;
  }
};

// The sub-buffer is there from the first piece on that goes through it, until it is flushed.
struct MMWavUnit::SubBuffer {
  static bool Need(MMWavUnit& unit) {
    if (unit.subBuf != nullptr) return true;
    unit.subBuf = HeapBlock(unit.heap, unit.subBufSize).Release();
    unit.subBufFill = 0;
    return unit.subBuf != nullptr;
  }
  static void GiveBack(MMWavUnit& unit) {
    HeapBlock::GiveBack(unit.heap, unit.subBuf);
    unit.subBuf = nullptr;
    unit.subBufFill = 0;
  }
  static bool PushOut(MMWavUnit& unit) {
    const bool written = WriteMirror(unit.mirrorFile, unit.subBuf, unit.subBufFill);
    unit.subBufFill = 0;
    return written;
  }
};

MMWavUnit::MMWavUnit()
    : heap(NewHeap()),
      hmmio(nullptr),
      mirrorFile(nullptr),
      dataSize(0),
      headerSize(0),
      waveFormat(),
      subBufSize(kSubBufferSize),
      subBuf(nullptr),
      subBufFill(0),
      nextCopy(this) {}

MMWavUnit::MMWavUnit(const MMWavUnit& other) : nextCopy(this) {
  Copies::Join(*this, other);
}

MMWavUnit& MMWavUnit::operator=(const MMWavUnit& other) {
  if (Copies::Together(*this, other)) return *this;
  Copies::GiveUp(*this);
  Copies::Join(*this, other);
  return *this;
}

MMWavUnit::~MMWavUnit() {
  Copies::GiveUp(*this);
}

std::int32_t MMWavUnit::OpenWFile(const char* file) {
  const Copies::Telling telling(*this);
  CloseWFile();
  // The published signature does not say that the name is only read.
  hmmio = mmioOpenA(const_cast<char*>(file), nullptr, MMIO_ALLOCBUF | MMIO_READ);
  if (hmmio == nullptr) return kNotOpened;
  MMCKINFO riff = {};
  MMCKINFO format = {};
  MMCKINFO data = {};
  riff.fccType = mmioFOURCC('W', 'A', 'V', 'E');
  format.ckid = mmioFOURCC('f', 'm', 't', ' ');
  data.ckid = mmioFOURCC('d', 'a', 't', 'a');
  if (mmioDescend(hmmio, &riff, nullptr, MMIO_FINDRIFF) != 0 ||
      mmioDescend(hmmio, &format, &riff, MMIO_FINDCHUNK) != 0 ||
      !ReadExactly(hmmio, &waveFormat, sizeof waveFormat)) {
    CloseWFile();
    return kNotRead;
  }
  mmioAscend(hmmio, &format, 0);  // whether it worked, the search behind it tells
  if (mmioDescend(hmmio, &data, &riff, MMIO_FINDCHUNK) != 0) {
    CloseWFile();
    return kNotRead;
  }
  dataSize = data.cksize;
  headerSize = static_cast<std::uint32_t>(mmioSeek(hmmio, 0, SEEK_END)) - dataSize;
  return kDone;
}

std::uint32_t MMWavUnit::PcmDataSize() {
  return dataSize;
}

std::int32_t MMWavUnit::ChkPcmFile(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate,
                                   std::uint16_t bits) {
  if (hmmio == nullptr) return kNoSource;
  const WAVEFORMAT& found = waveFormat.wf;
  const bool sameBits = found.nChannels != 0 && found.nBlockAlign * 8 / found.nChannels == bits;
  return (tag != found.wFormatTag ? kOtherTag : 0) + (channels != found.nChannels ? kOtherChannels : 0) +
         (rate != found.nSamplesPerSec ? kOtherRate : 0) + (sameBits ? 0 : kOtherBits);
}

std::int32_t MMWavUnit::ReadPcmData(void* buffer, std::uint32_t bytes) {
  if (hmmio == nullptr) return kNoSource;
  if (ReadExactly(hmmio, buffer, bytes)) return kDone;
  CloseWFile();
  return kNotRead;
}

std::int32_t MMWavUnit::CreateMirrorFile(const char* file) {
  if (mirrorFile != nullptr) return kMirrorIsOpen;
  if (hmmio == nullptr) return kNoSource;
  const Copies::Telling telling(*this);
  mirrorFile = CreateMirror(file);
  if (mirrorFile == nullptr) return kNotWritten;
  const std::int32_t result = Header::Copy(*this);
  if (result == kNotRead) CloseWFile();
  if (result == kNotWritten) CloseMFile();
  return result;
}

std::int32_t MMWavUnit::WriteMirrorBuf(const void* data, std::uint32_t bytes) {
  if (mirrorFile == nullptr) return kNoMirror;
  if (WriteMirror(mirrorFile, data, bytes)) return kDone;
  CloseMFile();
  return kNotWritten;
}

std::int32_t MMWavUnit::WriteMirrorSubBuf(const void* data, std::uint32_t bytes) {
  if (mirrorFile == nullptr) return kNoMirror;
  const Copies::Telling telling(*this);
  bool fine = SubBuffer::Need(*this);
  const bool pushes = bytes >= subBufSize || subBufFill + bytes >= subBufSize;
  if (fine && pushes) fine = SubBuffer::PushOut(*this);
  if (fine && bytes > subBufSize) {
    fine = WriteMirror(mirrorFile, data, bytes);
  } else if (fine && bytes > 0) {
    std::memcpy(subBuf + subBufFill, data, bytes);
    subBufFill += bytes;
  }
  if (fine) return kDone;
  SubBuffer::GiveBack(*this);
  CloseMFile();
  return kNotWritten;
}

std::int32_t MMWavUnit::WriteFlushSubBuf() {
  if (mirrorFile == nullptr || subBuf == nullptr) return kNoMirror;
  const Copies::Telling telling(*this);
  const bool written = SubBuffer::PushOut(*this);
  SubBuffer::GiveBack(*this);
  if (written) return kDone;
  CloseMFile();
  return kNotWritten;
}

std::int32_t MMWavUnit::CloseWFile() {
  const Copies::Telling telling(*this);
  const bool wasOpen = hmmio != nullptr;
  if (wasOpen) mmioClose(hmmio, 0);
  hmmio = nullptr;
  headerSize = 0;
  dataSize = 0;
  return wasOpen ? kDone : kNothingToClose;
}

std::int32_t MMWavUnit::CloseMFile() {
  if (mirrorFile == nullptr) return kNothingToClose;
  // A failed flush has closed the mirror itself.
  if (subBuf != nullptr && WriteFlushSubBuf() != kDone) return kNotWritten;
  const Copies::Telling telling(*this);
  const bool closed = CloseHandle(mirrorFile) != FALSE;
  mirrorFile = nullptr;
  return closed ? kDone : kNotWritten;
}
