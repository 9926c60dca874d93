#pragma once

#include <cstdint>

#include "resample/Map.h"

namespace resample {

/// One call: the arguments of the exported filters (resample/AudioLinearFilter.h).
template <class Sample>
struct Block {
  const Sample* src;         ///< first sample
  std::uint32_t srcFrames;   ///< frames in the block
  std::uint32_t srcRate;     ///< in Hz
  Sample* dst;               ///< receives the output
  std::uint32_t* outFrames;  ///< receives the number of frames written
  std::uint32_t dstRate;     ///< in Hz
  std::uint32_t maxOut;      ///< output limit in frames; 0: none
  bool first;                ///< the block begins a new stream
  std::uint32_t channels;    ///< samples in a frame
};

/// One stream through a linear resampler, Sample being std::int16_t or std::uint8_t.
/// Streams are independent of each other; one stream serves one thread at a time. Allocates nothing.
template <class Sample>
class LinearStream {
 public:
  /// The carried frame is four bytes whatever the channel count.
  static constexpr std::uint32_t kMaxChannels = 4 / sizeof(Sample);

  /// A stream without a first block. All its fields are 0, so that every output is 0 at first.
  constexpr LinearStream() = default;

  /// Filters one block.
  /// @param block the arguments of a call
  /// @param map   how most of the outputs are made
  /// @return as the exported filters
  std::uint8_t Process(const Block<Sample>& block, Map map = BestMap());

 private:
  template <std::uint32_t kChannels>
  void Run(const Block<Sample>& block, Map map);
  template <std::uint32_t kChannels>
  std::uint64_t MapBlock(const Block<Sample>& block, Map map, Sample* out, std::uint32_t& taken,
                         std::uint64_t room);
  bool CanMap(const Block<Sample>& block) const;

  Sample prev_[kMaxChannels] = {};  ///< lower end of the interval in which the next output lies
  std::uint32_t phase_ = 0;  ///< of the next output, in 1/dstRate of that interval; dstRate is its upper end
  std::uint32_t invOf_ = 0;  ///< the rate that inv_ belongs to
  double inv_ = 0.0;         ///< 1.0 / dstRate, computed by the stream's first block
};

extern template class LinearStream<std::int16_t>;
extern template class LinearStream<std::uint8_t>;

}  // namespace resample
