// The same as SystemCalls.cpp for the calls into ALSA that can fail; a call's file is -1. An error is returned
// as its negative number, for a full disk that of an overrun.

#include <alsa/asoundlib.h>

#include "tests/support/NextDefinition.h"

using test::Next;

static int SoundError(int error) {
  return error == ENOSPC ? -EPIPE : -error;
}

// One function: its declaration, result type, name and arguments.
#define HOOKED(declaration, Result, name, ...)                                                 \
  declaration {                                                                                \
    static constinit Next next(#name);                                                         \
    if (const int error = next.Ask(__builtin_return_address(0), -1)) return SoundError(error); \
    return next.Go<Result>(__VA_ARGS__);                                                       \
  }
// The same with a number of frames that a short count makes less.
#define HOOKED_FRAMES(declaration, name, ...)                                                           \
  declaration {                                                                                         \
    static constinit Next next(#name);                                                                  \
    if (const int error = next.Ask(__builtin_return_address(0), -1, &frames)) return SoundError(error); \
    return next.Go<snd_pcm_sframes_t>(__VA_ARGS__);                                                     \
  }
// The same for functions that close, with an error or without.
#define HOOKED_CLOSE(declaration, name, argument)                \
  declaration {                                                  \
    static constinit Next next(#name);                           \
    const int error = next.Ask(__builtin_return_address(0), -1); \
    const int result = next.Go<int>(argument);                   \
    return error != 0 ? SoundError(error) : result;              \
  }
// The same for the many with a device alone.
#define HOOKED_DEVICE(name) HOOKED(int name(snd_pcm_t* pcm), int, name, pcm)
#define HOOKED_SETTING(name, Value) \
  HOOKED(int name(snd_pcm_t* pcm, snd_pcm_hw_params_t* params, Value value), int, name, pcm, params, value)
#define HOOKED_NEAR(name)                                                                                   \
  HOOKED(int name(snd_pcm_t* pcm, snd_pcm_hw_params_t* params, unsigned* value, int* direction), int, name, \
         pcm, params, value, direction)

extern "C" {

HOOKED(int snd_card_next(int* card), int, snd_card_next, card)
HOOKED(int snd_ctl_open(snd_ctl_t** ctl, const char* name, int mode), int, snd_ctl_open, ctl, name, mode)
HOOKED_CLOSE(int snd_ctl_close(snd_ctl_t* ctl), snd_ctl_close, ctl)
HOOKED(int snd_ctl_card_info(snd_ctl_t* ctl, snd_ctl_card_info_t* info), int, snd_ctl_card_info, ctl, info)
HOOKED(int snd_ctl_pcm_info(snd_ctl_t* ctl, snd_pcm_info_t* info), int, snd_ctl_pcm_info, ctl, info)
HOOKED(int snd_ctl_pcm_next_device(snd_ctl_t* ctl, int* device), int, snd_ctl_pcm_next_device, ctl, device)
HOOKED(int snd_pcm_open(snd_pcm_t** pcm, const char* name, snd_pcm_stream_t stream, int mode), int,
       snd_pcm_open, pcm, name, stream, mode)
HOOKED_CLOSE(int snd_pcm_close(snd_pcm_t* pcm), snd_pcm_close, pcm)
HOOKED(snd_pcm_sframes_t snd_pcm_avail(snd_pcm_t* pcm), snd_pcm_sframes_t, snd_pcm_avail, pcm)
HOOKED(int snd_pcm_delay(snd_pcm_t* pcm, snd_pcm_sframes_t* frames), int, snd_pcm_delay, pcm, frames)
HOOKED_DEVICE(snd_pcm_drain)
HOOKED_DEVICE(snd_pcm_drop)
HOOKED_DEVICE(snd_pcm_hw_free)
HOOKED_DEVICE(snd_pcm_prepare)
HOOKED_DEVICE(snd_pcm_start)
HOOKED(int snd_pcm_get_params(snd_pcm_t* pcm, snd_pcm_uframes_t* buffer, snd_pcm_uframes_t* period), int,
       snd_pcm_get_params, pcm, buffer, period)
HOOKED(int snd_pcm_hw_params(snd_pcm_t* pcm, snd_pcm_hw_params_t* params), int, snd_pcm_hw_params, pcm,
       params)
HOOKED(int snd_pcm_hw_params_any(snd_pcm_t* pcm, snd_pcm_hw_params_t* params), int, snd_pcm_hw_params_any,
       pcm, params)
HOOKED(int snd_pcm_hw_params_current(snd_pcm_t* pcm, snd_pcm_hw_params_t* params), int,
       snd_pcm_hw_params_current, pcm, params)
HOOKED_SETTING(snd_pcm_hw_params_set_access, snd_pcm_access_t)
HOOKED_SETTING(snd_pcm_hw_params_set_channels, unsigned)
HOOKED_SETTING(snd_pcm_hw_params_set_format, snd_pcm_format_t)
HOOKED_NEAR(snd_pcm_hw_params_set_buffer_time_near)
HOOKED_NEAR(snd_pcm_hw_params_set_period_time_near)
HOOKED(int snd_pcm_hw_params_set_rate(snd_pcm_t* pcm, snd_pcm_hw_params_t* params, unsigned rate,
                                      int direction),
       int, snd_pcm_hw_params_set_rate, pcm, params, rate, direction)
HOOKED_FRAMES(snd_pcm_sframes_t snd_pcm_readi(snd_pcm_t* pcm, void* data, snd_pcm_uframes_t frames),
              snd_pcm_readi, pcm, data, frames)
HOOKED_FRAMES(snd_pcm_sframes_t snd_pcm_writei(snd_pcm_t* pcm, const void* data, snd_pcm_uframes_t frames),
              snd_pcm_writei, pcm, data, frames)

}  // extern "C"
