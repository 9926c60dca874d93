// MS ADPCM (format code 2): 4 bits a sample, the error of a prediction from the two samples before.
//
// A block begins with a byte for each channel that picks a pair of coefficients, then for each channel the
// size of one step of error, the second sample and the first. Then come the errors, channel by channel, the
// high half of a byte first. A prediction is the sum of the two products divided by 256, and the published
// text divides: toward zero. To shift instead, as some decoders do, rounds sums below zero down and gives
// other samples.

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

#include "platform/posix/acm/block_codec.h"
#include "platform/posix/acm/builtin_driver.h"
#include "platform/posix/acm/formats.h"

namespace platform::detail {
namespace {

constexpr std::size_t kHeaderBytes = 7;   // of a channel
constexpr std::size_t kHeaderFrames = 2;  // whose samples are in the header
constexpr std::size_t kLeastPairs = 7;    // the published ones come first
constexpr std::size_t kMostPairs = 256;   // as many as a byte can pick from
constexpr int kFixedPoint = 256;
constexpr int kLeastStep = 16;
constexpr int kMostStep = std::numeric_limits<int>::max() / 768;  // no block can overflow a step

constexpr std::array<std::int16_t, 16> kStepChanges = {230, 230, 230, 230, 307, 409, 512, 614,
                                                       768, 614, 512, 409, 307, 230, 230, 230};

struct Pair {
  std::int16_t first;
  std::int16_t second;
};

/// The state of one channel within a block, the same in encoder and decoder.
class Predictor {
 public:
  Predictor(Pair pair, int step, std::int16_t older, std::int16_t newer)
      : pair_(pair), step_(step), newer_(newer), older_(older) {}

  std::int16_t Decode(unsigned bits) {
    const int error = bits < 8 ? static_cast<int>(bits) : static_cast<int>(bits) - 16;
    const std::int64_t sample = Prediction() + std::int64_t{error} * step_;
    older_ = newer_;
    newer_ = static_cast<std::int16_t>(std::clamp<std::int64_t>(sample, -32768, 32767));
    step_ = std::clamp(kStepChanges[bits] * step_ / kFixedPoint, kLeastStep, kMostStep);
    return newer_;
  }

  unsigned Encode(int sample) {
    const std::int64_t error = sample - Prediction();
    const std::int64_t half = error < 0 ? -step_ / 2 : step_ / 2;  // to the nearest step
    const auto bits = static_cast<unsigned>(std::clamp<std::int64_t>((error + half) / step_, -8, 7)) & 15;
    Decode(bits);
    return bits;
  }

  std::int16_t Newest() const { return newer_; }

  std::int64_t Prediction() const {
    return (std::int64_t{newer_} * pair_.first + std::int64_t{older_} * pair_.second) / kFixedPoint;
  }

 private:
  const Pair pair_;
  int step_;
  std::int16_t newer_;
  std::int16_t older_;
};

class MsCodec final : public BlockCodec {
 public:
  MsCodec(const WAVEFORMATEX& format, std::vector<Pair> pairs)
      : channels_(format.nChannels), blockBytes_(format.nBlockAlign), pairs_(std::move(pairs)) {}

  std::size_t BlockBytes() const override { return blockBytes_; }

  std::size_t FramesIn(std::size_t bytes) const override {
    if (bytes < kHeaderBytes * channels_) return 0;
    return kHeaderFrames + (bytes - kHeaderBytes * channels_) * 2 / channels_;
  }

  void Decode(const BYTE* block, std::size_t frames, std::int16_t* samples) override {
    const BYTE* errors = block + kHeaderBytes * channels_;
    for (std::size_t channel = 0; channel < channels_; ++channel) {
      const ChannelOf<std::int16_t> out{samples + channel, channels_};
      out[0] = Load<std::int16_t>(block + Offset(kFirstSample, channel));
      out[1] = Load<std::int16_t>(block + Offset(kSecondSample, channel));
      const std::size_t choice = block[channel] < pairs_.size() ? block[channel] : 0;
      Predictor predictor(pairs_[choice], Load<std::int16_t>(block + Offset(kStep, channel)), out[0], out[1]);
      for (std::size_t frame = kHeaderFrames; frame < frames; ++frame) {
        const std::size_t index = (frame - kHeaderFrames) * channels_ + channel;
        const unsigned byte = errors[index / 2];
        out[frame] = predictor.Decode(index % 2 == 0 ? byte >> 4 : byte & 15);
      }
    }
  }

