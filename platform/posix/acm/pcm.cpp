// PCM to PCM: 8 and 16 bits, 1 and 2 channels, any rates.
//
// A frame is first brought to the channels and bits of the destination: two channels to one are their mean,
// rounded down; one to two a copy; 8 and 16 bits as in formats.h. Then comes the rate. Output n is at the
// source position n * sourceRate / outputRate, counted from the stream's first frame, and is the straight
// line between the frames on both sides of it, rounded to the nearest value, halves up. Positions and lines
// are exact integers, so output does not depend on how the source is cut into calls. The outputs between the
// last frame of a call and the frame after it come with the next call.

#include <array>
#include <numeric>

#include "platform/posix/acm/builtin_driver.h"
#include "platform/posix/acm/formats.h"
#include "platform/posix/acm/sizes.h"

namespace platform::detail {
namespace {

template <class SampleType, int kChannelCount>
struct Layout {
  using Sample = SampleType;
  static constexpr int kChannels = kChannelCount;
  static constexpr std::size_t kFrameBytes = sizeof(Sample) * kChannels;
};

template <class Target>
using Frame = std::array<int, Target::kChannels>;

/// Loads a frame and converts it to the target's channels and bits.
template <class Source, class Target>
Frame<Target> ConvertFrame(const BYTE* frame) {
  using Sample = typename Source::Sample;
  int first = Load<Sample>(frame);
  int last = Source::kChannels == 2 ? Load<Sample>(frame + sizeof(Sample) * (Source::kChannels - 1)) : first;
  if constexpr (Target::kChannels < Source::kChannels) first = last = (first + last) >> 1;
  Frame<Target> out;
  out.front() = Resize<typename Target::Sample, Sample>(first);
  if constexpr (Target::kChannels == 2) out.back() = Resize<typename Target::Sample, Sample>(last);
  return out;
}

template <class Target>
void StoreFrame(BYTE* to, const Frame<Target>& frame) {
  using Sample = typename Target::Sample;
  for (std::size_t channel = 0; channel < frame.size(); ++channel)
    Store(to + channel * sizeof(Sample), static_cast<Sample>(frame[channel]));
}

template <class Source, class Target>
class PcmStream final : public ConversionStream {
 public:
  PcmStream(DWORD sourceRate, DWORD outputRate)
      : sourceStep_(sourceRate / std::gcd(sourceRate, outputRate)),
        outputStep_(outputRate / std::gcd(sourceRate, outputRate)) {
    Restart();
  }

  MMRESULT OutputSize(DWORD sourceBytes, DWORD& outputBytes) override {
    const std::uint64_t frames = DivideUp(sourceBytes, Source::kFrameBytes);
    return ComputeSize(DivideUp(frames * outputStep_, sourceStep_), Target::kFrameBytes, outputBytes);
  }

  MMRESULT SourceSize(DWORD outputBytes, DWORD& sourceBytes) override {
    const std::uint64_t frames = outputBytes / Target::kFrameBytes;
    return ComputeSize(frames * sourceStep_ / outputStep_, Source::kFrameBytes, sourceBytes);
  }

  MMRESULT Convert(ACMSTREAMHEADER& header, DWORD flags) override {
    if (flags & ACM_STREAMCONVERTF_START) Restart();
    const std::size_t frames = header.cbSrcLength / Source::kFrameBytes;
    const std::size_t room = header.cbDstLength / Target::kFrameBytes;
    const Counts counts = sourceStep_ == outputStep_ ? Copy(header.pbSrc, frames, header.pbDst, room)
                                                     : Resample(header.pbSrc, frames, header.pbDst, room);
    header.cbSrcLengthUsed = static_cast<DWORD>(counts.taken * Source::kFrameBytes);
    header.cbDstLengthUsed = static_cast<DWORD>(counts.made * Target::kFrameBytes);
    return MMSYSERR_NOERROR;
  }

 private:
  struct Counts {
    std::size_t taken;
    std::size_t made;
  };

