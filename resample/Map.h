#pragma once

#include <cstdint>

namespace resample {

/// Outputs to make from one block, one after another. Each of them, and the one after the last, has both ends
/// of its interval in the block. A map advances the fields past the outputs that it makes.
template <class Sample>
struct Outputs {
  const Sample* block;    ///< its first sample
  std::uint64_t frames;   ///< in the block
  Sample* out;            ///< where the next output goes; there is room for one more than count
  std::uint64_t count;    ///< still to make
  std::uint64_t frame;    ///< of the block, at the lower end of the next output's interval
  std::uint32_t phase;    ///< of the next output in that interval, 1 to dstRate
  std::uint32_t srcRate;  ///< in Hz
  std::uint32_t dstRate;  ///< in Hz
  double inv;             ///< 1.0 / dstRate
};

/// The ways to make outputs. All give the same bits.
enum class Map : std::uint8_t {
  kPortable,  ///< MapPortable
  kAvx2,      ///< MapAvx2, and MapPortable for what it leaves
};

/// @return the fastest map on this processor
Map BestMap();

/// @return whether this processor and its system have AVX2
bool HasAvx2();

/// From this many outputs on MapAvx2 is faster than MapPortable, its preparations included.
constexpr std::uint64_t kFewestForAvx2 = 24;

/// Makes as many outputs as it can, eight at a time, and leaves the others. For processors with AVX2 only.
template <class Sample, std::uint32_t kChannels>
void MapAvx2(Outputs<Sample>& outputs);

/// Makes all outputs, on any processor: the filters' formula, one output in each round of the loop.
template <class Sample, std::uint32_t kChannels>
void MapPortable(Outputs<Sample>& outputs) {
  const std::uint64_t shortStep = std::uint64_t{outputs.srcRate / outputs.dstRate} * kChannels;
  const std::int64_t advance = outputs.srcRate % outputs.dstRate;
  const std::int64_t wrapped = advance - outputs.dstRate;
  const double inv = outputs.inv;
  const Sample* prev = outputs.block + outputs.frame * kChannels;
  Sample* out = outputs.out;
  std::int64_t before = std::int64_t{outputs.phase} - 1;  // one less than the phase: 0 to dstRate - 1
  for (std::uint64_t k = 0; k < outputs.count; ++k) {
    const double fraction = static_cast<std::uint32_t>(before + 1) * inv;
    for (std::uint32_t c = 0; c < kChannels; ++c) {
      const std::int32_t delta = prev[kChannels + c] - prev[c];
      out[c] = static_cast<Sample>(prev[c] + static_cast<std::int32_t>(delta * fraction));
    }
    out += kChannels;
    const std::int64_t next = before + wrapped;
    prev += next >= 0 ? shortStep + kChannels : shortStep;
    before = next >= 0 ? next : before + advance;
  }
  outputs.frame = static_cast<std::uint64_t>(prev - outputs.block) / kChannels;
  outputs.phase = static_cast<std::uint32_t>(before + 1);
  outputs.out = out;
  outputs.count = 0;
}

}  // namespace resample
