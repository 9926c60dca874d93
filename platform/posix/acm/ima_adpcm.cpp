// IMA ADPCM as WAV files carry it (format code 0x11): 4 bits a sample, the difference to the sample before in
// parts of a step that grows and shrinks with the differences.
//
// A block begins with four bytes for each channel: its first sample, the index of its step, and 0. Then come,
// in turn for each channel, four bytes with eight samples, the low half of a byte first.
// A difference is the sum of truncated parts of the step, as the published algorithm has it; to take
// (2 * bits + 1) * step / 8 at once, as some decoders do, gives other samples.

#include <algorithm>
#include <array>

#include "platform/posix/acm/block_codec.h"
#include "platform/posix/acm/builtin_driver.h"
#include "platform/posix/acm/formats.h"

namespace platform::detail {
namespace {

constexpr std::size_t kHeaderBytes = 4;  // of a channel
constexpr std::size_t kGroupBytes = 4;   // of a channel
constexpr std::size_t kGroupFrames = 8;
constexpr int kLastIndex = 88;

constexpr std::array<std::int16_t, kLastIndex + 1> kSteps = {
    7,    8,     9,     10,    11,    12,    13,    14,    16,    17,    19,    21,    23,    25,   28,
    31,   34,    37,    41,    45,    50,    55,    60,    66,    73,    80,    88,    97,    107,  118,
    130,  143,   157,   173,   190,   209,   230,   253,   279,   307,   337,   371,   408,   449,  494,
    544,  598,   658,   724,   796,   876,   963,   1060,  1166,  1282,  1411,  1552,  1707,  1878, 2066,
    2272, 2499,  2749,  3024,  3327,  3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845, 8630,
    9493, 10442, 11487, 12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};
constexpr std::array<std::int8_t, 8> kIndexChanges = {-1, -1, -1, -1, 2, 4, 6, 8};

/// The state of one channel within a block, the same in encoder and decoder.
class Predictor {
 public:
  Predictor() = default;
  Predictor(int sample, int index) : sample_(sample), index_(index) {}

  int Index() const { return index_; }

  std::int16_t Decode(unsigned bits) {
    const int step = kSteps[static_cast<std::size_t>(index_)];
    int difference = step >> 3;
    if (bits & 4) difference += step;
    if (bits & 2) difference += step >> 1;
    if (bits & 1) difference += step >> 2;
    sample_ = std::clamp(bits & 8 ? sample_ - difference : sample_ + difference, -32768, 32767);
    index_ = std::clamp(index_ + kIndexChanges[bits & 7], 0, kLastIndex);
    return static_cast<std::int16_t>(sample_);
  }

  unsigned Encode(int sample) {
    const int step = kSteps[static_cast<std::size_t>(index_)];
    unsigned bits = sample < sample_ ? 8 : 0;
    int remainder = std::abs(sample - sample_);
    for (int part = 0; part < 3; ++part) {
      if (remainder < step >> part) continue;
      remainder -= step >> part;
      bits |= 4u >> part;
    }
    Decode(bits);
    return bits;
  }

 private:
  int sample_ = 0;
  int index_ = 0;
};

class ImaCodec final : public BlockCodec {
 public:
  ImaCodec(std::size_t channels, std::size_t blockBytes) : channels_(channels), blockBytes_(blockBytes) {}

  std::size_t BlockBytes() const override { return blockBytes_; }

  std::size_t FramesIn(std::size_t bytes) const override {
    if (bytes < kHeaderBytes * channels_) return 0;
    return 1 + (bytes - kHeaderBytes * channels_) / (kGroupBytes * channels_) * kGroupFrames;
  }

  void Decode(const BYTE* block, std::size_t frames, std::int16_t* samples) override {
    for (std::size_t channel = 0; channel < channels_; ++channel) {
      const BYTE* header = block + channel * kHeaderBytes;
      const ChannelOf<std::int16_t> out{samples + channel, channels_};
      out[0] = Load<std::int16_t>(header);
      Predictor predictor(out[0], std::min<int>(header[2], kLastIndex));
      for (std::size_t frame = 1; frame < frames; ++frame) {
        const unsigned byte = block[Offset(channel, frame)];
        out[frame] = predictor.Decode(frame % 2 == 1 ? byte & 15 : byte >> 4);
      }
    }
  }

  void Encode(const std::int16_t* samples, BYTE* block) override {
    const std::size_t frames = FramesIn(blockBytes_);
    for (std::size_t channel = 0; channel < channels_; ++channel) {
      BYTE* header = block + channel * kHeaderBytes;
      const ChannelOf<const std::int16_t> in{samples + channel, channels_};
      Predictor predictor(in[0], indices_[channel]);
      Store(header, in[0]);
      header[2] = static_cast<BYTE>(indices_[channel]);
      header[3] = 0;
      for (std::size_t frame = 1; frame < frames; frame += 2) {
        const unsigned low = predictor.Encode(in[frame]);
        block[Offset(channel, frame)] = static_cast<BYTE>(low | predictor.Encode(in[frame + 1]) << 4);
      }
      indices_[channel] = predictor.Index();
    }
  }

  void Restart() override { indices_ = {}; }

 private:
  /// @return the offset of a frame's byte in the block
  std::size_t Offset(std::size_t channel, std::size_t frame) const {
    const std::size_t group = (frame - 1) / kGroupFrames;
    return kHeaderBytes * channels_ + (group * channels_ + channel) * kGroupBytes +
           (frame - 1) % kGroupFrames / 2;
  }

  const std::size_t channels_;
  const std::size_t blockBytes_;
  std::array<int, kMostChannels> indices_{};  // a block's first step is the last of the block before
};

/// Further format data: the frames of a block.
std::unique_ptr<BlockCodec> MakeCodec(const WAVEFORMATEX& format) {
  if (format.wFormatTag != WAVE_FORMAT_DVI_ADPCM || format.wBitsPerSample != 4) return nullptr;
  if (format.cbSize < sizeof(WORD)) return nullptr;
  const std::size_t headers = kHeaderBytes * format.nChannels;
  const std::size_t groups = kGroupBytes * format.nChannels;
  if (format.nBlockAlign < headers + groups || (format.nBlockAlign - headers) % groups != 0) return nullptr;
  auto codec = std::make_unique<ImaCodec>(format.nChannels, format.nBlockAlign);
  return ExtraWord(format, 0) == codec->FramesIn(format.nBlockAlign) ? std::move(codec) : nullptr;
}

}  // namespace

std::shared_ptr<const ConversionDriver> MakeImaAdpcmDriver() {
  return MakeBlockDriver({ACMDRIVERDETAILS_SUPPORTF_CODEC, 2, "IMA ADPCM", "IMA ADPCM",
                          "IMA ADPCM of 4 bits a sample, 1 and 2 channels."},
                         MakeCodec);
}

}  // namespace platform::detail
