#include "units/WavUnit.h"

#include <cstring>

#include "units/Copies.h"
#include "units/Mirror.h"
#include "units/codes.h"

using namespace units;

namespace {

constexpr std::uint32_t kSmallestFile = 39;

// Tells failure apart from the end of the file, where fewer bytes arrive, and nothing else.
bool Read(HANDLE file, void* to, std::uint32_t bytes) {
  DWORD got = 0;
  return ReadFile(file, to, bytes, &got, nullptr) != FALSE;
}

}  // namespace

struct WavUnit::Copies : CopyRing<WavUnit, &WavUnit::nextCopy, &WavUnit::heap, &WavUnit::wavFile,
                                  &WavUnit::mirrorFile, &WavUnit::fileSize, &WavUnit::dataSize,
                                  &WavUnit::fmtId, &WavUnit::fmtSize, &WavUnit::waveFormat> {
  // Lets go of all that the object has a part in; its fields are dead then.
  static void GiveUp(WavUnit& unit) {
    if (!Alone(unit)) return Leave(unit);
    if (unit.wavFile != nullptr) unit.CloseWFile();
    if (unit.mirrorFile != nullptr) unit.CloseMFile();
    if (unit.heap != nullptr) HeapDestroy(unit.heap);
  }
};

// Goes through the file's beginning, up to the first sample byte.
struct WavUnit::Header {
  WavUnit& unit;
  std::uint8_t id[4] = {};  // a read at the end of the file leaves what it does not reach

  bool Is(const std::uint8_t* found, const char* wanted) const {
    return _mbsnbcmp(found, reinterpret_cast<const unsigned char*>(wanted), 4) == 0;
  }
  bool NextId() { return Read(unit.wavFile, id, sizeof id); }

  std::int32_t Check() {
    std::int32_t result = CheckRiff();
    if (result == kDone) result = ReadFormat();
    return result == kDone ? FindData() : result;
  }

  std::int32_t CheckRiff() {
    unit.fileSize = GetFileSize(unit.wavFile, nullptr);
    if (unit.fileSize < kSmallestFile || !NextId()) return kNotRead;
    if (!Is(id, "RIFF")) return kNotRiff;
    std::uint32_t riffSize = 0;
    if (!Read(unit.wavFile, &riffSize, sizeof riffSize)) return kNotRead;
    if (riffSize + 8 != GetFileSize(unit.wavFile, nullptr)) return kWrongRiffSize;
    if (!NextId()) return kNotRead;
    return Is(id, "WAVE") ? kDone : kNotInPlace;
  }

  std::int32_t ReadFormat() {
    // Identifier and size lie one behind the other here as in the file.
    std::uint8_t both[sizeof unit.fmtId + sizeof unit.fmtSize];
    std::memcpy(both, unit.fmtId.data(), sizeof unit.fmtId);
    std::memcpy(both + sizeof unit.fmtId, &unit.fmtSize, sizeof unit.fmtSize);
    if (!Read(unit.wavFile, both, sizeof both)) return kNotRead;
    std::memcpy(unit.fmtId.data(), both, sizeof unit.fmtId);
    std::memcpy(&unit.fmtSize, both + sizeof unit.fmtId, sizeof unit.fmtSize);
    // No size is negative: with the top bit set the next identifier cannot stand where it says.
    if (!Is(unit.fmtId.data(), "fmt ") || unit.fmtSize < 0) return kNotInPlace;
    constexpr auto kMost = static_cast<std::int32_t>(sizeof unit.waveFormat);
    const std::int32_t bytes = unit.fmtSize < kMost ? unit.fmtSize : kMost;
    return Read(unit.wavFile, &unit.waveFormat, static_cast<std::uint32_t>(bytes)) ? kDone : kNotRead;
  }

  std::int32_t FindData() {
    if (!NextId()) return kNotRead;
    if (Is(id, "fact")) {
      std::uint8_t sizeAndValue[8];
      if (!Read(unit.wavFile, sizeAndValue, sizeof sizeAndValue) || !NextId()) return kNotRead;
    }
    if (!Is(id, "data")) return kNotInPlace;
    return Read(unit.wavFile, &unit.dataSize, sizeof unit.dataSize) ? kDone : kNotRead;
  }

