// The map over outputs in vectors, for the source file of one instruction set. That file defines
// CMM_VECTOR_CODE (the function attributes that turn the instruction set on) before, and gives the operations
// as the class V:
//   Vec, kWords (16-bit words in a Vec), Load, Store, the operations below,
//   Reaches<Sample, kChannels>(plan), and Gather<Sample, kChannels>(...), which fetches both ends of the
//   intervals.
// No include guard's worth of sharing: everything here is local to that file.
#pragma once

#include <algorithm>
#include <cstdint>

#include "resample/Forms.h"

namespace resample {
namespace {

/// Both ends of the intervals of V::kWords samples, as 16-bit words.
template <class V>
struct Ends {
  typename V::Vec prev;
  typename V::Vec cur;
};

/// prev + trunc((cur - prev) * weight / 2^32).
/// @param whole receives the words, all bits set, whose product is whole (or nearly), marked, and not 0
template <class V>
CMM_VECTOR_CODE inline typename V::Vec Interpolate(const Ends<V>& ends, const Plan& plan, std::size_t at,
                                                   typename V::Vec& whole) {
  using Vec = typename V::Vec;
  const Vec prev = ends.prev;
  const Vec cur = ends.cur;
  const Vec high = V::Load(plan.high + at);
  const Vec size = V::Sub(V::Max(prev, cur), V::Min(prev, cur));
  // 16 times 32 bits: the top word, and the middle one with its carry into the top.
  const Vec carried = V::MulHigh(size, V::Load(plan.low + at));
  const Vec middle = V::Add(V::MulLow(size, high), carried);
  const Vec noCarry = V::Equal(V::SubSaturated(carried, middle), V::Zero());
  const Vec product = V::Sub(V::Add(V::MulHigh(size, high), noCarry), V::Ones());
  whole =
      V::AndNot(V::Equal(prev, cur), V::Equal(V::SubSaturated(middle, V::One()), V::Load(plan.mark + at)));
  const Vec falls = V::Greater(prev, cur);
  return V::Add(prev, V::Sub(V::Xor(product, falls), falls));
}

/// Computes marked whole products again, by the double formula.
template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE typename V::Vec Repair(const MapJob<Sample>& job, std::uint64_t slot, const Ends<V>& ends,
                                       typename V::Vec result, typename V::Vec whole) {
  alignas(32) std::int16_t prev[V::kWords];
  alignas(32) std::int16_t cur[V::kWords];
  alignas(32) std::int16_t out[V::kWords];
  alignas(32) std::int16_t wrong[V::kWords];
  V::Store(prev, ends.prev);
  V::Store(cur, ends.cur);
  V::Store(out, result);
  V::Store(wrong, whole);
  for (std::uint32_t i = 0; i < V::kWords; ++i) {
    if (wrong[i] == 0) continue;
    const double fraction = job.plan->Phase(slot + i / kChannels) * job.inv;
    out[i] = static_cast<std::int16_t>(prev[i] + static_cast<std::int32_t>((cur[i] - prev[i]) * fraction));
  }
  return V::Load(out);
}

/// Makes up to count outputs, a vector at a time, out of the plan's entries.
/// @param entry  the plan's entry of the first output
/// @param slot   the place in the cycle of the plan's entry 0
/// @param origin the frame from which the entries count
/// @return the number of outputs made: whole vectors, as far as the block can be read
template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE std::uint64_t RunEntries(const MapJob<Sample>& job, std::uint32_t entry, std::uint64_t slot,
                                         std::int64_t origin, std::uint64_t count) {
  constexpr std::uint32_t kOutputs = V::kWords / kChannels;
  const Plan& plan = *job.plan;
  const auto frameCount = static_cast<std::int64_t>(job.frameCount);
  Sample* out = job.out;
  std::uint64_t made = 0;
  for (; made + kOutputs <= count; made += kOutputs) {
    Ends<V> ends;
    if (!V::template Gather<Sample, kChannels>(job.frames, frameCount, origin, plan, entry, ends)) break;
    typename V::Vec whole;
    typename V::Vec result = Interpolate<V>(ends, plan, std::size_t{entry} * kChannels, whole);
    if (V::Any(whole)) [[unlikely]] {
      result = Repair<V, Sample, kChannels>(job, slot + entry, ends, result, whole);
    }
    V::Put(out, result);
    out += V::kWords;
    entry += kOutputs;
    if (entry >= plan.length) {
      entry -= plan.length;
      origin += plan.advance;
    }
  }
  return made;
}

/// The entries of a long cycle from a position on. Every 16-byte lane has 8 outputs, in 64-bit positions of
/// 16 whole and 48 fractional bits: rounded up a little, by less than what would carry a product over a whole
/// number.
template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE void FillEntries(Plan& plan, const MapJob<Sample>& job, std::uint64_t count) {
  using Vec = typename V::Vec;
  constexpr std::uint64_t kRoundUp = 0xFFFF + 2;
  constexpr std::uint32_t kLanes = V::kWords / 8;
  const auto start = static_cast<std::uint64_t>(job.at.phase * job.inv * 281474976710656.0) + kRoundUp;
  Vec position[4];
  for (std::uint32_t i = 0; i < 4; ++i) {
    alignas(32) std::uint64_t first[2 * kLanes];
    for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
      first[2 * lane] = start + (8 * lane + i) * plan.step;
      first[2 * lane + 1] = start + (8 * lane + i + 4) * plan.step;
    }
    position[i] = V::Load(first);
  }
  const Vec stride = V::Spread64(V::kWords * plan.step);
  for (std::uint64_t k = 0; k < count; k += V::kWords) {
    // Each position is four words, with the weight in the middle and the frame on top: sort them.
    const Vec a = V::UnpackLow16(position[0], position[1]);
    const Vec b = V::UnpackLow16(position[2], position[3]);
    const Vec c = V::UnpackHigh16(position[0], position[1]);
    const Vec d = V::UnpackHigh16(position[2], position[3]);
    const Vec low = V::UnpackHigh64(V::UnpackLow32(a, b), V::UnpackLow32(c, d));
    const Vec tops1 = V::UnpackHigh32(a, b);
    const Vec tops2 = V::UnpackHigh32(c, d);
    const Vec frame = V::UnpackHigh64(tops1, tops2);
    V::Store(plan.index + k, frame);
    V::template StorePerSample<kChannels>(plan.low + k * kChannels, low);
    V::template StorePerSample<kChannels>(plan.high + k * kChannels, V::UnpackLow64(tops1, tops2));
    V::template StoreShuffles<Sample, kChannels>(plan, k, frame);
    for (Vec& each : position) each = V::Add64(each, stride);
  }
}

template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE void MapTabled(MapJob<Sample>& job) {
  const Plan& plan = *job.plan;
  const std::uint32_t slot = plan.Slot(job.at.phase);
  // Slot 0 is the upper end of an interval; its entry may already name the next one.
  const std::int64_t ahead = slot != 0 ? plan.index[slot] : 0;
  const auto origin = static_cast<std::int64_t>(job.at.frame) - ahead;
  const std::uint64_t made = RunEntries<V, Sample, kChannels>(job, slot, 0, origin, job.outputs);
  job.Advance(made, kChannels);
}

template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE void MapRolling(MapJob<Sample>& job) {
  constexpr std::uint64_t kOutputs = V::kWords / kChannels;
  Plan& plan = *job.plan;
  while (job.outputs >= kOutputs) {
    // Up to the next upper end of an interval, which has no weight of 32 bits and is made by itself.
    const std::uint32_t slot = plan.Slot(job.at.phase);
    const std::uint64_t left = slot != 0 ? plan.q - slot : 1;
    const std::uint64_t count = std::min<std::uint64_t>({left, job.outputs, Plan::kEntries});
    if (count < kOutputs) {
      MapSome<Sample, kChannels>(job, count);
      continue;
    }
    FillEntries<V, Sample, kChannels>(plan, job, count);
    const auto origin = static_cast<std::int64_t>(job.at.frame);
    const std::uint64_t made = RunEntries<V, Sample, kChannels>(job, 0, slot, origin, count);
    if (made == 0) break;
    job.Advance(made, kChannels);
  }
}

/// What can be done in vectors, leaving the rest in the job.
template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE void MapVectors(MapJob<Sample>& job) {
  if (job.outputs < 2 * V::kWords / kChannels) return;
  Plan& plan = *job.plan;
  plan.Prepare(job.srcRate, job.dstRate, job.inv, kChannels, sizeof(Sample));
  if (!plan.Covers(job.at.phase) || !V::template Reaches<Sample, kChannels>(plan)) return;
  if (plan.kind == Plan::Kind::kTabled) {
    MapTabled<V, Sample, kChannels>(job);
  } else {
    MapRolling<V, Sample, kChannels>(job);
  }
}

}  // namespace
}  // namespace resample
