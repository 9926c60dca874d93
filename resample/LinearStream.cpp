#include "resample/LinearStream.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace resample {

namespace {

template <std::uint32_t kChannels, class Sample>
void CopyFrame(Sample* to, const Sample* from) {
  std::memcpy(to, from, kChannels * sizeof(Sample));
}

bool Overlap(const void* begin, const void* end, const void* otherBegin, const void* otherEnd) {
  const auto address = [](const void* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); };
  return address(begin) < address(otherEnd) && address(otherBegin) < address(end);
}

}  // namespace

template <class Sample>
std::uint8_t LinearStream<Sample>::Process(const Block<Sample>& block, Map map) {
  if (block.src == nullptr || block.dst == nullptr) return 0;
  if (block.channels == 0 || block.channels > kMaxChannels) return 0;
  if (block.srcRate == 0 || block.dstRate == 0) return 0;
  if (block.srcFrames == 0) return 1;
  if (block.srcRate == block.dstRate) {
    std::memmove(block.dst, block.src, std::size_t{block.srcFrames} * block.channels * sizeof(Sample));
    *block.outFrames = block.srcFrames;
    return 1;
  }
  if (block.channels == 1) {
    Run<1>(block, map);
  } else if (block.channels == 2) {
    Run<2>(block, map);
  } else if constexpr (kMaxChannels > 2) {
    if (block.channels == 3) {
      Run<3>(block, map);
    } else {
      Run<4>(block, map);
    }
  }
  return 1;
}

/// The filter's formula, output by output. Once both ends of an interval lie in the block, MapBlock makes all
/// outputs but the last. The loop makes the outputs between two blocks, and it alone decides how the call
/// ends. It keeps copies of both ends of the interval, so that outputs may overwrite frames that have been
/// taken.
template <class Sample>
template <std::uint32_t kChannels>
void LinearStream<Sample>::Run(const Block<Sample>& block, Map map) {
  const Sample* const src = block.src;
  Sample* out = block.dst;
  std::uint32_t written = 0;
  std::uint32_t taken = 1;  // source frames so far, the one at the interval's upper end included
  if (block.first) {
    CopyFrame<kChannels>(prev_, src);
    CopyFrame<kChannels>(out, prev_);
    out += kChannels;
    written = 1;
    taken = 2;
    phase_ = block.srcRate;
    invOf_ = block.dstRate;
    inv_ = 1.0 / block.dstRate;
    if (block.srcFrames == 1) {
      *block.outFrames = written;
      return;
    }
  }
  const auto newest = [&] { return src + std::size_t{taken - 1} * kChannels; };
  Sample cur[kChannels];
  CopyFrame<kChannels>(cur, newest());
  bool canMap = CanMap(block);
  for (;;) {
    while (phase_ > block.dstRate) {
      phase_ -= block.dstRate;
      CopyFrame<kChannels>(prev_, cur);
      if (taken >= block.srcFrames) {
        *block.outFrames = written;
        return;
      }
      ++taken;
      CopyFrame<kChannels>(cur, newest());
    }
    if (canMap && taken >= 2) {
      canMap = false;
      // A count that has passed the limit meets it again only after all 2^32 values.
      const std::uint32_t left = block.maxOut - written;
      const std::uint64_t room = left != 0 ? left : std::uint64_t{1} << 32;
      const std::uint64_t made = MapBlock<kChannels>(block, map, out, taken, room);
      out += made * kChannels;
      written += static_cast<std::uint32_t>(made);
      CopyFrame<kChannels>(cur, newest());
    }
    const double fraction = phase_ * inv_;
    for (std::uint32_t c = 0; c < kChannels; ++c) {
      const std::int32_t delta = cur[c] - prev_[c];
      // 64 bits: a host that changes dstRate within a stream has fractions above 1.
      out[c] = static_cast<Sample>(prev_[c] + static_cast<std::int64_t>(delta * fraction));
    }
    out += kChannels;
    ++written;
    phase_ += block.srcRate;
    if (written == block.maxOut) {
      CopyFrame<kChannels>(prev_, cur);
      *block.outFrames = written;
      return;
    }
  }
}

/// A phase that may wrap, and the fractions of another rate, are left to the loop of Run.
template <class Sample>
bool LinearStream<Sample>::CanMap(const Block<Sample>& block) const {
  return block.srcRate <= std::numeric_limits<std::uint32_t>::max() - block.dstRate && phase_ != 0 &&
         invOf_ == block.dstRate;
}

/// Makes the outputs of the rest of the block but one: the last, or the one at the limit. The stream is then
/// at that output.
/// @param out  where the next output goes
/// @param room outputs up to the limit
/// @return the number of outputs made; 0 too where they and the block overlap, as the AVX2 map reads ahead
template <class Sample>
template <std::uint32_t kChannels>
std::uint64_t LinearStream<Sample>::MapBlock(const Block<Sample>& block, Map map, Sample* out,
                                             std::uint32_t& taken, std::uint64_t room) {
  // The outputs at or below the block's last frame, counted from the lower end of the interval at hand.
  const std::uint64_t span = std::uint64_t{block.srcFrames - taken + 1} * block.dstRate;
  const std::uint64_t outputs = std::min((span - phase_) / block.srcRate + 1, room) - 1;
  if (outputs == 0) return 0;
  if (Overlap(block.dst, out + (outputs + 1) * kChannels, block.src,
              block.src + std::size_t{block.srcFrames} * kChannels)) {
    return 0;
  }
  Outputs<Sample> rest = {block.src, block.srcFrames, out,           outputs, taken - 2,
                          phase_,    block.srcRate,   block.dstRate, inv_};
  if (map == Map::kAvx2 && outputs >= kFewestForAvx2) MapAvx2<Sample, kChannels>(rest);
  MapPortable<Sample, kChannels>(rest);
  taken = static_cast<std::uint32_t>(rest.frame) + 2;
  phase_ = rest.phase;
  CopyFrame<kChannels>(prev_, block.src + std::size_t{taken - 2} * kChannels);
  return outputs;
}

template class LinearStream<std::int16_t>;
template class LinearStream<std::uint8_t>;

}  // namespace resample