  /// The first output is at the first frame, where the frame before it has no weight.
  void Restart() {
    last_ = {};
    phase_ = outputStep_;
  }

  static Counts Copy(const BYTE* from, std::size_t frames, BYTE* to, std::size_t room) {
    const std::size_t count = frames < room ? frames : room;
    if constexpr (std::is_same_v<Source, Target>) {
      std::memcpy(to, from, count * Source::kFrameBytes);
    } else {
      for (std::size_t i = 0; i < count; ++i) {
        StoreFrame<Target>(to + i * Target::kFrameBytes,
                           ConvertFrame<Source, Target>(from + i * Source::kFrameBytes));
      }
    }
    return {count, count};
  }

  /// A frame counts as taken once all outputs up to it are made; phase_ has the position of the next output.
  Counts Resample(const BYTE* from, std::size_t frames, BYTE* to, std::size_t room) {
    Counts counts{0, 0};
    for (; counts.taken < frames; ++counts.taken) {
      const auto next = ConvertFrame<Source, Target>(from + counts.taken * Source::kFrameBytes);
      for (; phase_ <= outputStep_; phase_ += sourceStep_) {
        if (counts.made == room) return counts;
        StoreFrame<Target>(to + counts.made++ * Target::kFrameBytes, Interpolate(next));
      }
      phase_ -= outputStep_;
      last_ = next;
    }
    return counts;
  }

  Frame<Target> Interpolate(const Frame<Target>& next) const {
    constexpr std::int64_t kBias = 0x8000;  // samples become positive: the division rounds one way
    Frame<Target> out;
    for (std::size_t channel = 0; channel < out.size(); ++channel) {
      const auto before = static_cast<std::uint64_t>(last_[channel] + kBias);
      const auto after = static_cast<std::uint64_t>(next[channel] + kBias);
      const std::uint64_t sum = before * (outputStep_ - phase_) + after * phase_;
      out[channel] =
          static_cast<int>(static_cast<std::int64_t>((sum + outputStep_ / 2) / outputStep_) - kBias);
    }
    return out;
  }

  const std::uint64_t sourceStep_;  // from one output to the next, in parts of a frame
  const std::uint64_t outputStep_;  // the parts of one frame
  std::uint64_t phase_ = 0;         // from last_ to the next output
  Frame<Target> last_{};
};

/// Calls @p use with the layout of a PCM format.
template <class Use>
auto WithLayout(const WAVEFORMATEX& format, Use use) {
  if (format.wBitsPerSample == 8)
    return format.nChannels == 1 ? use(Layout<std::uint8_t, 1>{}) : use(Layout<std::uint8_t, 2>{});
  return format.nChannels == 1 ? use(Layout<std::int16_t, 1>{}) : use(Layout<std::int16_t, 2>{});
}

class PcmDriver final : public BuiltInDriver {
 public:
  PcmDriver()
      : BuiltInDriver({ACMDRIVERDETAILS_SUPPORTF_CONVERTER, 1, "PCM", "PCM converter",
                       "Sample rate, channels and bits of PCM audio."}) {}

  MMRESULT Open(const WAVEFORMATEX& source, const WAVEFORMATEX& destination,
                std::unique_ptr<ConversionStream>& stream) const override {
    if (!IsPcm(source) || !IsPcm(destination)) return ACMERR_NOTPOSSIBLE;
    stream = WithLayout(source, [&](auto from) {
      return WithLayout(destination, [&](auto to) -> std::unique_ptr<ConversionStream> {
        return std::make_unique<PcmStream<decltype(from), decltype(to)>>(source.nSamplesPerSec,
                                                                         destination.nSamplesPerSec);
      });
    });
    return MMSYSERR_NOERROR;
  }
};

}  // namespace

std::shared_ptr<const ConversionDriver> MakePcmDriver() {
  return std::make_shared<PcmDriver>();
}

}  // namespace platform::detail
