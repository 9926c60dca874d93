#pragma once

#include <array>
#include <cstdint>

#include "platform/export.h"
#include "platform/owners.h"
#include "platform/platform.h"

namespace units {
template <class Unit>
struct Reader;
}

/// A strict reader of one WAV file, with a mirror: a second file that begins as the first one does and takes
/// what the host writes to it. What happens to the samples between the two is the host's affair.
///
/// The order of calls: OpenWFile, ChkPcmFile, CreateMirrorFile; ReadPcmData and WriteMirrorBuf in turn until
/// PcmDataSize bytes have gone through; CloseWFile and CloseMFile. The mirror's header is the source's, sizes
/// included, and is not patched afterwards: a mirror of another length has a header that is not right for it.
///
/// Accepted are files of exactly this shape: "RIFF" with the file's size less 8, "WAVE", "fmt " of up to 18
/// bytes, at will "fact" of 4 bytes, "data". So every finished file of CMMWav passes, and much else does not.
///
/// Results: 0 success
///          1 the source cannot be opened
///          2 the source has fewer than 39 bytes, or reading it failed
///          4 a mirror is open already
///          5 nothing to close
///          6 the source does not begin with "RIFF"
///          7 its RIFF size is not that of the file
///          8 "WAVE", "fmt " or "data" does not stand where expected
///          9 no source is open
///         16 no mirror is open
///         17 the mirror cannot be created or written, or memory is short
///
/// Threads: an object serves one thread at a time, and so do an object and its copies together.
///
/// Copies share what is open when the copy is made: source and mirror. What one closes is closed for all;
/// they may go in any order, and the last closes what is open. Sizes are each object's own, but a file has
/// one position, which each of them moves for all.
class CMM_API WavUnit {
 public:
  WavUnit();
  WavUnit(const WavUnit& other);
  /// Closes what is open and is no other's, then shares what @p other has open.
  WavUnit& operator=(const WavUnit& other);
  /// Closes what is open, unless it is a copy's too.
  ~WavUnit();

  /// Opens a file, which stands on its first sample byte then. An open source is closed first, whatever
  /// comes.
  /// @return 0; 1, 2, 6, 7 or 8: no source is open then
  std::int32_t OpenWFile(const char* file);

  /// @return bytes of samples, as the source declares them; 0 when none is open
  std::uint32_t PcmDataSize();

  /// Compares a format with that of the source opened last, also of one that is closed again or was refused;
  /// before the first one with zeros.
  /// @param channels samples in a frame  @param rate frames a second  @param bits of a sample
  /// @return 0 when all are equal; otherwise the sum of 4096 for another @p tag, 4097 for other @p channels,
  ///         4098 for another @p rate and 4099 for other @p bits
  std::int32_t ChkPcmFile(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits);

  /// Reads on. At the end of the file fewer bytes arrive, or none, and nothing tells.
  /// @return 0; 9; 2: the source is closed then
  std::int32_t ReadPcmData(void* buffer, std::uint32_t bytes);

  /// Creates a mirror, in place of a file that exists, and copies all to it that the source has besides its
  /// samples: with "data" as the last chunk its header. The source stands behind that many bytes then: on the
  /// first sample byte.
  ///
  /// All besides the samples is file less samples, in 32 bits: more than the file has when it claims to have
  /// more samples than bytes. Zeros follow the file's bytes then, as far as memory and disk can hold them.
  /// @return 0; 4, 9: nothing has happened; 17: no mirror is open; 2: the source is closed, the mirror open
  std::int32_t CreateMirrorFile(const char* file);

  /// Appends to the mirror. @return 0; 16; 17: the mirror is closed then
  std::int32_t WriteMirrorBuf(const void* data, std::uint32_t bytes);

  std::int32_t CloseWFile();  ///< Closes the source; the mirror stays. @return 0; 5
  /// Closes the mirror; the source stays. Whether all that was written is on the disk it does not tell.
  /// @return 0; 5
  std::int32_t CloseMFile();

 private:
  friend struct units::Reader<WavUnit>;
  struct CMM_LOCAL Source;
  struct CMM_LOCAL Header;

  // What the fields name is valid while its owners say that it is open: a copy may have closed it.
  HANDLE heap = nullptr;  // null: it could not be had
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
