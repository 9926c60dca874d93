#include "units/MMWavUnit.h"

#include <cstring>
#include <limits>
#include <tuple>

#include "units/Reader.h"

using namespace units;

struct MMWavUnit::Source {
  static constexpr std::uint32_t kLargestRead = std::numeric_limits<LONG>::max();
  static bool Read(MMWavUnit& unit, void* to, std::uint32_t bytes) {
    if (bytes > kLargestRead) return false;
    const auto count = static_cast<LONG>(bytes);
    return mmioRead(unit.hmmio, static_cast<char*>(to), count) == count;
  }
  static bool Rewind(MMWavUnit& unit) { return mmioSeek(unit.hmmio, 0, SEEK_SET) != -1; }
  static std::uint32_t HeaderSize(const MMWavUnit& unit) { return unit.headerSize; }
  // The size is more than the file has where the file has fewer bytes than it declares samples. From 2 GiB on
  // the heap refuses the block first.
  static bool HasHeader(const MMWavUnit& unit) {
    return unit.headerSize + unit.dataSize >= unit.headerSize || unit.headerSize > kLargestRead;
  }
  static auto Fields(auto& unit) {
    return std::tie(unit.heap, unit.hmmio, unit.mirrorFile, unit.dataSize, unit.headerSize, unit.waveFormat,
                    unit.subBufSize, unit.subBuf, unit.subBufFill, unit.heapOwners, unit.sourceOwners,
                    unit.mirrorOwners, unit.subBufOwners);
  }
};

// The sub-buffer is allocated for the first piece that goes through it and freed when it is flushed.
struct MMWavUnit::SubBuffer {
  static bool Ensure(MMWavUnit& unit) {
    if (unit.subBufOwners.IsOpen()) return true;
    if (!unit.subBufOwners.Begin()) return false;
    unit.subBuf = HeapBlock(unit.heap, unit.subBufSize).Release();
    unit.subBufFill = 0;
    if (unit.subBuf == nullptr) unit.subBufOwners.End();
    return unit.subBuf != nullptr;
  }
  static void Free(MMWavUnit& unit) {
    if (unit.subBufOwners.IsOpen()) HeapBlock::Free(unit.heap, unit.subBuf);
    unit.subBufOwners.End();
  }
  static bool WriteOut(MMWavUnit& unit) {
    const bool written = WriteMirror(unit.mirrorFile, unit.subBuf, unit.subBufFill);
    unit.subBufFill = 0;
    return written;
  }
  // The last owner writes what is in it; when a copy has closed the mirror, that is lost.
  static void Release(MMWavUnit& unit) {
    if (!unit.subBufOwners.IsLast()) return;
    unit.WriteFlushSubBuf();
    Free(unit);
  }
};

MMWavUnit::MMWavUnit() {
  heap = NewHeap(heapOwners);
}

MMWavUnit::MMWavUnit(const MMWavUnit& other) = default;

MMWavUnit& MMWavUnit::operator=(const MMWavUnit& other) {
  if (this == &other) return *this;
  SubBuffer::Release(*this);
  Reader<MMWavUnit>::Release(*this);
  Source::Fields(*this) = Source::Fields(other);
  return *this;
}

MMWavUnit::~MMWavUnit() {
  SubBuffer::Release(*this);
  Reader<MMWavUnit>::Release(*this);
}

