#include "platform/pcm/pcm_converter.h"

#include <algorithm>
#include <numeric>

#include "platform/pcm/samples.h"
#include "platform/pcm/sizes.h"

namespace platform::detail {

std::unique_ptr<PcmConverter> PcmConverter::Open(const WAVEFORMATEX& source,
                                                 const WAVEFORMATEX& destination) {
  const auto from = ReadPcmSource(source);
  if (!from) return nullptr;
  const auto to = ReadPcmTarget(destination, *from);
  return to ? std::make_unique<PcmConverter>(*from, *to) : nullptr;
}

PcmConverter::PcmConverter(const PcmSource& source, const PcmTarget& target)
    : sourceFrameBytes_(source.frameBytes),
      sampleBytes_(target.sampleBytes),
      frameBytes_(target.channels * target.sampleBytes),
      sourceStep_(source.rate / std::gcd(source.rate, target.rate)),
      outputStep_(target.rate / std::gcd(source.rate, target.rate)),
      frames_(MakeFrameConverter(source, target)) {
  Restart();
}

MMRESULT PcmConverter::OutputSize(DWORD sourceBytes, DWORD& outputBytes) const {
  const std::uint64_t frames = DivideUp(sourceBytes, sourceFrameBytes_);
  return ComputeSize(DivideUp(frames * outputStep_, sourceStep_), frameBytes_, outputBytes);
}

MMRESULT PcmConverter::SourceSize(DWORD outputBytes, DWORD& sourceBytes) const {
  const std::uint64_t frames = outputBytes / frameBytes_;
  return ComputeSize(frames * sourceStep_ / outputStep_, sourceFrameBytes_, sourceBytes);
}

/// The first output is at the first frame, where the frame before it has no weight.
void PcmConverter::Restart() {
  phase_ = outputStep_;
}

PcmConverter::Counts PcmConverter::Convert(const BYTE* from, std::size_t sourceBytes, BYTE* to,
                                           std::size_t room) {
  const std::size_t frames = sourceBytes / sourceFrameBytes_;
  Counts counts{};
  if (sourceStep_ == outputStep_) {
    counts.taken = counts.made = std::min(frames, room / frameBytes_);
    frames_->Convert(from, counts.taken, to);
  } else if (sampleBytes_ == 1) {
    counts = Resample<std::uint8_t>(from, frames, to, room / frameBytes_);
  } else {
    counts = Resample<std::int16_t>(from, frames, to, room / frameBytes_);
  }
  return {counts.taken * sourceFrameBytes_, counts.made * frameBytes_};
}

template <class Sample>
PcmConverter::Counts PcmConverter::Resample(const BYTE* from, std::size_t frames, BYTE* to,
                                            std::size_t room) {
  Counts counts{};
  bool full = false;
  while (counts.taken < frames && !full) {
    const std::size_t count = std::min(frames - counts.taken, kBlockFrames);
    frames_->Convert(from + counts.taken * sourceFrameBytes_, count, block_.data() + frameBytes_);
    const std::size_t taken = MakeOutputs<Sample>(count, to, room, counts.made);
    std::copy_n(block_.data() + taken * frameBytes_, frameBytes_, block_.data());
    counts.taken += taken;
    full = taken < count;
  }
  return counts;
}

template <class Sample>
std::size_t PcmConverter::MakeOutputs(std::size_t count, BYTE* to, std::size_t room, std::size_t& made) {
  for (std::size_t i = 0; i < count; ++i) {
    const BYTE* const before = block_.data() + i * frameBytes_;
    for (; phase_ <= outputStep_; phase_ += sourceStep_) {
      if (made == room) return i;
      StoreBetween<Sample>(before, before + frameBytes_, to + made++ * frameBytes_);
    }
    phase_ -= outputStep_;
  }
  return count;
}

template <class Sample>
void PcmConverter::StoreBetween(const BYTE* before, const BYTE* after, BYTE* to) const {
  constexpr std::int64_t kBias = 0x8000;  // samples become positive: the division rounds one way
  for (std::size_t at = 0; at < frameBytes_; at += sizeof(Sample)) {
    const auto first = static_cast<std::uint64_t>(Load<Sample>(before + at) + kBias);
    const auto last = static_cast<std::uint64_t>(Load<Sample>(after + at) + kBias);
    const std::uint64_t sum = first * (outputStep_ - phase_) + last * phase_;
    Store(to + at,
          static_cast<Sample>(static_cast<std::int64_t>((sum + outputStep_ / 2) / outputStep_) - kBias));
  }
}

}  // namespace platform::detail