  // To the mirror. The block is given back when this returns, ahead of the handle that a failure closes.
  static std::int32_t Copy(WavUnit& unit) {
    const std::uint32_t bytes = unit.fileSize - unit.dataSize;
    const HeapBlock block(unit.heap, bytes);
    if (!block) return kNotWritten;
    if (SetFilePointer(unit.wavFile, 0, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER ||
        !Read(unit.wavFile, block.Get(), bytes)) {
      return kNotRead;
    }
    return WriteMirror(unit.mirrorFile, block.Get(), bytes) ? kDone : kNotWritten;
  }
};

WavUnit::WavUnit()
    : heap(NewHeap()),
      wavFile(nullptr),
      mirrorFile(nullptr),
      fileSize(0),
      dataSize(0),
      fmtId(),
      fmtSize(0),
      waveFormat(),
      nextCopy(this) {}

WavUnit::WavUnit(const WavUnit& other) : nextCopy(this) {
  Copies::Join(*this, other);
}

WavUnit& WavUnit::operator=(const WavUnit& other) {
  if (Copies::Together(*this, other)) return *this;
  Copies::GiveUp(*this);
  Copies::Join(*this, other);
  return *this;
}

WavUnit::~WavUnit() {
  Copies::GiveUp(*this);
}

std::int32_t WavUnit::OpenWFile(const char* file) {
  const Copies::Telling telling(*this);
  CloseWFile();
  const HANDLE opened = CreateFileA(file, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (opened == INVALID_HANDLE_VALUE) return kNotOpened;
  wavFile = opened;
  const std::int32_t result = Header{*this}.Check();
  if (result != kDone) CloseWFile();
  return result;
}

std::uint32_t WavUnit::PcmDataSize() {
  return dataSize;
}

std::int32_t WavUnit::ChkPcmFile(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate,
                                 std::uint16_t bits) {
  return (tag != waveFormat.wFormatTag ? kOtherTag : 0) +
         (channels != waveFormat.nChannels ? kOtherChannels : 0) +
         (rate != waveFormat.nSamplesPerSec ? kOtherRate : 0) +
         (bits != waveFormat.wBitsPerSample ? kOtherBits : 0);
}

std::int32_t WavUnit::ReadPcmData(void* buffer, std::uint32_t bytes) {
  if (wavFile == nullptr) return kNoSource;
  if (Read(wavFile, buffer, bytes)) return kDone;
  CloseWFile();
  return kNotRead;
}

std::int32_t WavUnit::CreateMirrorFile(const char* file) {
  if (mirrorFile != nullptr) return kMirrorIsOpen;
  if (wavFile == nullptr) return kNoSource;
  const Copies::Telling telling(*this);
  mirrorFile = CreateMirror(file);
  if (mirrorFile == nullptr) return kNotWritten;
  const std::int32_t result = Header::Copy(*this);
  if (result == kNotRead) CloseWFile();
  if (result == kNotWritten) CloseMFile();
  return result;
}

std::int32_t WavUnit::WriteMirrorBuf(const void* data, std::uint32_t bytes) {
  if (mirrorFile == nullptr) return kNoMirror;
  if (WriteMirror(mirrorFile, data, bytes)) return kDone;
  CloseMFile();
  return kNotWritten;
}

std::int32_t WavUnit::CloseWFile() {
  const Copies::Telling telling(*this);
  const bool wasOpen = wavFile != nullptr;
  if (wasOpen) CloseHandle(wavFile);
  wavFile = nullptr;
  fileSize = 0;
  dataSize = 0;
  return wasOpen ? kDone : kNothingToClose;
}

std::int32_t WavUnit::CloseMFile() {
  const Copies::Telling telling(*this);
  const bool wasOpen = mirrorFile != nullptr;
  if (wasOpen) CloseHandle(mirrorFile);
  mirrorFile = nullptr;
  return wasOpen ? kDone : kNothingToClose;
}
