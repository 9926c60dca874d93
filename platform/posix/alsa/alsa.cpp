// What recording and playing through ALSA share.
#include "platform/posix/alsa/alsa.h"

namespace platform::detail {
namespace {

void Ignore(const char*, int, const char*, int, const char*, va_list) {}

}  // namespace

QuietAlsa::QuietAlsa() : previous_(snd_lib_error_set_local(Ignore)) {}
QuietAlsa::~QuietAlsa() {
  snd_lib_error_set_local(previous_);
}

snd_pcm_format_t AlsaFormatOf(WORD bits) {
  switch (bits) {
    case 8:
      return SND_PCM_FORMAT_U8;
    case 16:
      return SND_PCM_FORMAT_S16_LE;
    case 24:
      return SND_PCM_FORMAT_S24_3LE;
    case 32:
      return SND_PCM_FORMAT_S32_LE;
    default:
      return SND_PCM_FORMAT_UNKNOWN;
  }
}

int SetAlsaHardware(snd_pcm_t* pcm, const WAVEFORMATEX& format, std::chrono::microseconds buffer,
                    std::chrono::microseconds period) {
  const snd_pcm_format_t samples = AlsaFormatOf(format.wBitsPerSample);
  if (samples == SND_PCM_FORMAT_UNKNOWN) return -EINVAL;
  snd_pcm_hw_params_t* params;
  snd_pcm_hw_params_alloca(&params);
  int error = snd_pcm_hw_params_any(pcm, params);
  if (error >= 0) error = snd_pcm_hw_params_set_access(pcm, params, SND_PCM_ACCESS_RW_INTERLEAVED);
  if (error >= 0) error = snd_pcm_hw_params_set_format(pcm, params, samples);
  if (error >= 0) error = snd_pcm_hw_params_set_channels(pcm, params, format.nChannels);
  if (error >= 0) error = snd_pcm_hw_params_set_rate(pcm, params, format.nSamplesPerSec, 0);
  if (error < 0) return error;
  auto bufferMicroseconds = static_cast<unsigned>(buffer.count());
  auto periodMicroseconds = static_cast<unsigned>(period.count());
  snd_pcm_hw_params_set_buffer_time_near(pcm, params, &bufferMicroseconds, nullptr);
  snd_pcm_hw_params_set_period_time_near(pcm, params, &periodMicroseconds, nullptr);
  return snd_pcm_hw_params(pcm, params);
}

}  // namespace platform::detail
