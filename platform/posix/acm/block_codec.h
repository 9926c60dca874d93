#pragma once
// Codecs that keep their samples in blocks, each of which can be decoded by itself.

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
  /// @return the frames that the first @p bytes of a block hold; 0 when not even its header is there
  virtual std::size_t FramesIn(std::size_t bytes) const = 0;

  /// Decodes @p frames, which @p block holds. Any bytes decode to something.
  virtual void Decode(const BYTE* block, std::size_t frames, std::int16_t* samples) = 0;
  /// Encodes the frames of a whole block.
  virtual void Encode(const std::int16_t* samples, BYTE* block) = 0;
  /// The next block to encode is a stream's first.
  virtual void Restart() {}
};

/// Gives the codec of a format, or null for a format that is not the driver's.
using CodecMaker = std::unique_ptr<BlockCodec> (*)(const WAVEFORMATEX& format);

/// The driver of a block codec: from its format to PCM of the same rate and channels, and the other way. To
/// PCM, every block whose frames have room is taken. From PCM, every whole block is made; with
/// ACM_STREAMCONVERTF_END and without ACM_STREAMCONVERTF_BLOCKALIGN the frames left over make a last one, in
/// which the last frame goes on.
std::shared_ptr<const ConversionDriver> MakeBlockDriver(const DriverCard& card, CodecMaker make);

/// Samples of one channel of interleaved frames.
template <class Sample>
struct ChannelOf {
  Sample* first;
  std::size_t step;
  Sample& operator[](std::size_t frame) const { return first[frame * step]; }
};

}  // namespace platform::detail
