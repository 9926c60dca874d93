#pragma once
/// @file
/// A reader with a mirror that searches for the chunks of a file.

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

/// A searching reader of one WAV file, the source, and a mirror of it: a second file that begins as the
/// source does and takes what the host writes, at once or through a sub-buffer of 8192 bytes for small
/// pieces.
///
/// The order of calls:
/// @code
///   MMWavUnit unit;
///   if (unit.OpenWFile("take.wav") != 0 || unit.ChkPcmFile(1, 2, 44100, 16) != 0) return;
///   if (unit.CreateMirrorFile("copy.wav") != 0) return;  // brings the source to its first sample byte
///   char frame[4];
///   for (std::uint32_t left = unit.PcmDataSize(); left >= 4; left -= 4) {
///     if (unit.ReadPcmData(frame, 4) != 0 || unit.WriteMirrorSubBuf(frame, 4) != 0) return;
///   }
///   unit.CloseWFile();
///   unit.CloseMFile();  // writes what is still in the sub-buffer
/// @endcode
/// The mirror's header is the source's, sizes included, and is not changed afterwards.
///
/// Threads: any thread, but one at a time for an object together with its copies.
///
/// Accepted is a file with a RIFF chunk of form "WAVE" that contains "fmt " of at least 16 bytes and, after
/// it, "data".
///
/// Results, the same for all operations but ChkPcmFile:
///
/// | result | meaning                                                                        |
/// |--------|--------------------------------------------------------------------------------|
/// | 0      | success                                                                        |
/// | 1      | the source cannot be opened                                                    |
/// | 2      | the source lacks one of the chunks, or reading it failed or came to its end    |
/// | 4      | a mirror is open already                                                       |
/// | 5      | nothing to close                                                               |
/// | 9      | no source is open                                                              |
/// | 16     | no mirror is open, or the sub-buffer does not exist                            |
/// | 17     | the mirror cannot be created or written, or memory is short                    |
///
/// Copies share what is open when the copy is made: source, mirror and sub-buffer. What one closes is closed
/// for all; they may be destroyed in any order, and the last closes what is open. Sizes are each object's
/// own, but a file has one position, which each of them moves for all: let one of them write.
/// @ingroup units
class CMM_API MMWavUnit {
 public:
  /// Nothing is open.
  MMWavUnit();
  /// Shares what @p other has open.
  MMWavUnit(const MMWavUnit& other);
  /// Closes what is open and is no other's, then shares what @p other has open.
  MMWavUnit& operator=(const MMWavUnit& other);
  /// Closes what is open, unless a copy still has it open; what is in the sub-buffer is written.
  ~MMWavUnit();

  /// Opens a file as the source. The position is then the end of the file, until CreateMirrorFile. An open
  /// source is closed first, whatever the result.
  /// @param file path in the system's code page
  /// @return 0: open
  /// @return 1 or 2: no source is open
  std::int32_t OpenWFile(const char* file);

  /// The size of the source's samples.
  /// @return bytes of samples, as the source declares them; 0 when none is open
  std::uint32_t PcmDataSize();

  /// Compares a format with the source's. The source's bits are those of its blocks, 8 times nBlockAlign by
  /// nChannels; with 0 channels they are never equal.
  /// @param tag      format tag; 1 is PCM
  /// @param channels samples in a frame
  /// @param rate     frames a second
  /// @param bits     bits of one sample
  /// @return 0: all are equal
  /// @return 9: no source is open
  /// @return otherwise the sum of 4096 for another @p tag, 4097 for other @p channels, 4098 for another
  ///         @p rate and 4099 for other @p bits
  std::int32_t ChkPcmFile(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate, std::uint16_t bits);

  /// Reads on, also beyond the samples into what the file has after them.
  /// @param buffer the caller's
  /// @param bytes  as many as @p buffer has room for, below 2 GiB
  /// @return 0: read
  /// @return 2: fewer bytes were left, which are in @p buffer, or reading failed; the source is closed
  /// @return 9: no source is open
  std::int32_t ReadPcmData(void* buffer, std::uint32_t bytes);

  /// Creates a mirror, replacing a file that exists, and copies the source's header to it: as many bytes from
  /// the start of the source as it has besides its samples. With "data" as the last chunk the position is
  /// then the first sample byte.
  ///
  /// That count is the file's size less that of the samples, in 32 bits. A source that declares more samples
  /// than it has bytes makes it larger than can be read, which gives 17 or 2.
  /// @param file path in the system's code page
  /// @return 0: the mirror is open
  /// @return 2: the source is closed, the mirror is open
  /// @return 4 or 9: nothing has changed
  /// @return 17: no mirror is open
  std::int32_t CreateMirrorFile(const char* file);

  /// Appends to the mirror at once: before what is still in the sub-buffer.
  /// @param data  the caller's
  /// @param bytes to be written
  /// @return 0: written
  /// @return 16: no mirror is open
  /// @return 17: the mirror is closed
  std::int32_t WriteMirrorBuf(const void* data, std::uint32_t bytes);

  /// Appends to the mirror through the sub-buffer. A piece that would fill it has the sub-buffer written
  /// first, and is then the only one in it; one that is larger than the sub-buffer is written at once after
  /// it.
  /// @param data  the caller's; copied
  /// @param bytes any number
  /// @return 0: written, or in the sub-buffer
  /// @return 16: no mirror is open
  /// @return 17: the mirror is closed; what was in the sub-buffer may be lost
  std::int32_t WriteMirrorSubBuf(const void* data, std::uint32_t bytes);

  /// Writes what is in the sub-buffer and frees the sub-buffer. The next piece makes a new one.
  /// @return 0: written
  /// @return 16: no mirror is open, or the sub-buffer does not exist
  /// @return 17: the mirror is closed; what was in the sub-buffer may be lost
  std::int32_t WriteFlushSubBuf();

  /// Closes the source; the mirror stays open.
  /// @return 0: closed
  /// @return 5: no source was open
  std::int32_t CloseWFile();

  /// Writes what is in the sub-buffer and closes the mirror; the source stays open.
  /// @return 0: closed
  /// @return 5: no mirror was open
  /// @return 17: closed, but what was in the sub-buffer, or what the disk had taken, may be lost
  std::int32_t CloseMFile();

 private:
  friend struct units::Reader<MMWavUnit>;
  struct CMM_LOCAL Source;
  struct CMM_LOCAL SubBuffer;

  // What the handles and pointers refer to is valid while its owners say that it is open: a copy may have
  // closed it.
  HANDLE heap = nullptr;  // null: there was no memory for it
  HMMIO hmmio = nullptr;
  HANDLE mirrorFile = nullptr;
  std::uint32_t dataSize = 0;
  std::uint32_t headerSize = 0;  // the file's size less that of its samples
  PCMWAVEFORMAT waveFormat = {};
  std::uint32_t subBufSize = 8192;  // bytes
  std::uint8_t* subBuf = nullptr;
  std::uint32_t subBufFill = 0;  // bytes in it
  cmm::Owners heapOwners;
  cmm::Owners sourceOwners;
  cmm::Owners mirrorOwners;
  cmm::Owners subBufOwners;
};