std::int32_t MMWavUnit::OpenWFile(const char* file) {
  CloseWFile();
  if (!sourceOwners.Begin()) return kNotOpened;
  // The name is only read, though the published signature is not const.
  hmmio = mmioOpenA(const_cast<char*>(file), nullptr, MMIO_ALLOCBUF | MMIO_READ);
  if (hmmio == nullptr) {
    sourceOwners.End();
    return kNotOpened;
  }
  MMCKINFO riff = {};
  MMCKINFO format = {};
  MMCKINFO data = {};
  riff.fccType = mmioFOURCC('W', 'A', 'V', 'E');
  format.ckid = mmioFOURCC('f', 'm', 't', ' ');
  data.ckid = mmioFOURCC('d', 'a', 't', 'a');
  if (mmioDescend(hmmio, &riff, nullptr, MMIO_FINDRIFF) != 0 ||
      mmioDescend(hmmio, &format, &riff, MMIO_FINDCHUNK) != 0 ||
      !Source::Read(*this, &waveFormat, sizeof waveFormat)) {
    CloseWFile();
    return kNotRead;
  }
  mmioAscend(hmmio, &format, 0);  // a failure shows in the next search
  if (mmioDescend(hmmio, &data, &riff, MMIO_FINDCHUNK) != 0) {
    CloseWFile();
    return kNotRead;
  }
  dataSize = data.cksize;
  headerSize = static_cast<std::uint32_t>(mmioSeek(hmmio, 0, SEEK_END)) - dataSize;
  return kDone;
}

std::uint32_t MMWavUnit::PcmDataSize() {
  return sourceOwners.IsOpen() ? dataSize : 0;
}

std::int32_t MMWavUnit::ChkPcmFile(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate,
                                   std::uint16_t bits) {
  if (!sourceOwners.IsOpen()) return kNoSource;
  const WAVEFORMAT& found = waveFormat.wf;
  const bool sameBits = found.nChannels != 0 && found.nBlockAlign * 8 / found.nChannels == bits;
  return Reader<MMWavUnit>::Differences(found, tag, channels, rate, sameBits);
}

std::int32_t MMWavUnit::ReadPcmData(void* buffer, std::uint32_t bytes) {
  return Reader<MMWavUnit>::ReadPcmData(*this, buffer, bytes);
}

std::int32_t MMWavUnit::CreateMirrorFile(const char* file) {
  if (!mirrorOwners.IsOpen()) SubBuffer::Free(*this);  // one left from a mirror that a copy has closed
  return Reader<MMWavUnit>::CreateMirrorFile(*this, file);
}

std::int32_t MMWavUnit::WriteMirrorBuf(const void* data, std::uint32_t bytes) {
  return Reader<MMWavUnit>::WriteMirrorBuf(*this, data, bytes);
}

std::int32_t MMWavUnit::WriteMirrorSubBuf(const void* data, std::uint32_t bytes) {
  if (!mirrorOwners.IsOpen()) return kNoMirror;
  bool fine = SubBuffer::Ensure(*this);
  const bool fillsUp = bytes >= subBufSize || subBufFill + bytes >= subBufSize;
  if (fine && fillsUp) fine = SubBuffer::WriteOut(*this);
  if (fine && bytes > subBufSize) {
    fine = WriteMirror(mirrorFile, data, bytes);
  } else if (fine && bytes > 0) {
    std::memcpy(subBuf + subBufFill, data, bytes);
    subBufFill += bytes;
  }
  if (fine) return kDone;
  SubBuffer::Free(*this);
  CloseMFile();
  return kNotWritten;
}

std::int32_t MMWavUnit::WriteFlushSubBuf() {
  if (!mirrorOwners.IsOpen() || !subBufOwners.IsOpen()) return kNoMirror;
  const bool written = SubBuffer::WriteOut(*this);
  SubBuffer::Free(*this);
  if (written) return kDone;
  CloseMFile();
  return kNotWritten;
}

std::int32_t MMWavUnit::CloseWFile() {
  const bool wasOpen = sourceOwners.IsOpen();
  if (wasOpen) mmioClose(hmmio, 0);
  sourceOwners.End();
  headerSize = 0;
  dataSize = 0;
  return wasOpen ? kDone : kNothingToClose;
}

std::int32_t MMWavUnit::CloseMFile() {
  if (!mirrorOwners.IsOpen()) return kNothingToClose;
  // A flush that fails closes the mirror itself.
  if (subBufOwners.IsOpen() && WriteFlushSubBuf() != kDone) return kNotWritten;
  return Reader<MMWavUnit>::CloseMirror(*this) ? kDone : kNotWritten;
}
