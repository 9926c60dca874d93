// Two ways to convert a frame, as pcm_converter.h says: the integers of mono and stereo of up to 16 bits, and
// numbers of double precision for every other source.
#include "platform/pcm/pcm_frames.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "platform/pcm/g711_laws.h"
#include "platform/pcm/pcm_mix.h"
#include "platform/pcm/samples.h"

namespace platform::detail {
namespace {

constexpr std::size_t kBlockFrames = 256;

// Mono and stereo of 8 and 16 bits.

template <class SampleType, int kChannelCount>
struct Layout {
  using Sample = SampleType;
  static constexpr int kChannels = kChannelCount;
  static constexpr std::size_t kFrameBytes = sizeof(Sample) * kChannels;
};

template <class Source, class Target>
void ConvertFrame(const BYTE* from, BYTE* to) {
  using From = typename Source::Sample;
  using To = typename Target::Sample;
  int first = Load<From>(from);
  int last = Source::kChannels == 2 ? Load<From>(from + sizeof(From) * (Source::kChannels - 1)) : first;
  if constexpr (Target::kChannels < Source::kChannels) first = last = (first + last) >> 1;
  Store(to, static_cast<To>(Resize<To, From>(first)));
  if constexpr (Target::kChannels == 2) Store(to + sizeof(To), static_cast<To>(Resize<To, From>(last)));
}

template <class Source, class Target>
void ConvertFrames(const BYTE* from, std::size_t frames, BYTE* to) {
  if constexpr (std::is_same_v<Source, Target>) {
    std::memcpy(to, from, frames * Source::kFrameBytes);
  } else {
    for (std::size_t i = 0; i < frames; ++i)
      ConvertFrame<Source, Target>(from + i * Source::kFrameBytes, to + i * Target::kFrameBytes);
  }
}

/// Calls @p use with the layout of @p channels, 1 or 2, of @p sampleBytes.
template <class Use>
auto WithLayout(std::size_t sampleBytes, std::size_t channels, Use use) {
  if (sampleBytes == 1)
    return channels == 1 ? use(Layout<std::uint8_t, 1>{}) : use(Layout<std::uint8_t, 2>{});
  return channels == 1 ? use(Layout<std::int16_t, 1>{}) : use(Layout<std::int16_t, 2>{});
}

using ConvertFunction = void (*)(const BYTE* from, std::size_t frames, BYTE* to);

ConvertFunction FindConvertFunction(std::size_t sampleBytes, std::size_t channels, const PcmTarget& target) {
  return WithLayout(sampleBytes, channels, [&](auto from) {
    return WithLayout(target.sampleBytes, target.channels,
                      [](auto to) -> ConvertFunction { return ConvertFrames<decltype(from), decltype(to)>; });
  });
}

class IntegerFrames final : public FrameConverter {
 public:
  explicit IntegerFrames(ConvertFunction convert) : convert_(convert) {}
  void Convert(const BYTE* from, std::size_t frames, BYTE* to) override { convert_(from, frames, to); }

 private:
  const ConvertFunction convert_;
};

template <class Law>
constexpr G711Values kLawValues = MakeG711Values<Law>();

/// One or two channels of a law: their samples of 16 bits, and these as above.
class LawFrames final : public FrameConverter {
 public:
  LawFrames(const G711Values& values, std::size_t channels, const PcmTarget& target)
      : values_(values),
        channels_(channels),
        targetBytes_(target.sampleBytes * target.channels),
        convert_(FindConvertFunction(sizeof(std::int16_t), channels, target)) {}

  void Convert(const BYTE* from, std::size_t frames, BYTE* to) override {
    std::array<std::int16_t, kBlockFrames * 2> samples;
    while (frames > 0) {
      const std::size_t count = std::min(frames, kBlockFrames);
      for (std::size_t i = 0; i < count * channels_; ++i) samples[i] = values_[*from++];
      convert_(reinterpret_cast<const BYTE*>(samples.data()), count, to);
      to += count * targetBytes_;
      frames -= count;
    }
  }

