#include "platform/posix/devices/alsa_source.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "platform/posix/descriptor.h"

namespace platform::detail {
namespace {

constexpr unsigned kBufferMicroseconds = 1'000'000;  // what the worker may oversleep
// Every period wakes the worker and, with a sound server, a thread of its client: at 10 ms that costs a whole
// per cent of a core, and a segment of the recorder has a quarter second.
constexpr unsigned kPeriodMicroseconds = 50'000;
constexpr int kUnreadyMilliseconds = 2;

/// The published result for a failure to open. Whatever cannot be opened is, to the caller, not there.
HRESULT ResultOf(int alsaError) {
  switch (-alsaError) {
    case EBUSY:
    case EAGAIN:
      return DSERR_ALLOCATED;
    case ENOMEM:
      return DSERR_OUTOFMEMORY;
    default:
      return DSERR_NODRIVER;
  }
}

/// The published format flags: a group of four for each rate; in it mono, stereo, and the same with 16 bits.
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
    return ResultOf(error);
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
  if (const int error = SetAlsaHardware(pcm_, format, kBufferMicroseconds, kPeriodMicroseconds); error < 0)
    return error == -ENOMEM ? DSERR_OUTOFMEMORY : DSERR_BADFORMAT;
  if (SetWakePoint() < 0) return DSERR_GENERIC;
  block_ = format.nBlockAlign;
  return DS_OK;
}

/// Has poll wake the worker for a period, not for every frame.
int AlsaSource::SetWakePoint() {
  snd_pcm_uframes_t buffer;
  snd_pcm_uframes_t period;
  int error = snd_pcm_get_params(pcm_, &buffer, &period);
  snd_pcm_sw_params_t* params;
  snd_pcm_sw_params_alloca(&params);
  if (error >= 0) error = snd_pcm_sw_params_current(pcm_, params);
  if (error >= 0) error = snd_pcm_sw_params_set_avail_min(pcm_, params, period);
  return error < 0 ? error : snd_pcm_sw_params(pcm_, params);
}

HRESULT AlsaSource::Start() {
  const QuietAlsa quiet;
  wake_.Clear();
  gone_ = false;
  return CollectDescriptors() && Restart() ? DS_OK : DSERR_GENERIC;
}

/// Collects what Read polls, here, so that Read allocates nothing.
bool AlsaSource::CollectDescriptors() try {
  const int count = snd_pcm_poll_descriptors_count(pcm_);
  if (count <= 0) return false;
  descriptors_.assign(static_cast<std::size_t>(count) + 1, pollfd{});
  descriptors_[0] = {wake_.Get(), POLLIN, 0};
  return snd_pcm_poll_descriptors(pcm_, &descriptors_[1], static_cast<unsigned>(count)) == count;
} catch (const std::bad_alloc&) {
  return false;
}

bool AlsaSource::Restart() {
  return snd_pcm_prepare(pcm_) >= 0 && snd_pcm_start(pcm_) >= 0;
}

void AlsaSource::Stop() {
  const QuietAlsa quiet;
  snd_pcm_drop(pcm_);
}

DWORD AlsaSource::Read(BYTE* to, DWORD room, std::chrono::milliseconds patience) {
  const QuietAlsa quiet;
  const auto milliseconds = static_cast<int>(patience.count());
  const auto read = [&] { return gone_ ? -ENODEV : snd_pcm_readi(pcm_, to, room / block_); };
  snd_pcm_sframes_t frames = read();
  if (frames == -EAGAIN) {
    if (!WaitForData(milliseconds)) return 0;
    frames = read();
  }
  if (frames > 0) return static_cast<DWORD>(frames) * block_;
  if (frames == -EPIPE || frames == -ESTRPIPE) {  // overrun or suspended: what was lost is lost
    gone_ = !Restart();
  } else if (frames == 0 || frames == -EAGAIN) {  // a device that calls itself ready too early
    WaitForWake(kUnreadyMilliseconds);
  } else {
    gone_ = true;
    WaitForWake(milliseconds);
  }
  return 0;
}

/// @return false when woken, or after the time
bool AlsaSource::WaitForData(int milliseconds) {
  if (poll(descriptors_.data(), descriptors_.size(), milliseconds) <= 0) return false;
  if (descriptors_[0].revents != 0) return false;
  unsigned short events = 0;
  snd_pcm_poll_descriptors_revents(pcm_, &descriptors_[1], static_cast<unsigned>(descriptors_.size() - 1),
                                   &events);
  return true;  // an error shows itself in the read
}

void AlsaSource::WaitForWake(int milliseconds) {
  poll(descriptors_.data(), 1, milliseconds);
}

}  // namespace platform::detail
