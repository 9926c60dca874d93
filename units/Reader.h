#pragma once
// What WavUnit and MMWavUnit do in the same way. What each does in its own way is in its Unit::Source:
//   Read        whether bytes were read, with the unit's rule for the end of the file
//   Rewind      seeks to the start of the file
//   HeaderSize  the file's size less that of its samples
//   HasHeader   whether a read of the header can succeed
//   Fields      all fields, for assignment

#include <cstdint>

#include "units/Mirror.h"
#include "units/codes.h"

namespace units {

/// The operations of a Unit, WavUnit or MMWavUnit, whose comments describe them.
template <class Unit>
struct Reader {
  using Source = typename Unit::Source;  ///< what the unit does in its own way

  /// Closes what no copy has open. The fields are not valid afterwards.
  static void Release(Unit& unit) {
    if (unit.sourceOwners.IsLast()) unit.CloseWFile();
    if (unit.mirrorOwners.IsLast()) unit.CloseMFile();
    if (unit.heap != nullptr && unit.heapOwners.IsLast()) HeapDestroy(unit.heap);
  }

  /// Reads on.
  static std::int32_t ReadPcmData(Unit& unit, void* buffer, std::uint32_t bytes) {
    if (!unit.sourceOwners.IsOpen()) return kNoSource;
    if (Source::Read(unit, buffer, bytes)) return kDone;
    unit.CloseWFile();
    return kNotRead;
  }

  /// Creates the mirror, with the source's header.
  static std::int32_t CreateMirrorFile(Unit& unit, const char* file) {
    if (unit.mirrorOwners.IsOpen()) return kMirrorIsOpen;
    if (!unit.sourceOwners.IsOpen()) return kNoSource;
    if (!unit.mirrorOwners.Begin()) return kNotWritten;
    unit.mirrorFile = CreateMirror(file);
    if (unit.mirrorFile == nullptr) {
      unit.mirrorOwners.End();
      return kNotWritten;
    }
    const std::int32_t result = CopyHeader(unit);
    if (result == kNotRead) unit.CloseWFile();
    if (result == kNotWritten) unit.CloseMFile();
    return result;
  }

  /// Appends to the mirror.
  static std::int32_t WriteMirrorBuf(Unit& unit, const void* data, std::uint32_t bytes) {
    if (!unit.mirrorOwners.IsOpen()) return kNoMirror;
    if (WriteMirror(unit.mirrorFile, data, bytes)) return kDone;
    unit.CloseMFile();
    return kNotWritten;
  }

  /// Closes the open mirror.
  /// @return whether the platform reported no failure
  static bool CloseMirror(Unit& unit) {
    unit.mirrorOwners.End();
    return CloseHandle(unit.mirrorFile) != FALSE;
  }

  /// The result of ChkPcmFile: the sum of the codes of what differs.
  static std::int32_t Differences(const auto& found, std::uint16_t tag, std::uint16_t channels,
                                  std::uint32_t rate, bool sameBits) {
    return (tag != found.wFormatTag ? kOtherTag : 0) + (channels != found.nChannels ? kOtherChannels : 0) +
           (rate != found.nSamplesPerSec ? kOtherRate : 0) + (sameBits ? 0 : kOtherBits);
  }

 private:
  // To the mirror. The block is freed when this returns, before a failure closes the mirror.
  static std::int32_t CopyHeader(Unit& unit) {
    const std::uint32_t bytes = Source::HeaderSize(unit);
    if (!Source::HasHeader(unit)) return kNotRead;  // before memory is asked for
    const HeapBlock block(unit.heap, bytes);
    if (!block) return kNotWritten;
    if (!Source::Rewind(unit) || !Source::Read(unit, block.Get(), bytes)) return kNotRead;
    return WriteMirror(unit.mirrorFile, block.Get(), bytes) ? kDone : kNotWritten;
  }
};

}  // namespace units
