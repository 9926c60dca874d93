// The map over outputs in vectors, for the source file of one instruction set. That file defines
// CMM_VECTOR_CODE (the function attributes that turn the instruction set on) before, and gives the operations
// as the class V:
//   Vec, kWords (16-bit words in a Vec), Load, Store, the operations below,
//   Gather<Sample, kChannels, kFetch>(...), which fetches both ends of the intervals, and End(...), the end
//   of the frames that it reads.
// The products are in VectorProduct.h, twice the rate has a map of its own in DoubleMap.h.
// Everything here is local to that file.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>

#include "resample/DoubleMap.h"
#include "resample/Forms.h"
#include "resample/VectorProduct.h"

namespace resample {
namespace {

/// Where entries take their samples from, and what is the same for all of them.
template <class Sample>
struct Source {
  const Plan* plan;
  double inv;
  const Sample* frames;
  std::int64_t count;  ///< frames that can be read
};

/// A place in the plan's records. Those of an orbit of a tabled cycle are walked over and over.
struct Walk {
  const Plan::Record* record;
  const Plan::Record* end;  // behind the orbit's last record
  std::int64_t origin;      // the frame from which the records count

  /// @param part  of the first output, which lies in the interval that frame opens
  static Walk Tabled(const Plan& plan, std::uint32_t part, std::uint64_t frame) {
    const Plan::Place place = plan.places[part];
    const Plan::Record* const record = plan.records + place.record;
    return {record, plan.records + place.end, static_cast<std::int64_t>(frame) - record->index[0]};
  }
  void Wrap(const Plan& plan) {
    record -= plan.orbit;
    origin += plan.advance;
  }
  /// The walk from an output of the record at hand on.
  Walk Within(const Plan& plan, std::uint64_t output) const {
    return Tabled(plan, record->low[output * plan.channels],
                  static_cast<std::uint64_t>(origin + record->index[output]));
  }
  /// The walk from so many outputs of the record before the one at hand on.
  Walk Before(const Plan& plan, std::uint64_t output) const {
    Walk walk = *this;
    if (walk.record == end - plan.orbit) {
      walk.record = end;
      walk.origin -= plan.advance;
    }
    --walk.record;
    return walk.Within(plan, output);
  }
  /// The frame that opens the interval of the next output.
  std::uint64_t Frame() const { return static_cast<std::uint64_t>(origin + record->index[0]); }
};

/// Computes the marked products of one vector again, by the double formula.
/// @param slot  the place in the cycle of the first output
/// @param first the frame from which the record counts; of a straight one the first output's
template <class Sample, std::uint32_t kChannels, Entries kEntries>
CMM_VECTOR_CODE void Repair(const Source<Sample>& source, std::uint64_t slot, const Plan::Record& record,
                            const Sample* first, unsigned bits, Sample* out) {
  while (bits != 0) {
    const auto i = static_cast<std::uint32_t>(std::countr_zero(bits)) / 2;
    bits &= ~(3U << 2 * i);
    const std::uint32_t frame = kEntries == Entries::kStraight ? i / kChannels : record.index[i / kChannels];
    const std::uint32_t phase = source.plan->Phase(slot + i / kChannels);
    const Sample* const prev = first + frame * kChannels + i % kChannels;
    const std::int32_t delta = prev[kChannels] - prev[0];
    out[i] = static_cast<Sample>(prev[0] + static_cast<std::int32_t>(delta * (phase * source.inv)));
  }
}

/// Makes up to count vectors.
/// @param walk   is moved on
/// @param slot   the place in the cycle of the first output, if the entries are weights
/// @tparam kAtEdge reads nothing outside the block
/// @return the number made: as far as the block can be read
template <class V, class Sample, std::uint32_t kChannels, Entries kEntries, Plan::Fetch kFetch,
          bool kAtEdge = false>
CMM_VECTOR_CODE std::uint64_t RunRecords(const Source<Sample>& source, Walk& walk, std::uint64_t slot,
                                         Sample* out, std::uint64_t count) {
  using Vec = typename V::Vec;
  constexpr std::uint32_t kOutputs = V::kWords / kChannels;
  constexpr bool kWeights = kEntries == Entries::kWeighted || kEntries == Entries::kStraight;
  const Plan& plan = *source.plan;
  const Vec q = V::Spread16(static_cast<std::uint16_t>(plan.q));
  std::uint64_t made = 0;
  while (made != count) {
    const auto rest = static_cast<std::uint64_t>(walk.end - walk.record);
    const Plan::Record* stop = walk.record + std::min(rest, count - made);
    if constexpr (!kAtEdge && kEntries != Entries::kStraight) {
      const std::int64_t frames = source.count - walk.origin;
      while (stop != walk.record && V::template End<Sample, kChannels, kFetch>(stop[-1], plan.shift) > frames)
        --stop;
      if (stop == walk.record) break;
    }
    const Sample* const from = source.frames + walk.origin * kChannels;
    const Sample* const shifted = from + plan.shift * static_cast<std::int32_t>(kChannels);
    const Sample* straight = from;
    made += static_cast<std::uint64_t>(stop - walk.record);
    [[maybe_unused]] const Plan::Doubt* doubt = plan.doubts + (walk.record - plan.records);
    for (const Plan::Record* at = walk.record; at != stop; ++at) {
      const Plan::Record& record = *at;
      Ends<V> ends;
      if constexpr (kEntries == Entries::kStraight) {
        ends = {V::LoadSamples(straight), V::LoadSamples(straight + kChannels)};
      } else if constexpr (kAtEdge) {
        V::template GatherAtEdge<Sample, kChannels, kFetch>(from, shifted, record, source.frames,
                                                            source.frames + source.count * kChannels, ends);
      } else {
        V::template Gather<Sample, kChannels, kFetch>(from, shifted, record, ends);
      }
      if constexpr (kEntries == Entries::kPicked) {
        V::Put(out, ends.cur);
      } else if constexpr (!kWeights) {
        const Vec product = TabledProduct<V, kEntries>(V::template Size<Sample>(ends), record, *doubt++, q);
        V::Put(out, V::template Apply<Sample>(ends, product));
      } else {
        Vec whole;
        const Vec product = WeightedProduct<V, Sample>(V::template Size<Sample>(ends), record, whole);
        V::Put(out, V::template Apply<Sample>(ends, product));
        if (V::Any(whole)) [[unlikely]] {
          const unsigned bits = ~V::Bits(V::Equal(whole, V::Zero())) & V::kAllBits;
          Repair<Sample, kChannels, kEntries>(
              source, slot + static_cast<std::uint64_t>(at - walk.record) * kOutputs, record,
              kEntries == Entries::kStraight ? straight : from, bits, out);
        }
        straight += V::kWords;
      }
      out += V::kWords;
    }
    walk.record = stop;
    if (!kWeights && stop == walk.end) walk.Wrap(plan);
  }
  return made;
}

/// Stores a word for each output, for all channels of a frame.
template <class V, std::uint32_t kChannels>
CMM_VECTOR_CODE inline void StoreEach(std::uint16_t* to, std::uint16_t* next, typename V::Vec words) {
  if constexpr (kChannels == 1) {
    V::Store(to, words);
  } else {
    V::StorePair(to, next, V::UnpackLow16(words, words), V::UnpackHigh16(words, words));
  }
}

/// The entries of a long cycle from a position on. Every 16-byte lane has 8 outputs, in 64-bit positions of
/// 16 whole and 48 fractional bits: rounded up a little, by less than what would carry a product over a whole
/// number.
/// @param start the first position
template <class V, class Sample, std::uint32_t kChannels, Entries kEntries>
CMM_VECTOR_CODE void FillRecords(Plan& plan, std::uint64_t start, std::uint64_t count) {
  using Vec = typename V::Vec;
  Vec position[4];
  for (std::uint32_t i = 0; i < 4; ++i) position[i] = V::Add64(V::Spread64(start), V::Load(plan.steps[i]));
  const Vec stride = V::Spread64(V::kWords * plan.step);
  Plan::Record* record = plan.records;
  for (std::uint64_t k = 0; k < count; k += V::kWords) {
    // Each position is four words, with the weight in the middle and the frame on top: sort them.
    const Vec a = V::UnpackLow16(position[0], position[1]);
    const Vec b = V::UnpackLow16(position[2], position[3]);
    const Vec c = V::UnpackHigh16(position[0], position[1]);
    const Vec d = V::UnpackHigh16(position[2], position[3]);
    const Vec tops1 = V::UnpackHigh32(a, b);
    const Vec tops2 = V::UnpackHigh32(c, d);
    const Vec high = V::UnpackLow64(tops1, tops2);
    StoreEach<V, kChannels>(record[0].high, record[kChannels - 1].high, high);
    if constexpr (sizeof(Sample) == 2) {
      const Vec low = V::UnpackHigh64(V::UnpackLow32(a, b), V::UnpackLow32(c, d));
      StoreEach<V, kChannels>(record[0].low, record[kChannels - 1].low, low);
    }
    if constexpr (kEntries == Entries::kWeighted) {
      V::template StoreFrames<Sample, kChannels>(record, V::UnpackHigh64(tops1, tops2));
    }
    for (Vec& each : position) each = V::Add64(each, stride);
    record += kChannels;
  }
}

/// Computes all outputs at the plan's few doubtful parts by the double formula: in every cycle the same ones.
/// @param job as it was before the outputs were made
template <class Sample, std::uint32_t kChannels>
void MendParts(const MapJob<Sample>& job) {
  const Plan& plan = *job.plan;
  if (plan.mends == 0) return;
  const std::uint32_t at = plan.Part(job.at.phase);
  for (std::uint32_t i = 0; i < plan.mends; ++i) {
    const std::uint32_t part = plan.mended[i];
    std::uint64_t k = (part > at ? part - at : part + plan.q - at) * plan.inverse % plan.q;
    const Sample* prev = job.frames + (job.at.frame + (at + k * plan.p - 1) / plan.q) * kChannels;
    const double fraction = part * plan.unit * job.inv;
    for (; k < job.outputs; k += plan.q) {
      for (std::uint32_t c = 0; c < kChannels; ++c) {
        const std::int32_t delta = prev[kChannels + c] - prev[c];
        job.out[k * kChannels + c] =
            static_cast<Sample>(prev[c] + static_cast<std::int32_t>(delta * fraction));
      }
      prev += plan.p * kChannels;
    }
  }
}

/// The outputs of a tabled cycle, if they are not fewer than a vector has.
template <class V, class Sample, std::uint32_t kChannels, Entries kEntries, Plan::Fetch kFetch>
CMM_VECTOR_CODE void MapTabled(MapJob<Sample>& job) {
  constexpr std::uint32_t kOutputs = V::kWords / kChannels;
  const Plan& plan = *job.plan;
  const Source<Sample> source{&plan, job.inv, job.frames, static_cast<std::int64_t>(job.frameCount)};
  const std::uint32_t part = plan.Part(job.at.phase);
  Walk walk = Walk::Tabled(plan, part, job.at.frame);
  Sample* out = job.out;
  std::uint64_t left = job.outputs;
  const auto skip = [&](std::uint64_t outputs) {
    out += outputs * kChannels;
    left -= outputs;
  };
  const auto atEdge = [&] {
    RunRecords<V, Sample, kChannels, kEntries, kFetch, true>(source, walk, 0, out, 1);
  };
  if (const std::uint32_t lead = plan.places[part].lead; lead != 0) {
    // Always through the same records: the others would be cold.
    const Walk next = walk.Within(plan, lead);
    atEdge();
    walk = next;
    skip(lead);
  }
  if (kFetch == Plan::Fetch::kJoined && static_cast<std::int64_t>(walk.Frame()) + plan.shift < 0 &&
      left >= kOutputs) {
    atEdge();
    skip(kOutputs);
  }
  skip(kOutputs * RunRecords<V, Sample, kChannels, kEntries, kFetch>(source, walk, 0, out, left / kOutputs));
  while (left >= kOutputs) {
    atEdge();
    skip(kOutputs);
  }
  if (left != 0) {
    // The last vector ends with the last output, and makes some others again.
    walk = walk.Before(plan, left);
    out -= (kOutputs - left) * kChannels;
    left = kOutputs;
    atEdge();
    skip(kOutputs);
  }
  MendParts<Sample, kChannels>(job);
  job.at = {walk.Frame(), walk.record->low[0] * plan.unit};
  job.out = out;
  job.outputs = 0;
}

/// Up to count outputs of a long cycle, by way of the plan's records. @return the number made: whole vectors
template <class V, class Sample, std::uint32_t kChannels, Entries kEntries>
CMM_VECTOR_CODE std::uint64_t MapPiece(MapJob<Sample>& job, std::uint32_t slot, std::uint64_t start,
                                       std::uint64_t count) {
  constexpr std::uint64_t kOutputs = V::kWords / kChannels;
  constexpr Plan::Fetch kFetch = V::kShuffles ? Plan::Fetch::kQuads : Plan::Fetch::kEach;
  Plan& plan = *job.plan;
  FillRecords<V, Sample, kChannels, kEntries>(plan, start, count);
  const auto origin = static_cast<std::int64_t>(job.at.frame);
  const auto frames = static_cast<std::int64_t>(job.frameCount);
  Walk walk{plan.records, plan.records + count / kOutputs, origin};
  return kOutputs * RunRecords<V, Sample, kChannels, kEntries, kFetch>({&plan, job.inv, job.frames, frames},
                                                                       walk, slot, job.out, count / kOutputs);
}

template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE void MapRolling(MapJob<Sample>& job) {
  constexpr std::uint64_t kOutputs = V::kWords / kChannels;
  Plan& plan = *job.plan;
  std::uint32_t slot = plan.Slot(job.at.phase);
  while (job.outputs >= kOutputs) {
    // Up to the next upper end of an interval, which has no weight of 32 bits and is made by itself.
    const std::uint32_t left = slot != 0 ? plan.q - slot : 1;
    std::uint64_t made = std::min<std::uint64_t>({left, job.outputs, Plan::kPiece});
    if (made < kOutputs) {
      MapSome<Sample, kChannels>(job, made);
    } else {
      // Words have weights of 32 bits, and bytes of 16 bits: the next higher number, hardly ever the same.
      constexpr std::uint64_t kRoundUp = sizeof(Sample) == 2 ? 0xFFFF + 2 : (std::uint64_t{1} << 32) - 1024;
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

template <class V, class Sample, std::uint32_t kChannels, Plan::Fetch kFetch>
CMM_VECTOR_CODE void MapTabledBy(MapJob<Sample>& job) {
  if (job.plan->picks) {
    MapTabled<V, Sample, kChannels, Entries::kPicked, kFetch>(job);
  } else if (job.plan->doubtful) {
    MapTabled<V, Sample, kChannels, Entries::kTabledDoubtful, kFetch>(job);
  } else {
    MapTabled<V, Sample, kChannels, Entries::kTabled, kFetch>(job);
  }
}

/// What can be done in vectors, leaving the rest in the job. @return this is the form for the rates
template <class V, class Sample, std::uint32_t kChannels>
CMM_VECTOR_CODE bool MapVectors(MapJob<Sample>& job) {
  using Fetch = Plan::Fetch;
  Plan& plan = *job.plan;
  plan.Prepare(job.srcRate, job.dstRate, kChannels, sizeof(Sample));
  if (V::kShuffles && plan.fetch == Fetch::kEach) return false;
  if (job.outputs < V::kWords / kChannels || !plan.Covers(job.at.phase)) return true;
  if (V::kShuffles && job.frameCount * kChannels * sizeof(Sample) < 32) return true;  // less than a window
  if (plan.kind == Plan::Kind::kRolling) {
    MapRolling<V, Sample, kChannels>(job);
    return true;
  }
  if (!plan.Tabulate(V::kWords, sizeof(Sample), job.inv)) return true;
  if (plan.halves) {
    MapDouble<V, Sample, kChannels>(job);
  } else if constexpr (!V::kShuffles) {
    MapTabledBy<V, Sample, kChannels, Fetch::kEach>(job);
  } else if (plan.fetch == Fetch::kFrames) {
    if constexpr (sizeof(Sample) * kChannels == 4) MapTabledBy<V, Sample, kChannels, Fetch::kFrames>(job);
  } else if (plan.fetch == Fetch::kLanes) {
    MapTabledBy<V, Sample, kChannels, Fetch::kLanes>(job);
  } else if (plan.fetch == Fetch::kJoined) {
    MapTabledBy<V, Sample, kChannels, Fetch::kJoined>(job);
  } else {
    MapTabledBy<V, Sample, kChannels, Fetch::kQuads>(job);
  }
  return true;
}

}  // namespace
}  // namespace resample
