// The map over outputs in vectors, for the source file of one instruction set. That file defines
// CMM_VECTOR_CODE (the function attributes that turn the instruction set on) before, and gives the operations
// as the class V:
//   Vec, kWords (16-bit words in a Vec), Load, Store, the operations below,
//   Reaches<Sample, kChannels>(plan), and Gather<Sample, kChannels>(...), which fetches both ends of the
//   intervals.
// Everything here is local to that file.
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

/// How the entries in hand give products.
enum class Entries : std::uint8_t {
  kTabled,
  kTabledDoubtful,  ///< with whole products that need the double formula
  kWeighted,
  kStraight  ///< weights, each output one frame behind the one before
};

/// A place in a plan's entries.
struct Cursor {
  const std::uint16_t* index;
  const std::uint8_t* shuffle;
  const std::uint16_t* row;  // of Plan::kHigh

  Cursor(const Plan& plan, std::uint32_t entry, std::uint32_t channels)
      : index(plan.index + entry),
        shuffle(plan.shuffle[entry]),
        row(plan.rows[Plan::kHigh] + entry * channels) {}
};

/// The products of samples whose entries are tabled.
/// @param size  the differences without their signs
/// @param whole receives the words, with any bits set, that need the double formula
template <class V>
CMM_VECTOR_CODE inline typename V::Vec TabledProduct(typename V::Vec size, const std::uint16_t* row,
                                                     typename V::Vec q, typename V::Vec& whole) {
  using Vec = typename V::Vec;
  const Vec product = V::MulHigh(size, V::Load(row));
  const Vec part = V::Load(row + Plan::kLow * Plan::kSamples);
  const Vec remainder = V::Sub(V::MulLow(size, part), V::MulLow(product, q));
  whole = V::Equal(remainder, V::Load(row + Plan::kWhole * Plan::kSamples));
  return V::Sub(product, V::Greater(remainder, V::Load(row + Plan::kLimit * Plan::kSamples)));
}

/// The products of samples whose entries are 32-bit weights.
template <class V>
CMM_VECTOR_CODE inline typename V::Vec WeightedProduct(typename V::Vec size, const std::uint16_t* row,
                                                       typename V::Vec& whole) {
  using Vec = typename V::Vec;
  const Vec high = V::Load(row);
  // 16 times 32 bits: the top word, and the middle one with its carry into the top.
  const Vec carried = V::MulHigh(size, V::Load(row + Plan::kLow * Plan::kSamples));
  const Vec middle = V::Add(V::MulLow(size, high), carried);
  const Vec noCarry = V::Equal(V::SubSaturated(carried, middle), V::Zero());
  whole = V::BelowBoth(middle, size);
  return V::Sub(V::Add(V::MulHigh(size, high), noCarry), V::Ones());
}

/// Computes whole products again, by the double formula. By value: in memory only when it comes to this.
/// @param slot the place in the cycle of the first output
/// @param row  the entries of a tabled cycle
template <class V, class Sample, std::uint32_t kChannels, Entries kEntries>
CMM_VECTOR_CODE [[gnu::noinline]] void Repair(const MapJob<Sample>& job, std::uint64_t slot,
                                              const std::uint16_t* row, typename V::Vec prevs,
                                              typename V::Vec curs, typename V::Vec whole, Sample* out) {
  alignas(32) std::int16_t prev[V::kWords];
  alignas(32) std::int16_t cur[V::kWords];
  V::Store(prev, prevs);
  V::Store(cur, curs);
  const Plan& plan = *job.plan;
  for (unsigned bits = ~V::Bits(V::Equal(whole, V::Zero())) & V::kAllBits; bits != 0;) {
    const auto i = static_cast<std::uint32_t>(std::countr_zero(bits)) / 2;
    bits &= ~(3U << 2 * i);
    const std::uint32_t phase = kEntries == Entries::kTabledDoubtful
                                    ? row[Plan::kLow * Plan::kSamples + i] * plan.unit
                                    : plan.Phase(slot + i / kChannels);
    const std::int32_t delta = cur[i] - prev[i];
    out[i] = static_cast<Sample>(prev[i] + static_cast<std::int32_t>(delta * (phase * job.inv)));
  }
}

