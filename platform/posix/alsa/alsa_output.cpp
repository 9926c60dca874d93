// Playing through ALSA.

#include <algorithm>
#include <mutex>
#include <new>
#include <string>

#include "platform/posix/alsa/alsa.h"
#include "platform/posix/alsa/limits.h"
#include "platform/posix/core/never_destroyed.h"
#include "platform/posix/playback/limits.h"
#include "platform/posix/playback/sound_output.h"

namespace platform::detail {
namespace {

class AlsaOutput final : public SoundOutput {
 public:
  AlsaOutput() = default;
  AlsaOutput(const AlsaOutput&) = delete;
  AlsaOutput& operator=(const AlsaOutput&) = delete;
  ~AlsaOutput() override {
    const QuietAlsa quiet;
    if (pcm_ == nullptr) return;
    snd_pcm_drop(pcm_);
    snd_pcm_close(pcm_);
  }

  int Open(const std::string& name, const WAVEFORMATEX& format, std::chrono::seconds buffer) {
    const QuietAlsa quiet;
    int error = snd_pcm_open(&pcm_, name.c_str(), SND_PCM_STREAM_PLAYBACK, SND_PCM_NONBLOCK);
    if (error < 0) pcm_ = nullptr;
    if (error >= 0) {
      error = SetAlsaHardware(pcm_, format, std::clamp(buffer, kLeastOutputBuffer, kMostOutputBuffer),
                              kOutputPeriod);
    }
    snd_pcm_uframes_t periodFrames = 0;
    return error < 0 ? error : snd_pcm_get_params(pcm_, &bufferFrames_, &periodFrames);
  }

  std::uint32_t BufferFrames() const override { return static_cast<std::uint32_t>(bufferFrames_); }

  std::int64_t Write(const BYTE* frames, std::size_t count) override {
    const QuietAlsa quiet;
    snd_pcm_sframes_t taken = snd_pcm_writei(pcm_, frames, count);
    if ((taken == -EPIPE || taken == -ESTRPIPE) && Recover() == 0) {
      taken = snd_pcm_writei(pcm_, frames, count);
    }
    if (taken == -EAGAIN) return 0;
    return std::max<std::int64_t>(taken, -1);
  }

  std::int64_t Queued() override {
    const QuietAlsa quiet;
    const snd_pcm_sframes_t room = snd_pcm_avail(pcm_);
    if (room == -EPIPE || room == -ESTRPIPE) return Recover();
    return room < 0 ? -1 : std::max<std::int64_t>(static_cast<std::int64_t>(bufferFrames_) - room, 0);
  }

  std::int64_t Delay() override {
    const QuietAlsa quiet;
    snd_pcm_sframes_t frames = 0;
    const int error = snd_pcm_delay(pcm_, &frames);
    if (error == -EPIPE || error == -ESTRPIPE) return Recover();
    return error < 0 ? -1 : std::max<std::int64_t>(frames, 0);
  }

  bool Drain() override {
    const QuietAlsa quiet;
    return snd_pcm_drain(pcm_) != -EAGAIN;
  }

 private:
  /// Prepares the device anew after an underrun or a suspension: its buffer is empty then. A device whose
  /// sound server has ended also reports an underrun, but cannot be prepared.
  /// @return 0: prepared
  /// @return -1: the device has failed
  std::int64_t Recover() { return snd_pcm_prepare(pcm_) < 0 ? -1 : 0; }

  snd_pcm_t* pcm_ = nullptr;
  snd_pcm_uframes_t bufferFrames_ = 0;
};

struct OutputName {
  std::mutex lock;
  std::string name = "default";
};

}  // namespace

bool SetOutputName(const char* name) noexcept try {
  auto& output = NeverDestroyed<OutputName>();
  const std::lock_guard lock(output.lock);
  output.name = name != nullptr ? name : "default";
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

MCIERROR OpenOutput(const WAVEFORMATEX& format, std::chrono::seconds buffer,
                    std::unique_ptr<SoundOutput>* output) try {
  std::unique_ptr<AlsaOutput> opened(new (std::nothrow) AlsaOutput);
  if (opened == nullptr) return MCIERR_OUT_OF_MEMORY;
  auto& chosen = NeverDestroyed<OutputName>();
  const std::string name = [&] {
    const std::lock_guard lock(chosen.lock);
    return chosen.name;
  }();
  if (const int error = opened->Open(name, format, buffer); error < 0) {
    return OpeningResult(error, MCIERR_WAVE_OUTPUTSINUSE, MCIERR_OUT_OF_MEMORY,
                         MCIERR_WAVE_OUTPUTSUNSUITABLE);
  }
  *output = std::move(opened);
  return 0;
} catch (const std::bad_alloc&) {
  return MCIERR_OUT_OF_MEMORY;
}

}  // namespace platform::detail
