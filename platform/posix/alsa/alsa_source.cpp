// Capture from an ALSA device.
#include "platform/posix/alsa/alsa_source.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "platform/posix/alsa/limits.h"
#include "platform/posix/core/descriptor.h"

namespace platform::detail {
namespace {

/// The published format bits: four for each rate, which are mono and stereo, then the same with 16 bits.
DSCCAPS CapsOf(snd_pcm_t* pcm) {
  DSCCAPS caps = {sizeof(DSCCAPS), 0, 0, 0};
  snd_pcm_hw_params_t* params;
  snd_pcm_hw_params_alloca(&params);
  if (snd_pcm_hw_params_any(pcm, params) < 0) return caps;
  constexpr unsigned kRates[] = {11025, 22050, 44100};
  for (unsigned flag = 0; flag < 12; ++flag) {
    const bool fits = snd_pcm_hw_params_test_rate(pcm, params, kRates[flag / 4], 0) == 0 &&
                      snd_pcm_hw_params_test_format(pcm, params, AlsaFormatOf(flag % 4 < 2 ? 8 : 16)) == 0 &&
                      snd_pcm_hw_params_test_channels(pcm, params, flag % 2 + 1) == 0;
    if (fits) caps.dwFormats |= 1u << flag;
  }
  snd_pcm_hw_params_get_channels_max(params, &caps.dwChannels);
  return caps;
}

/// @return the time between two reads
std::chrono::milliseconds ReadIntervalOf(snd_pcm_t* pcm) {
  snd_pcm_hw_params_t* params;
  snd_pcm_hw_params_alloca(&params);
  unsigned microseconds = 0;
  if (snd_pcm_hw_params_current(pcm, params) < 0 ||
      snd_pcm_hw_params_get_buffer_time(params, &microseconds, nullptr) < 0) {
    microseconds = 0;
  }
  const std::chrono::milliseconds interval(microseconds / 1000 / kReadsPerBuffer);
  return std::clamp(interval, kShortestInterval, kLongestInterval);
}

}  // namespace

WakeDescriptor::WakeDescriptor() : descriptor_(BehindStandard(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))) {}
WakeDescriptor::~WakeDescriptor() {
  if (descriptor_ >= 0) close(descriptor_);
}
void WakeDescriptor::Set() {
  eventfd_write(descriptor_, 1);
}
void WakeDescriptor::Clear() {
  eventfd_t count;
  eventfd_read(descriptor_, &count);
}

HRESULT AlsaSource::Open(const char* name, std::unique_ptr<CaptureSource>* source) {
  const QuietAlsa quiet;
  std::unique_ptr<AlsaSource> opened(new (std::nothrow) AlsaSource);
  if (opened == nullptr || opened->wake_.Get() < 0) return DSERR_OUTOFMEMORY;
  const int error = snd_pcm_open(&opened->pcm_, name, SND_PCM_STREAM_CAPTURE, SND_PCM_NONBLOCK);
  if (error < 0) {
    opened->pcm_ = nullptr;
    return OpeningResult(error, DSERR_ALLOCATED, DSERR_OUTOFMEMORY, DSERR_NODRIVER);
  }
  opened->caps_ = CapsOf(opened->pcm_);
  *source = std::move(opened);
  return DS_OK;
}

AlsaSource::~AlsaSource() {
  const QuietAlsa quiet;
  if (pcm_ != nullptr) snd_pcm_close(pcm_);
}

HRESULT AlsaSource::Configure(const WAVEFORMATEX& format) {
  const QuietAlsa quiet;
  snd_pcm_hw_free(pcm_);  // of an earlier buffer
  if (const int error = SetAlsaHardware(pcm_, format, kCaptureBuffer, kCapturePeriod); error < 0)
    return error == -ENOMEM ? DSERR_OUTOFMEMORY : DSERR_BADFORMAT;
  interval_ = ReadIntervalOf(pcm_);
  block_ = format.nBlockAlign;
  rate_ = format.nSamplesPerSec;
  return DS_OK;
}

HRESULT AlsaSource::Start() {
  const QuietAlsa quiet;
  wake_.Clear();
  failed_ = false;
  lost_ = 0;
  lastRead_ = Clock::now();
  drained_ = true;
  return Restart() ? DS_OK : DSERR_GENERIC;
}

bool AlsaSource::Restart() {
  return snd_pcm_prepare(pcm_) >= 0 && snd_pcm_start(pcm_) >= 0;
}

/// An overrun discards the device's buffer too: all sound since the last read is lost.
bool AlsaSource::RestartAfterOverrun() {
  if (!Restart()) return false;
  const std::chrono::duration<double> away = Clock::now() - lastRead_;
  lost_ += static_cast<std::uint64_t>(away.count() * rate_);
  lastRead_ = Clock::now();
  return true;
}

void AlsaSource::Stop() {
  const QuietAlsa quiet;
  snd_pcm_drop(pcm_);
}

DWORD AlsaSource::Read(BYTE* to, DWORD room, std::chrono::milliseconds timeout) {
  const QuietAlsa quiet;
  if (failed_ || drained_) WaitForWake(std::min(interval_, timeout));
  if (failed_) return 0;
  const snd_pcm_sframes_t wanted = room / block_;
  const snd_pcm_sframes_t frames = snd_pcm_readi(pcm_, to, static_cast<snd_pcm_uframes_t>(wanted));
  drained_ = frames < wanted;
  if (frames > 0) {
    lastRead_ = Clock::now();
    return static_cast<DWORD>(frames) * block_;
  }
  if (frames == -EPIPE || frames == -ESTRPIPE) {  // overrun or suspended
    failed_ = !RestartAfterOverrun();
  } else {
    failed_ = frames != 0 && frames != -EAGAIN && frames != -EINTR;
  }
  return 0;
}

/// Waits until the time is over, or for Wake.
void AlsaSource::WaitForWake(std::chrono::milliseconds time) {
  pollfd descriptor = {wake_.Get(), POLLIN, 0};
  poll(&descriptor, 1, static_cast<int>(time.count()));
}

}  // namespace platform::detail