/// Makes up to count vectors, out of the plan's entries one behind the other.
/// @param slot   the place in the cycle of the first entry
/// @param origin the frame from which the entries count
/// @return the number of vectors made: as far as the block can be read
template <class V, class Sample, std::uint32_t kChannels, Entries kEntries>
CMM_VECTOR_CODE std::uint64_t RunEntries(const MapJob<Sample>& job, Cursor at, std::uint64_t slot,
                                         std::int64_t origin, Sample* out, std::uint64_t count) {
  using Vec = typename V::Vec;
  constexpr std::uint32_t kOutputs = V::kWords / kChannels;
  const Vec q = V::Spread16(static_cast<std::uint16_t>(job.plan->q));
  const Sample* const from = job.frames + origin * kChannels;
  const std::int64_t frames = static_cast<std::int64_t>(job.frameCount) - origin;
  for (std::uint64_t made = 0; made < count; ++made) {
    Ends<V> ends;
    if constexpr (kEntries == Entries::kStraight) {
      const Sample* const first = from + made * V::kWords;
      ends = {V::LoadSamples(first), V::LoadSamples(first + kChannels)};
    } else if (!V::template Gather<Sample, kChannels>(from, frames, at, ends)) {
      return made;
    }
    const Vec size = V::template Size<Sample>(ends);
    Vec whole;
    Vec product;
    if constexpr (kEntries == Entries::kWeighted || kEntries == Entries::kStraight) {
      product = WeightedProduct<V>(size, at.row, whole);
    } else {
      product = TabledProduct<V>(size, at.row, q, whole);
    }
    V::Put(out, V::template Apply<Sample>(ends, product));
    if (kEntries != Entries::kTabled && V::Any(whole)) [[unlikely]] {
      Repair<V, Sample, kChannels, kEntries>(job, slot + made * kOutputs, at.row, ends.prev, ends.cur, whole,
                                             out);
    }
    out += V::kWords;
    at.index += kOutputs;
    at.shuffle += kOutputs * sizeof(Plan::shuffle[0]);
    at.row += V::kWords;
  }
  return count;
}

/// The entries of a long cycle from a position on. Every 16-byte lane has 8 outputs, in 64-bit positions of
/// 16 whole and 48 fractional bits: rounded up a little, by less than what would carry a product over a whole
/// number.
/// @param start the first position
template <class V, class Sample, std::uint32_t kChannels, Entries kEntries>
CMM_VECTOR_CODE void FillEntries(Plan& plan, std::uint64_t start, std::uint64_t count) {
  using Vec = typename V::Vec;
  Vec position[4];
  for (std::uint32_t i = 0; i < 4; ++i) position[i] = V::Add64(V::Spread64(start), V::Load(plan.steps[i]));
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
    V::template StorePerSample<kChannels>(plan.rows[Plan::kLow] + k * kChannels, low);
    V::template StorePerSample<kChannels>(plan.rows[Plan::kHigh] + k * kChannels,
                                          V::UnpackLow64(tops1, tops2));
    if constexpr (kEntries == Entries::kWeighted) {
      const Vec frame = V::UnpackHigh64(tops1, tops2);
      V::Store(plan.index + k, frame);
      V::template StoreShuffles<Sample, kChannels>(plan, k, frame);
    }
    for (Vec& each : position) each = V::Add64(each, stride);
  }
}

