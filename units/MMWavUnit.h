#pragma once

#include <cstdint>

#include "platform/export.h"
#include "platform/owners.h"
#include "platform/platform.h"

namespace units {
template <class Unit>
struct Reader;
}

/// A searching reader of one WAV file, with a mirror: a second file that begins as the first one does and
/// takes what the host writes to it, at once or through a buffer of 8192 bytes for small pieces.
///
/// The order of calls: OpenWFile, ChkPcmFile, CreateMirrorFile, which is what brings the source to its first
/// sample byte; ReadPcmData and WriteMirrorBuf or WriteMirrorSubBuf in turn; WriteFlushSubBuf; CloseMFile and
/// CloseWFile. The mirror's header is the source's and is not patched afterwards.
///
/// Accepted is a file with a RIFF chunk of form "WAVE" in which "fmt " of 16 bytes at least stands somewhere,
/// and "data" somewhere behind it.
///
/// Results: 0 success
///          1 the source cannot be opened
///          2 the source lacks one of the chunks, or reading it failed or came to its end
///          4 a mirror is open already
///          5 nothing to close
///          9 no source is open
///         16 no mirror is open, or no sub-buffer exists
///         17 the mirror cannot be created or written, or memory is short
///
/// Threads: an object serves one thread at a time, and so do an object and its copies together.
///
/// Copies share what is open when the copy is made: source, mirror and sub-buffer. What one closes is closed
/// for all; they may go in any order, and the last closes what is open. Sizes are each object's own, but a
/// file has one position, which each of them moves for all: let one of them write.
class CMM_API MMWavUnit {
 public:
  MMWavUnit();
  MMWavUnit(const MMWavUnit& other);
  /// Closes what is open and is no other's, then shares what @p other has open.
  MMWavUnit& operator=(const MMWavUnit& other);
  /// Closes what is open, unless it is a copy's too; waiting bytes are written.
  ~MMWavUnit();

  /// Opens a file, which stands at its end then. An open source is closed first, whatever comes.
  /// @return 0; 1 or 2: no source is open then
  std::int32_t OpenWFile(const char* file);

  /// @return bytes of samples, as the source declares them; 0 when none is open
  std::uint32_t PcmDataSize();

  /// Compares a format with the source's. Its bits are those of its blocks, 8 times nBlockAlign by nChannels;
  /// a source without channels has none that are equal.
  /// @param channels samples in a frame  @param rate frames a second  @param bits of a sample
  /// @return 0 when all are equal; 9; otherwise the sum of 4096 for another @p tag, 4097 for other @p
  ///         channels, 4098 for another @p rate and 4099 for other @p bits
  std::int32_t ChkPcmFile(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits);

  /// Reads on.
  /// @param bytes below 2 GiB
  /// @return 0; 9; 2: fewer bytes remained, which are in @p buffer, or reading failed: the source is closed
  /// then
  std::int32_t ReadPcmData(void* buffer, std::uint32_t bytes);

  /// Creates a mirror, in place of a file that exists, and copies all to it that the source has besides its
  /// samples: with "data" as the last chunk its header. The source stands behind that many bytes then: on the
  /// first sample byte.
  ///
  /// All besides the samples is file less samples, in 32 bits: more than can be read when the file claims to
  /// have more samples than bytes, which gives 17 or 2.
  /// @return 0; 4, 9: nothing has happened; 17: no mirror is open; 2: the source is closed, the mirror open
  std::int32_t CreateMirrorFile(const char* file);

  /// Appends to the mirror, ahead of what still waits in the sub-buffer.
  /// @return 0; 16; 17: the mirror is closed then
  std::int32_t WriteMirrorBuf(const void* data, std::uint32_t bytes);

  /// Appends to the mirror by way of the sub-buffer: a piece that would fill it pushes out what waits, and
  /// waits alone. One that is larger than the sub-buffer is written at once behind that.
  /// @return 0; 16; 17: the mirror is closed then, and what waited may be lost
  std::int32_t WriteMirrorSubBuf(const void* data, std::uint32_t bytes);

  /// Writes what waits in the sub-buffer and gives the sub-buffer back.
  /// @return 0; 16; 17: the mirror is closed then, and what waited may be lost
  std::int32_t WriteFlushSubBuf();

  std::int32_t CloseWFile();  ///< Closes the source; the mirror stays. @return 0; 5
  /// Writes what waits and closes the mirror; the source stays.
  /// @return 0; 5; 17: what waited, or what the disk had taken, may be lost; the mirror is closed
  std::int32_t CloseMFile();

 private:
  friend struct units::Reader<MMWavUnit>;
  struct CMM_LOCAL Source;
  struct CMM_LOCAL SubBuffer;

  // What the fields name is valid while its owners say that it is open: a copy may have closed it.
  HANDLE heap = nullptr;  // null: it could not be had
  HMMIO hmmio = nullptr;
  HANDLE mirrorFile = nullptr;
  std::uint32_t dataSize = 0;
  std::uint32_t headerSize = 0;  // of the file without its samples
  PCMWAVEFORMAT waveFormat = {};
  std::uint32_t subBufSize = 8192;
  std::uint8_t* subBuf = nullptr;
  std::uint32_t subBufFill = 0;
  cmm::Owners heapOwners;
  cmm::Owners sourceOwners;
  cmm::Owners mirrorOwners;
  cmm::Owners subBufOwners;
};
