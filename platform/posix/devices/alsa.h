#pragma once
// What recording and playing through ALSA share.

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
int SetAlsaHardware(snd_pcm_t* pcm, const WAVEFORMATEX& format, unsigned bufferMicroseconds,
                    unsigned periodMicroseconds);

}  // namespace platform::detail
