#pragma once
// A WAV file as PCM, piece by piece.

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

/// PCM is handed out as it is; other formats go through a conversion driver and come as 16 bits. One thread
/// at a time.
class WaveReader {
 public:
  /// Takes in the format and finds the data. Throws std::bad_alloc.
  /// @return 0; MCIERR_FILE_NOT_FOUND; MCIERR_INVALID_FILE
  MCIERROR Open(const char* file);

  /// Goes to the file's beginning. Throws std::bad_alloc.
  /// @return 0; MCIERR_WAVE_OUTPUTSUNSUITABLE: no driver makes PCM of this format; MCIERR_INVALID_FILE
  MCIERROR Rewind();

  /// What Next hands out.
  const WAVEFORMATEX& Format() const { return played_; }

  /// The next whole frames, valid until the next call; empty at the end.
  std::span<const BYTE> Next();

 private:
  MCIERROR ReadFormat(MMCKINFO* riff);
  bool TakeFormat();
  MCIERROR OpenDecoder();
  std::span<const BYTE> Decode(DWORD bytes);

  std::unique_ptr<HMMIO, MmioCloser> file_;
  std::vector<BYTE> formatBlock_;  // the file's format record, no shorter than a WAVEFORMATEX
  WAVEFORMATEX played_ = {};
  DWORD block_ = 0;  // of the file
  bool coded_ = false;
  MMCKINFO data_ = {};
  DWORD left_ = 0;           // bytes of the data not read yet
  std::vector<BYTE> piece_;  // as read, whole blocks but for the file's end

  // For coded files, from the first Rewind on. The stream keeps to these buffers.
  std::vector<BYTE> decoded_;
  ACMSTREAMHEADER header_ = {};
  DWORD conversion_ = 0;  // flags of the next one
  std::unique_ptr<HACMSTREAM, StreamCloser> decoder_;
};

}  // namespace platform::detail