  void Encode(const std::int16_t* samples, BYTE* block) override {
    const std::size_t frames = FramesIn(blockBytes_);
    BYTE* errors = block + kHeaderBytes * channels_;
    std::fill(errors, block + blockBytes_, BYTE{0});
    for (std::size_t channel = 0; channel < channels_; ++channel) {
      const ChannelOf<const std::int16_t> in{samples + channel, channels_};
      const Start start = BestStart(in, frames);
      block[channel] = static_cast<BYTE>(start.pair);
      Store(block + Offset(kStep, channel), static_cast<std::int16_t>(start.step));
      Store(block + Offset(kSecondSample, channel), in[1]);
      Store(block + Offset(kFirstSample, channel), in[0]);
      Predictor predictor(pairs_[start.pair], start.step, in[0], in[1]);
      for (std::size_t frame = kHeaderFrames; frame < frames; ++frame) {
        const std::size_t index = (frame - kHeaderFrames) * channels_ + channel;
        const unsigned bits = predictor.Encode(in[frame]);
        errors[index / 2] = static_cast<BYTE>(errors[index / 2] | (index % 2 == 0 ? bits << 4 : bits));
      }
    }
  }

 private:
  // The 16-bit fields of the block's header, in their order.
  enum Field : std::size_t { kStep, kSecondSample, kFirstSample };

  struct Start {
    std::size_t pair;
    int step;
  };

  std::size_t Offset(Field field, std::size_t channel) const {
    return channels_ + (field * channels_ + channel) * sizeof(std::int16_t);
  }

  /// Tries every pair on the block and takes the one that comes closest.
  Start BestStart(ChannelOf<const std::int16_t> in, std::size_t frames) const {
    Start best{0, kLeastStep};
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    for (std::size_t pair = 0; pair < pairs_.size(); ++pair) {
      const Start start{pair, FirstStep(pairs_[pair], in, frames)};
      Predictor predictor(pairs_[pair], start.step, in[0], in[1]);
      std::int64_t sum = 0;
      for (std::size_t frame = kHeaderFrames; frame < frames; ++frame) {
        predictor.Encode(in[frame]);
        const std::int64_t miss = in[frame] - predictor.Newest();
        sum += miss * miss;
      }
      if (sum < least) {
        least = sum;
        best = start;
      }
    }
    return best;
  }

  /// A quarter of the mean error over the first frames: half the range of the bits.
  static int FirstStep(Pair pair, ChannelOf<const std::int16_t> in, std::size_t frames) {
    const std::size_t end = std::min<std::size_t>(frames, kHeaderFrames + 4);
    std::int64_t sum = 0;
    for (std::size_t frame = kHeaderFrames; frame < end; ++frame)
      sum += std::abs(in[frame] - Predictor(pair, kLeastStep, in[frame - 2], in[frame - 1]).Prediction());
    const auto count = static_cast<std::int64_t>(end - kHeaderFrames);
    return static_cast<int>(std::clamp<std::int64_t>(sum / count / 4, kLeastStep, 32767));
  }

  const std::size_t channels_;
  const std::size_t blockBytes_;
  const std::vector<Pair> pairs_;
};

/// Further format data: the frames of a block, the number of coefficient pairs, and the pairs.
std::unique_ptr<BlockCodec> MakeCodec(const WAVEFORMATEX& format) {
  constexpr std::size_t kWords = 2;  // before the pairs
  if (format.wFormatTag != WAVE_FORMAT_ADPCM || format.wBitsPerSample != 4) return nullptr;
  if (format.cbSize < kWords * sizeof(WORD)) return nullptr;
  const std::size_t count = ExtraWord(format, 1);
  if (count < kLeastPairs || count > kMostPairs) return nullptr;
  if (format.cbSize < kWords * sizeof(WORD) + count * sizeof(Pair)) return nullptr;
  if (format.nBlockAlign <= kHeaderBytes * format.nChannels) return nullptr;

  std::vector<Pair> pairs(count);
  for (std::size_t i = 0; i < count; ++i) {
    pairs[i].first = static_cast<std::int16_t>(ExtraWord(format, kWords + 2 * i));
    pairs[i].second = static_cast<std::int16_t>(ExtraWord(format, kWords + 2 * i + 1));
  }
  auto codec = std::make_unique<MsCodec>(format, std::move(pairs));
  return ExtraWord(format, 0) == codec->FramesIn(format.nBlockAlign) ? std::move(codec) : nullptr;
}

}  // namespace

std::shared_ptr<const ConversionDriver> MakeMsAdpcmDriver() {
  return MakeBlockDriver({ACMDRIVERDETAILS_SUPPORTF_CODEC, 2, "MS ADPCM", "MS ADPCM",
                          "MS ADPCM of 4 bits a sample, 1 and 2 channels."},
                         MakeCodec);
}

}  // namespace platform::detail
