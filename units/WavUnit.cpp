#include "units/WavUnit.h"

#include <cstring>
#include <tuple>

#include "units/Reader.h"

using namespace units;

namespace {

constexpr std::uint32_t kSmallestFile = 39;  // bytes; a smaller one is refused before it is read

// Whether reading did not fail. The end of the file, where fewer bytes arrive, is no failure.
bool Read(HANDLE file, void* to, std::uint32_t bytes) {
  DWORD got = 0;
  return ReadFile(file, to, bytes, &got, nullptr) != FALSE;
}

}  // namespace

struct WavUnit::Source {
  static bool Read(WavUnit& unit, void* to, std::uint32_t bytes) { return ::Read(unit.wavFile, to, bytes); }
  static bool Rewind(WavUnit& unit) {
    return SetFilePointer(unit.wavFile, 0, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER;
  }
  static std::uint32_t HeaderSize(const WavUnit& unit) { return unit.fileSize - unit.dataSize; }
  static bool HasHeader(const WavUnit&) { return true; }  // a short read is no failure
  static auto Fields(auto& unit) {
    return std::tie(unit.heap, unit.wavFile, unit.mirrorFile, unit.fileSize, unit.dataSize, unit.fmtId,
                    unit.fmtSize, unit.waveFormat, unit.heapOwners, unit.sourceOwners, unit.mirrorOwners);
  }
};

// Reads the file's header, up to the first sample byte.
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
    // No tolerance: the RIFF size is the file's less 8, to the byte.
    if (riffSize + 8 != GetFileSize(unit.wavFile, nullptr)) return kWrongRiffSize;
    if (!NextId()) return kNotRead;
    return Is(id, "WAVE") ? kDone : kUnexpectedChunk;
  }

  std::int32_t ReadFormat() {
    // Identifier and size are read in one call. What a read at the end of the file does not reach keeps the
    // values of the file before.
    std::uint8_t both[sizeof unit.fmtId + sizeof unit.fmtSize];
    std::memcpy(both, unit.fmtId.data(), sizeof unit.fmtId);
    std::memcpy(both + sizeof unit.fmtId, &unit.fmtSize, sizeof unit.fmtSize);
    if (!Read(unit.wavFile, both, sizeof both)) return kNotRead;
    std::memcpy(unit.fmtId.data(), both, sizeof unit.fmtId);
    std::memcpy(&unit.fmtSize, both + sizeof unit.fmtId, sizeof unit.fmtSize);
    // The size is unsigned in the file: with the top bit set it is 2 GiB or more, and is refused.
    if (!Is(unit.fmtId.data(), "fmt ") || unit.fmtSize < 0) return kUnexpectedChunk;
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
    if (!Is(id, "data")) return kUnexpectedChunk;
    return Read(unit.wavFile, &unit.dataSize, sizeof unit.dataSize) ? kDone : kNotRead;
  }
};

WavUnit::WavUnit() {
  heap = NewHeap(heapOwners);
}

WavUnit::WavUnit(const WavUnit& other) = default;

WavUnit& WavUnit::operator=(const WavUnit& other) {
  if (this == &other) return *this;
  Reader<WavUnit>::Release(*this);
  Source::Fields(*this) = Source::Fields(other);
  return *this;
}

WavUnit::~WavUnit() {
  Reader<WavUnit>::Release(*this);
}

std::int32_t WavUnit::OpenWFile(const char* file) {
  CloseWFile();
  if (!sourceOwners.Begin()) return kNotOpened;
  wavFile = CreateFileA(file, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL,
                        nullptr);
  if (wavFile == INVALID_HANDLE_VALUE) {
    sourceOwners.End();
    return kNotOpened;
  }
  const std::int32_t result = Header{*this}.Check();
  if (result != kDone) CloseWFile();
  return result;
}

std::uint32_t WavUnit::PcmDataSize() {
  return sourceOwners.IsOpen() ? dataSize : 0;
}

std::int32_t WavUnit::ChkPcmFile(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate,
                                 std::uint16_t bits) {
  return Reader<WavUnit>::Differences(waveFormat, tag, channels, rate, bits == waveFormat.wBitsPerSample);
}

std::int32_t WavUnit::ReadPcmData(void* buffer, std::uint32_t bytes) {
  return Reader<WavUnit>::ReadPcmData(*this, buffer, bytes);
}

std::int32_t WavUnit::CreateMirrorFile(const char* file) {
  return Reader<WavUnit>::CreateMirrorFile(*this, file);
}

std::int32_t WavUnit::WriteMirrorBuf(const void* data, std::uint32_t bytes) {
  return Reader<WavUnit>::WriteMirrorBuf(*this, data, bytes);
}

std::int32_t WavUnit::CloseWFile() {
  const bool wasOpen = sourceOwners.IsOpen();
  if (wasOpen) CloseHandle(wavFile);
  sourceOwners.End();
  fileSize = 0;
  dataSize = 0;
  return wasOpen ? kDone : kNothingToClose;
}

std::int32_t WavUnit::CloseMFile() {
  if (!mirrorOwners.IsOpen()) return kNothingToClose;
  Reader<WavUnit>::CloseMirror(*this);
  return kDone;
}
