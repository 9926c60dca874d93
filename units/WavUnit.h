#pragma once
/// @file
/// A reader with a mirror that takes plain files only.

#include <array>
#include <cstdint>

#include "platform/export.h"
#include "platform/owners.h"
#include "platform/platform.h"

/// @cond the readers' common part, units/Reader.h
namespace units {
template <class Unit>
struct Reader;
}
/// @endcond

/// A strict reader of one WAV file, the source, and a mirror of it: a second file that begins as the source
/// does and takes what the host writes. What happens to the samples between the two is up to the host.
///
/// The order of calls:
/// @code
///   WavUnit unit;
///   if (unit.OpenWFile("take.wav") != 0 || unit.ChkPcmFile(1, 2, 44100, 16) != 0) return;
///   if (unit.CreateMirrorFile("copy.wav") != 0) return;
///   std::vector<char> samples(unit.PcmDataSize());
///   const auto bytes = static_cast<std::uint32_t>(samples.size());
///   if (unit.ReadPcmData(samples.data(), bytes) != 0) return;  // or piece by piece
///   if (unit.WriteMirrorBuf(samples.data(), bytes) != 0) return;
///   unit.CloseWFile();
///   unit.CloseMFile();
/// @endcode
/// The mirror's header is the source's, sizes included, and is not changed afterwards: it is right only for a
/// mirror of the same length.
///
/// Threads: any thread, but one at a time for an object together with its copies.
///
/// Accepted are files of exactly this shape: "RIFF" with the file's size less 8, "WAVE", "fmt " of up to 18
/// bytes, an optional "fact" of 4 bytes, "data". So every finished file of CMMWav passes, and many valid WAV
/// files do not.
///
/// Results, the same for all operations but ChkPcmFile:
///
/// | result | meaning                                                          |
/// |--------|------------------------------------------------------------------|
/// | 0      | success                                                          |
/// | 1      | the source cannot be opened                                      |
/// | 2      | the source has fewer than 39 bytes, or reading it failed         |
/// | 4      | a mirror is open already                                         |
/// | 5      | nothing to close                                                 |
/// | 6      | the source does not begin with "RIFF"                            |
/// | 7      | the source's RIFF size is not the file's                         |
/// | 8      | "WAVE", "fmt " or "data" is not where it is expected             |
/// | 9      | no source is open                                                |
/// | 16     | no mirror is open                                                |
/// | 17     | the mirror cannot be created or written, or memory is short      |
///
/// Copies share what is open when the copy is made: source and mirror. What one closes is closed for all;
/// they may be destroyed in any order, and the last closes what is open. Sizes are each object's own, but a
/// file has one position, which each of them moves for all.
/// @ingroup units
class CMM_API WavUnit {
 public:
  /// Nothing is open.
  WavUnit();
  /// Shares what @p other has open.
  WavUnit(const WavUnit& other);
  /// Closes what is open and is no other's, then shares what @p other has open.
  WavUnit& operator=(const WavUnit& other);
  /// Closes what is open, unless a copy still has it open.
  ~WavUnit();

  /// Opens a file as the source. The position is then its first sample byte. An open source is closed first,
  /// whatever the result.
  /// @param file path in the system's code page
  /// @return 0: open
  /// @return 1, 2, 6, 7 or 8: no source is open
  std::int32_t OpenWFile(const char* file);

  /// The size of the source's samples.
  /// @return bytes of samples, as the source declares them; 0 when none is open
  std::uint32_t PcmDataSize();

  /// Compares a format with that of the source that was opened last, also one that is closed again or was
  /// refused; before the first one with zeros.
  /// @param tag      format tag; 1 is PCM
  /// @param channels samples in a frame
  /// @param rate     frames a second
  /// @param bits     bits of one sample
  /// @return 0: all are equal
  /// @return otherwise the sum of 4096 for another @p tag, 4097 for other @p channels, 4098 for another
  ///         @p rate and 4099 for other @p bits
  std::int32_t ChkPcmFile(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits);

  /// Reads on, also beyond the samples into what the file has after them. At the end of the file fewer bytes
  /// arrive, or none, and the result does not show it.
  /// @param buffer the caller's
  /// @param bytes  as many as @p buffer has room for
  /// @return 0: read
  /// @return 2: the source is closed
  /// @return 9: no source is open
  std::int32_t ReadPcmData(void* buffer, std::uint32_t bytes);

  /// Creates a mirror, replacing a file that exists, and copies the source's header to it: as many bytes from
  /// the start of the source as it has besides its samples. With "data" as the last chunk the position is
  /// then the first sample byte.
  ///
  /// That count is the file's size less that of the samples, in 32 bits. A source that declares more samples
  /// than it has bytes makes it larger than the file: zeros follow the file's bytes then, as far as memory
  /// and disk can hold them.
  /// @param file path in the system's code page
  /// @return 0: the mirror is open
  /// @return 2: the source is closed, the mirror is open
  /// @return 4 or 9: nothing has changed
  /// @return 17: no mirror is open
  std::int32_t CreateMirrorFile(const char* file);

  /// Appends to the mirror.
  /// @param data  the caller's
  /// @param bytes to be written
  /// @return 0: written
  /// @return 16: no mirror is open
  /// @return 17: the mirror is closed
  std::int32_t WriteMirrorBuf(const void* data, std::uint32_t bytes);

  /// Closes the source; the mirror stays open.
  /// @return 0: closed
  /// @return 5: no source was open
  std::int32_t CloseWFile();

  /// Closes the mirror; the source stays open. The result does not show whether the disk has taken
  /// everything.
  /// @return 0: closed
  /// @return 5: no mirror was open
  std::int32_t CloseMFile();

 private:
  friend struct units::Reader<WavUnit>;
  struct CMM_LOCAL Source;
  struct CMM_LOCAL Header;

  // What the handles and pointers refer to is valid while its owners say that it is open: a copy may have
  // closed it.
  HANDLE heap = nullptr;  // null: there was no memory for it
  HANDLE wavFile = nullptr;
  HANDLE mirrorFile = nullptr;
  std::uint32_t fileSize = 0;
  std::uint32_t dataSize = 0;
  std::array<std::uint8_t, 4> fmtId = {};
  std::int32_t fmtSize = 0;
  WAVEFORMATEX waveFormat = {};
  cmm::Owners heapOwners;
  cmm::Owners sourceOwners;
  cmm::Owners mirrorOwners;
};
