#pragma once
// Reading a WAV file as PCM, piece by piece.

#include <memory>
#include <span>
#include <vector>

#include "platform/posix/acm.h"
#include "platform/posix/mci.h"
#include "platform/posix/mmio.h"

namespace platform::detail {

struct MmioCloser {
  using pointer = HMMIO;
  void operator()(HMMIO file) const { mmioClose(file, 0); }
};
struct StreamCloser {
  using pointer = HACMSTREAM;
  void operator()(HACMSTREAM stream) const { acmStreamClose(stream, 0); }
};

/// A reader of one file. PCM is given as it is; other formats are converted by a driver to 16 bits. One
/// thread at a time.
class WaveReader {
 public:
  /// Reads the format and finds the data. Throws std::bad_alloc.
  /// @return 0: open
  /// @return MCIERR_FILE_NOT_FOUND: it cannot be opened
  /// @return MCIERR_INVALID_FILE: no WAV file, or one whose format contradicts itself
  MCIERROR Open(const char* file);

  /// Sets the position to the first frame. Throws std::bad_alloc.
  /// @return 0: there
  /// @return MCIERR_WAVE_OUTPUTSUNSUITABLE: no driver converts this format to PCM
  /// @return MCIERR_OUT_OF_MEMORY: of the conversion
  /// @return MCIERR_INVALID_FILE: the position cannot be set
  MCIERROR Rewind();

  /// @return the format of what Next gives
  const WAVEFORMATEX& Format() const { return played_; }

  /// @return the next whole frames, valid until the next call; empty at the end or on failure
  std::span<const BYTE> Next();

 private:
  MCIERROR ReadFormat(MMCKINFO* riff);
  bool ParseFormat();
  MCIERROR OpenDecoder();
  std::span<const BYTE> Decode(DWORD bytes);

  std::unique_ptr<HMMIO, MmioCloser> file_;
  std::vector<BYTE> formatBlock_;  // the file's format structure, no shorter than a WAVEFORMATEX
  WAVEFORMATEX played_ = {};
  DWORD block_ = 0;  // of the file
  bool coded_ = false;
  MMCKINFO data_ = {};
  DWORD bytesLeft_ = 0;      // bytes of the data not read yet
  std::vector<BYTE> piece_;  // as read, whole blocks but for the file's end

  // For coded files, from the first Rewind on. The stream uses these buffers only.
  std::vector<BYTE> decoded_;
  ACMSTREAMHEADER header_ = {};
  DWORD conversion_ = 0;  // flags of the next one
  std::unique_ptr<HACMSTREAM, StreamCloser> decoder_;
};

}  // namespace platform::detail
