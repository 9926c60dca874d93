#pragma once

#include <cstdint>

#include "resample/Plan.h"

namespace resample {

struct Form;

/// One call: the arguments of the exported filters (resample/AudioLinearFilter.h).
template <class Sample>
struct Block {
  const Sample* src;
  std::uint32_t srcFrames;
  std::uint32_t srcRate;
  Sample* dst;
  std::uint32_t* outFrames;
  std::uint32_t dstRate;
  std::uint32_t maxOut;
  bool first;
  std::uint32_t channels;
};

/// One stream through a linear resampler, Sample being std::int16_t or std::uint8_t.
/// Streams are independent of each other; one stream serves one thread at a time. Allocates nothing.
template <class Sample>
class LinearStream {
 public:
  /// The carried frame is four bytes whatever the channel count.
  static constexpr std::uint32_t kMaxChannels = 4 / sizeof(Sample);

  /// A stream that no first block has begun yet: it runs on a zero record, on which every output is 0 at
  /// first.
  constexpr LinearStream() = default;

  /// Filters one block by the quickest form that the processor has. @return as the exported filters
  std::uint8_t Process(const Block<Sample>& block);

  /// The same by a given form: all give the same bits.
  std::uint8_t Process(const Block<Sample>& block, const Form& form);

 private:
  template <std::uint32_t kChannels>
  void Run(const Block<Sample>& block, const Form& form);
  template <std::uint32_t kChannels>
  std::uint64_t Leap(const Block<Sample>& block, const Form& form, Sample* out, std::uint32_t& taken,
                     std::uint64_t room);
  bool CanLeap(const Block<Sample>& block) const;

  Sample prev_[kMaxChannels] = {};  ///< lower end of the interval in which the next output lies
  std::uint32_t phase_ = 0;  ///< of the next output, in 1/dstRate of that interval; dstRate is its upper end
  std::uint32_t invOf_ = 0;  ///< the rate that inv_ belongs to
  double inv_ = 0.0;         ///< 1.0 / dstRate, computed by the stream's first block
  Plan plan_;
};

extern template class LinearStream<std::int16_t>;
extern template class LinearStream<std::uint8_t>;

}  // namespace resample
