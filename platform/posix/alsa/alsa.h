#pragma once
// What recording and playing through ALSA share.

#include <cerrno>
#include <chrono>
#include <cstdarg>
extern "C" {
#include <alsa/error.h>  // declares one C function outside of its own extern "C"
}
#include <alsa/asoundlib.h>

#include "platform/posix/multimedia.h"

namespace platform::detail {

/// Keeps ALSA's messages to itself on this thread, for as long as it lives. The handler that the host may
/// have set for the process is not touched.
class QuietAlsa {
 public:
  QuietAlsa();
  ~QuietAlsa();
  QuietAlsa(const QuietAlsa&) = delete;
  QuietAlsa& operator=(const QuietAlsa&) = delete;

 private:
  snd_local_error_handler_t before_;
};

/// ALSA's name for PCM samples of 8, 16, 24 or 32 bits.
snd_pcm_format_t AlsaFormatOf(WORD bits);

/// Everything that the format says is taken exactly or not at all; the sizes as near as the device has them.
/// @return below 0 on failure
int SetAlsaHardware(snd_pcm_t* pcm, const WAVEFORMATEX& format, std::chrono::microseconds buffer,
                    std::chrono::microseconds period);

/// The published result for a failure to open. Whatever cannot be opened is, to the caller, not there.
template <class Result>
Result OpeningResult(int alsaError, Result busy, Result noMemory, Result notThere) {
  switch (-alsaError) {
    case EBUSY:
    case EAGAIN:
      return busy;
    case ENOMEM:
      return noMemory;
    default:
      return notThere;
  }
}

}  // namespace platform::detail