 private:
  const G711Values& values_;
  const std::size_t channels_;
  const std::size_t targetBytes_;
  const ConvertFunction convert_;
};

// Every other source. Full scale is 1.

constexpr double kFull16 = 0x1p15;

double Number(std::uint8_t sample) {
  return (sample - 128) / 0x1p7;
}
double Number(std::int16_t sample) {
  return sample / kFull16;
}
double Number(std::int32_t sample) {
  return sample / 0x1p31;
}
/// NaN is silence. What is far beyond full scale is kept from becoming infinite, as the sum of two infinities
/// would be no number; it is clipped all the same.
double Number(double sample) {
  constexpr double kMost = 0x1p100;
  return std::isnan(sample) ? 0 : std::clamp(sample, -kMost, kMost);
}

template <class Sample>
void LoadNumbers(const BYTE* from, std::size_t count, double* to) {
  for (std::size_t i = 0; i < count; ++i) to[i] = Number(Load<Sample>(from + i * sizeof(Sample)));
}

/// Samples of 24 bits become the upper ones of 32.
void LoadNumbers24(const BYTE* from, std::size_t count, double* to) {
  for (std::size_t i = 0; i < count; ++i, from += 3) {
    const std::uint32_t bits =
        std::uint32_t{from[0]} << 8 | std::uint32_t{from[1]} << 16 | std::uint32_t{from[2]} << 24;
    to[i] = Number(static_cast<std::int32_t>(bits));
  }
}

template <class Law>
void LoadLawNumbers(const BYTE* from, std::size_t count, double* to) {
  for (std::size_t i = 0; i < count; ++i) to[i] = Number(kLawValues<Law>[from[i]]);
}

using LoadFunction = void (*)(const BYTE* from, std::size_t count, double* to);

LoadFunction FindLoadFunction(SampleKind kind) {
  switch (kind) {
    case SampleKind::kPcm8:
      return LoadNumbers<std::uint8_t>;
    case SampleKind::kPcm16:
      return LoadNumbers<std::int16_t>;
    case SampleKind::kPcm24:
      return LoadNumbers24;
    case SampleKind::kPcm32:
      return LoadNumbers<std::int32_t>;
    case SampleKind::kFloat:
      return LoadNumbers<float>;
    case SampleKind::kDouble:
      return LoadNumbers<double>;
    case SampleKind::kALaw:
      return LoadLawNumbers<ALaw>;
    case SampleKind::kMuLaw:
      return LoadLawNumbers<MuLaw>;
  }
  return nullptr;
}

/// Rounds to the nearest value, ties to even: numbers of this size have no bits below 1.
double Round(double value) {
  constexpr double kLarge = 0x1.8p52;
  return (value + kLarge) - kLarge;
}

template <class Sample>
void StoreNumbers(const double* from, std::size_t count, BYTE* to) {
  constexpr bool kByte = sizeof(Sample) == 1;
  constexpr double kFull = kByte ? 0x1p7 : kFull16;
  constexpr int kSilence = kByte ? 128 : 0;
  for (std::size_t i = 0; i < count; ++i) {
    const double value = Round(std::clamp(from[i] * kFull, -kFull, kFull - 1));
    Store(to + i * sizeof(Sample), static_cast<Sample>(static_cast<int>(value) + kSilence));
  }
}

class NumberFrames final : public FrameConverter {
 public:
  NumberFrames(const PcmSource& source, const PcmTarget& target)
      : source_(source),
        target_(target),
        load_(FindLoadFunction(source.kind)),
        store_(target.sampleBytes == 1 ? StoreNumbers<std::uint8_t> : StoreNumbers<std::int16_t>),
        mixes_(source.channels != target.channels),
        parts_(mixes_ ? MakeMixParts(source, target.channels) : MixParts{}) {}

  void Convert(const BYTE* from, std::size_t frames, BYTE* to) override {
    while (frames > 0) {
      const std::size_t count = std::min(frames, kBlockFrames);
      load_(from, count * source_.channels, loaded_.data());
      if (mixes_) Mix(count);
      store_(mixes_ ? mixed_.data() : loaded_.data(), count * target_.channels, to);
      from += count * source_.frameBytes;
      to += count * target_.channels * target_.sampleBytes;
      frames -= count;
    }
  }

 private:
  void Mix(std::size_t frames) {
    const double* frame = loaded_.data();
    double* out = mixed_.data();
    for (std::size_t i = 0; i < frames; ++i, frame += source_.channels) {
      for (std::size_t channel = 0; channel < target_.channels; ++channel) {
        double sum = 0;
        for (std::size_t k = 0; k < source_.channels; ++k) sum += frame[k] * parts_[channel][k];
        *out++ = sum;
      }
    }
  }

  const PcmSource source_;
  const PcmTarget target_;
  const LoadFunction load_;
  void (*const store_)(const double* from, std::size_t count, BYTE* to);
  const bool mixes_;
  const MixParts parts_;
  std::array<double, kBlockFrames * kMostPcmChannels> loaded_;
  std::array<double, kBlockFrames * 2> mixed_;
};

}  // namespace

std::unique_ptr<FrameConverter> MakeFrameConverter(const PcmSource& source, const PcmTarget& target) {
  if (source.channels <= 2) {
    switch (source.kind) {
      case SampleKind::kPcm8:
      case SampleKind::kPcm16: {
        const std::size_t sampleBytes = source.frameBytes / source.channels;
        return std::make_unique<IntegerFrames>(FindConvertFunction(sampleBytes, source.channels, target));
      }
      case SampleKind::kALaw:
        return std::make_unique<LawFrames>(kLawValues<ALaw>, source.channels, target);
      case SampleKind::kMuLaw:
        return std::make_unique<LawFrames>(kLawValues<MuLaw>, source.channels, target);
      default:
        break;
    }
  }
  return std::make_unique<NumberFrames>(source, target);
}

}  // namespace platform::detail
