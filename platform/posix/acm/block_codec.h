#pragma once
// Codecs whose samples are in blocks, each of which can be decoded by itself.

#include <memory>

#include "platform/posix/acm/builtin_driver.h"

namespace platform::detail {

/// Blocks of one format. Samples are of 16 bits, interleaved.
class BlockCodec {
 public:
  BlockCodec() = default;
  BlockCodec(const BlockCodec&) = delete;
  BlockCodec& operator=(const BlockCodec&) = delete;
  virtual ~BlockCodec() = default;

  virtual std::size_t BlockBytes() const = 0;
  /// @return the frames in the first @p bytes of a block; 0 when these end within its header
  virtual std::size_t FramesIn(std::size_t bytes) const = 0;

  /// Decodes @p frames, no more than the block has. Any bytes may be decoded; it cannot fail.
  virtual void Decode(const BYTE* block, std::size_t frames, std::int16_t* samples) = 0;
  /// Encodes a whole block. The codec keeps its state for the next one.
  virtual void Encode(const std::int16_t* samples, BYTE* block) = 0;
  /// Resets the state: the next block to encode is a stream's first.
  virtual void Restart() {}
};

/// Makes the codec of a format. Null: the format is not the driver's.
using CodecMaker = std::unique_ptr<BlockCodec> (*)(const WAVEFORMATEX& format);

/// The driver of a block codec: from its format to PCM of the same rate and channels, and the other way. To
/// PCM, every block is decoded for whose frames there is room. From PCM, every whole block is encoded. With
/// ACM_STREAMCONVERTF_END and without ACM_STREAMCONVERTF_BLOCKALIGN the remaining frames are encoded as a
/// last block, filled up with the last frame.
std::shared_ptr<const ConversionDriver> MakeBlockDriver(const DriverInfo& info, CodecMaker make);

/// Samples of one channel of interleaved frames.
template <class Sample>
struct ChannelOf {
  Sample* first;
  std::size_t step;
  Sample& operator[](std::size_t frame) const { return first[frame * step]; }
};

}  // namespace platform::detail
