// The map over outputs in vectors, for the source file of one instruction set. That file defines
// CMM_VECTOR_CODE (the function attributes that turn the instruction set on) before, and gives the operations
// as the class V:
//   Vec, kWords (16-bit words in a Vec), Load, Store, the operations below,
//   Reaches<Sample, kChannels>(plan), and Gather<Sample, kChannels>(...), which fetches both ends of the
//   intervals.
// No include guard's worth of sharing: everything here is local to that file.
#pragma once

#include <algorithm>
#include <bit>
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

/// The products of samples whose entries are tabled.
/// @param size  the differences without their signs
/// @param whole receives the words, all bits set, that need the double formula
template <class V>
CMM_VECTOR_CODE inline typename V::Vec TabledProduct(typename V::Vec size, const Plan& plan, std::size_t at,
                                                     typename V::Vec q, typename V::Vec& whole) {
  using Vec = typename V::Vec;
  const Vec product = V::MulHigh(size, V::Load(plan.high + at));
  const Vec remainder = V::Sub(V::MulLow(size, V::Load(plan.low + at)), V::MulLow(product, q));
  whole = V::Equal(remainder, V::Load(plan.whole + at));
  return V::Sub(product, V::Greater(remainder, V::Load(plan.limit + at)));
}

/// The products of samples whose entries are 32-bit weights.
template <class V>
CMM_VECTOR_CODE inline typename V::Vec WeightedProduct(typename V::Vec size, const Plan& plan, std::size_t at,
                                                       typename V::Vec& whole) {
  using Vec = typename V::Vec;
  const Vec high = V::Load(plan.high + at);
  // 16 times 32 bits: the top word, and the middle one with its carry into the top.
  const Vec carried = V::MulHigh(size, V::Load(plan.low + at));
  const Vec middle = V::Add(V::MulLow(size, high), carried);
  const Vec noCarry = V::Equal(V::SubSaturated(carried, middle), V::Zero());
  whole = V::AndNot(V::Equal(size, V::Zero()), V::Equal(V::SubSaturated(middle, V::One()), V::Zero()));
  return V::Sub(V::Add(V::MulHigh(size, high), noCarry), V::Ones());
}

/// Computes whole products again, by the double formula.
template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE [[gnu::noinline]] void Repair(const MapJob<Sample>& job, std::uint64_t slot,
                                              const Ends<V>& ends, typename V::Vec whole, Sample* out) {
  alignas(32) std::int16_t prev[V::kWords];
  alignas(32) std::int16_t cur[V::kWords];
  V::Store(prev, ends.prev);
  V::Store(cur, ends.cur);
  for (unsigned bits = V::Bits(whole); bits != 0;) {
    const auto i = static_cast<std::uint32_t>(std::countr_zero(bits)) / 2;
    bits &= ~(3U << 2 * i);
    const double fraction = job.plan->Phase(slot + i / kChannels) * job.inv;
    out[i] = static_cast<Sample>(prev[i] + static_cast<std::int32_t>((cur[i] - prev[i]) * fraction));
  }
}

/// Makes up to count outputs, a vector at a time, out of the plan's entries.
/// @param entry  the plan's entry of the first output
/// @param slot   the place in the cycle of the plan's entry 0
/// @param origin the frame from which the entries count
/// @return the number of outputs made: whole vectors, as far as the block can be read
template <class V, class Sample, std::uint32_t kChannels, bool kTabled>
CMM_VECTOR_CODE std::uint64_t RunEntries(const MapJob<Sample>& job, std::uint32_t entry, std::uint64_t slot,
                                         std::int64_t origin, std::uint64_t count) {
  using Vec = typename V::Vec;
  constexpr std::uint32_t kOutputs = V::kWords / kChannels;
  const Plan& plan = *job.plan;
  const std::uint32_t length = plan.length;
  const std::int64_t advance = plan.advance;
  const Vec q = V::Spread16(static_cast<std::uint16_t>(plan.q));
  const Sample* const frames = job.frames;
  const auto frameCount = static_cast<std::int64_t>(job.frameCount);
  Sample* out = job.out;
  std::uint64_t made = 0;
  for (; made + kOutputs <= count; made += kOutputs) {
    Ends<V> ends;
    if (!V::template Gather<Sample, kChannels>(frames, frameCount, origin, plan, entry, ends)) break;
    const Vec size = V::template Size<Sample>(ends);
    Vec whole;
    Vec product;
    if constexpr (kTabled) {
      product = TabledProduct<V>(size, plan, std::size_t{entry} * kChannels, q, whole);
    } else {
      product = WeightedProduct<V>(size, plan, std::size_t{entry} * kChannels, whole);
    }
    V::Put(out, V::template Apply<Sample>(ends, product));
    if (V::Any(whole)) [[unlikely]] {
      Repair<V, Sample, kChannels>(job, slot + entry, ends, whole, out);
    }
    out += V::kWords;
    entry += kOutputs;
    if (entry >= length) {
      entry -= length;
      origin += advance;
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
  const auto origin = static_cast<std::int64_t>(job.at.frame) - plan.index[slot];
  const std::uint64_t made = RunEntries<V, Sample, kChannels, true>(job, slot, 0, origin, job.outputs);
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
    const std::uint64_t made = RunEntries<V, Sample, kChannels, false>(job, 0, slot, origin, count);
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
