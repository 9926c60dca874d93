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

/// Suppresses ALSA's messages on this thread until it is destroyed. The handler that the host may have set
/// for the process is unchanged.
class QuietAlsa {
 public:
  QuietAlsa();
  ~QuietAlsa();
  QuietAlsa(const QuietAlsa&) = delete;
  QuietAlsa& operator=(const QuietAlsa&) = delete;

 private:
  snd_local_error_handler_t previous_;
};

/// @return ALSA's format of PCM samples of 8, 16, 24 or 32 bits; SND_PCM_FORMAT_UNKNOWN for others
snd_pcm_format_t AlsaFormatOf(WORD bits);

/// Sets a device's format, rate and channels exactly, and its sizes as near as it can.
/// @return 0: set
/// @return below 0: ALSA's error
int SetAlsaHardware(snd_pcm_t* pcm, const WAVEFORMATEX& format, std::chrono::microseconds buffer,
                    std::chrono::microseconds period);

/// @return the published result for a failure to open: @p notThere for all that has no result of its own
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