template <class V, class Sample, std::uint32_t kChannels, Entries kEntries>
CMM_VECTOR_CODE void MapTabled(MapJob<Sample>& job) {
  constexpr std::uint32_t kOutputs = V::kWords / kChannels;
  const Plan& plan = *job.plan;
  std::uint32_t slot = plan.Slot(job.at.phase);
  auto origin = static_cast<std::int64_t>(job.at.frame) - plan.index[slot];
  const std::uint64_t wanted = job.outputs / kOutputs;
  std::uint64_t made = 0;
  while (made < wanted) {
    // To the table's end or a little beyond, and on from the entries at its beginning that mean the same.
    const std::uint64_t count =
        std::min<std::uint64_t>(wanted - made, (plan.length - slot + kOutputs - 1) / kOutputs);
    const std::uint64_t done = RunEntries<V, Sample, kChannels, kEntries>(
        job, Cursor(plan, slot, kChannels), slot, origin, job.out + made * V::kWords, count);
    made += done;
    if (done < count) break;
    slot += static_cast<std::uint32_t>(count) * kOutputs;
    if (slot >= plan.length) {
      slot -= plan.length;
      origin += plan.advance;
    }
  }
  job.Advance(made * kOutputs, kChannels);
}

/// Up to count outputs of a long cycle, by way of the plan's tables. @return the number made: whole vectors
template <class V, class Sample, std::uint32_t kChannels, Entries kEntries>
CMM_VECTOR_CODE std::uint64_t MapPiece(MapJob<Sample>& job, std::uint32_t slot, std::uint64_t start,
                                       std::uint64_t count) {
  constexpr std::uint64_t kOutputs = V::kWords / kChannels;
  Plan& plan = *job.plan;
  FillEntries<V, Sample, kChannels, kEntries>(plan, start, count);
  const std::uint64_t made = RunEntries<V, Sample, kChannels, kEntries>(
      job, Cursor(plan, 0, kChannels), slot, static_cast<std::int64_t>(job.at.frame), job.out,
      count / kOutputs);
  return made * kOutputs;
}

template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE void MapRolling(MapJob<Sample>& job) {
  constexpr std::uint64_t kOutputs = V::kWords / kChannels;
  Plan& plan = *job.plan;
  std::uint32_t slot = plan.Slot(job.at.phase);
  while (job.outputs >= kOutputs) {
    // Up to the next upper end of an interval, which has no weight of 32 bits and is made by itself.
    const std::uint32_t left = slot != 0 ? plan.q - slot : 1;
    std::uint64_t made = std::min<std::uint64_t>({left, job.outputs, Plan::kEntries});
    if (made < kOutputs) {
      MapSome<Sample, kChannels>(job, made);
    } else {
      constexpr std::uint64_t kRoundUp = 0xFFFF + 2;
      const auto start = static_cast<std::uint64_t>(job.at.phase * job.inv * 281474976710656.0) + kRoundUp;
      made -= made % kOutputs;
      // Rates that hardly differ take one frame after the other for long stretches.
      const bool straight = (start + (made - 1) * plan.step) >> 48 == made - 1;
      made = straight ? MapPiece<V, Sample, kChannels, Entries::kStraight>(job, slot, start, made)
                      : MapPiece<V, Sample, kChannels, Entries::kWeighted>(job, slot, start, made);
      if (made == 0) break;
      job.Advance(made, kChannels);
    }
    slot += static_cast<std::uint32_t>(made);
    if (slot == plan.q) slot = 0;
  }
}

/// What can be done in vectors, leaving the rest in the job.
template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE void MapVectors(MapJob<Sample>& job) {
  if (job.outputs < 2 * V::kWords / kChannels) return;
  Plan& plan = *job.plan;
  plan.Prepare(job.srcRate, job.dstRate, job.inv, kChannels, sizeof(Sample));
  if (!plan.Covers(job.at.phase) || !V::template Reaches<Sample, kChannels>(plan)) return;
  if (plan.kind == Plan::Kind::kRolling) {
    MapRolling<V, Sample, kChannels>(job);
  } else if (plan.doubtful) {
    MapTabled<V, Sample, kChannels, Entries::kTabledDoubtful>(job);
  } else {
    MapTabled<V, Sample, kChannels, Entries::kTabled>(job);
  }
}

}  // namespace
}  // namespace resample
