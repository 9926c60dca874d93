// Streams over a codec of blocks, one block at a time.
#include "platform/posix/acm/block_codec.h"

#include <algorithm>
#include <vector>

#include "platform/pcm/sizes.h"
#include "platform/posix/acm/formats.h"

namespace platform::detail {
namespace {

bool TakesPartialBlock(DWORD flags) {
  return (flags & ACM_STREAMCONVERTF_END) && !(flags & ACM_STREAMCONVERTF_BLOCKALIGN);
}

/// One block at a time, through a buffer of 16-bit samples.
class BlockStream : public ConversionStream {
 public:
  BlockStream(std::unique_ptr<BlockCodec> codec, const WAVEFORMATEX& pcm)
      : codec_(std::move(codec)),
        blockBytes_(codec_->BlockBytes()),
        blockFrames_(codec_->FramesIn(blockBytes_)),
        channels_(pcm.nChannels),
        frameBytes_(pcm.nBlockAlign),
        samples_(blockFrames_ * channels_) {}

 protected:
  bool BytePcm() const { return frameBytes_ == channels_; }
  std::size_t PcmBlockBytes() const { return blockFrames_ * frameBytes_; }

  const std::unique_ptr<BlockCodec> codec_;
  const std::size_t blockBytes_;
  const std::size_t blockFrames_;
  const std::size_t channels_;
  const std::size_t frameBytes_;       // of PCM
  std::vector<std::int16_t> samples_;  // one block of them
};

class Decoder final : public BlockStream {
 public:
  using BlockStream::BlockStream;

  MMRESULT OutputSize(DWORD sourceBytes, DWORD& outputBytes) override {
    return ComputeSize(DivideUp(sourceBytes, blockBytes_), PcmBlockBytes(), outputBytes);
  }
  MMRESULT SourceSize(DWORD outputBytes, DWORD& sourceBytes) override {
    return ComputeSize(outputBytes / PcmBlockBytes(), blockBytes_, sourceBytes);
  }

  MMRESULT Convert(ACMSTREAMHEADER& header, DWORD flags) override {
    std::size_t taken = 0;
    std::size_t made = 0;
    while (taken < header.cbSrcLength) {
      const std::size_t bytes = std::min<std::size_t>(header.cbSrcLength - taken, blockBytes_);
      const std::size_t frames = codec_->FramesIn(bytes);
      if (bytes < blockBytes_ && !TakesPartialBlock(flags)) break;
      if (frames == 0 || frames * frameBytes_ > header.cbDstLength - made) break;
      codec_->Decode(header.pbSrc + taken, frames, samples_.data());
      StoreSamples(header.pbDst + made, frames * channels_);
      taken += bytes;
      made += frames * frameBytes_;
    }
    header.cbSrcLengthUsed = static_cast<DWORD>(taken);
    header.cbDstLengthUsed = static_cast<DWORD>(made);
    return MMSYSERR_NOERROR;
  }

 private:
  void StoreSamples(BYTE* to, std::size_t count) const {
    if (!BytePcm()) {
      std::memcpy(to, samples_.data(), count * sizeof samples_[0]);
      return;
    }
    for (std::size_t i = 0; i < count; ++i) StorePcm<std::uint8_t>(to + i, samples_[i]);
  }
};

class Encoder final : public BlockStream {
 public:
  using BlockStream::BlockStream;

  MMRESULT OutputSize(DWORD sourceBytes, DWORD& outputBytes) override {
    return ComputeSize(DivideUp(sourceBytes, PcmBlockBytes()), blockBytes_, outputBytes);
  }
  MMRESULT SourceSize(DWORD outputBytes, DWORD& sourceBytes) override {
    return ComputeSize(outputBytes / blockBytes_, PcmBlockBytes(), sourceBytes);
  }

  MMRESULT Convert(ACMSTREAMHEADER& header, DWORD flags) override {
    if (flags & ACM_STREAMCONVERTF_START) codec_->Restart();
    std::size_t taken = 0;
    std::size_t made = 0;
    while (header.cbDstLength - made >= blockBytes_) {
      const std::size_t frames = std::min((header.cbSrcLength - taken) / frameBytes_, blockFrames_);
      if (frames == 0 || (frames < blockFrames_ && !TakesPartialBlock(flags))) break;
      LoadSamples(header.pbSrc + taken, frames);
      codec_->Encode(samples_.data(), header.pbDst + made);
      taken += frames * frameBytes_;
      made += blockBytes_;
    }
    header.cbSrcLengthUsed = static_cast<DWORD>(taken);
    header.cbDstLengthUsed = static_cast<DWORD>(made);
    return MMSYSERR_NOERROR;
  }

 private:
  void LoadSamples(const BYTE* from, std::size_t frames) {
    const std::size_t count = frames * channels_;
    if (BytePcm()) {
      for (std::size_t i = 0; i < count; ++i) samples_[i] = LoadPcm<std::uint8_t>(from + i);
    } else {
      std::memcpy(samples_.data(), from, count * sizeof samples_[0]);
    }
    for (std::size_t i = count; i < samples_.size(); ++i) samples_[i] = samples_[i - channels_];
  }
};

class BlockDriver final : public BuiltInDriver {
 public:
  BlockDriver(const DriverInfo& info, CodecMaker make) : BuiltInDriver(info), make_(make) {}

  MMRESULT Open(const WAVEFORMATEX& source, const WAVEFORMATEX& destination,
                std::unique_ptr<ConversionStream>& stream) const override {
    const bool decodes = IsPcm(destination);
    const WAVEFORMATEX& pcm = decodes ? destination : source;
    if (!IsPcm(pcm) || !SameRateAndChannels(source, destination)) return ACMERR_NOTPOSSIBLE;
    auto codec = make_(decodes ? source : destination);
    if (!codec) return ACMERR_NOTPOSSIBLE;
    if (decodes) {
      stream = std::make_unique<Decoder>(std::move(codec), pcm);
    } else {
      stream = std::make_unique<Encoder>(std::move(codec), pcm);
    }
    return MMSYSERR_NOERROR;
  }

 private:
  const CodecMaker make_;
};

}  // namespace

std::shared_ptr<const ConversionDriver> MakeBlockDriver(const DriverInfo& info, CodecMaker make) {
  return std::make_shared<BlockDriver>(info, make);
}

}  // namespace platform::detail
