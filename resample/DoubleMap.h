// The map at twice the rate, a part of VectorMap.h.
#pragma once

#include <algorithm>
#include <cstdint>

#include "resample/Forms.h"
#include "resample/VectorProduct.h"

namespace resample {
namespace {

/// Stores a frame of one vector, then a frame of the other, in turn.
template <class V, std::uint32_t kChannels>
CMM_VECTOR_CODE inline void Alternate(std::int16_t* out, typename V::Vec a, typename V::Vec b) {
  if constexpr (kChannels == 1) {
    V::StorePair(out, out + V::kWords, V::UnpackLow16(a, b), V::UnpackHigh16(a, b));
  } else {
    V::StorePair(out, out + V::kWords, V::UnpackLow32(a, b), V::UnpackHigh32(a, b));
  }
}
template <class V, std::uint32_t kChannels>
CMM_VECTOR_CODE inline void Alternate(std::uint8_t* out, typename V::Vec a, typename V::Vec b) {
  const typename V::Vec low = V::Pack(a, b);
  const typename V::Vec high = V::UnpackHigh64(low, low);
  V::Store(out, kChannels == 1 ? V::UnpackLow8(low, high) : V::UnpackLow16(low, high));
}

/// Outputs are in turn halfway between two frames and on the upper one.
template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE void MapDouble(MapJob<Sample>& job) {
  constexpr std::uint64_t kFrames = V::kWords / kChannels;
  const bool upperFirst = job.at.phase == job.dstRate;
  const std::uint64_t pairs = (job.outputs - (upperFirst ? 1 : 0)) / 2;
  if (pairs < kFrames) return;
  const Sample* from = job.frames + job.at.frame * kChannels;
  if (upperFirst) {
    from += kChannels;
    job.out = std::copy_n(from, kChannels, job.out);
  }
  for (std::uint64_t at = 0;;) {
    const Sample* const frames = from + at * kChannels;
    const Ends<V> ends = {V::LoadSamples(frames), V::LoadSamples(frames + kChannels)};
    const typename V::Vec half = V::template Apply<Sample>(ends, V::Half(V::template Size<Sample>(ends)));
    Alternate<V, kChannels>(job.out + 2 * at * kChannels, half, ends.cur);
    if (at + kFrames == pairs) break;
    // The last vectors may make some again.
    at = std::min(at + kFrames, pairs - kFrames);
  }
  from += pairs * kChannels;
  job.out += 2 * pairs * kChannels;
  job.outputs -= 2 * pairs + (upperFirst ? 1 : 0);
  job.at = {static_cast<std::uint64_t>(from - job.frames) / kChannels, job.srcRate};
}

}  // namespace
}  // namespace resample
