#pragma once

#include <cstdint>
#include <type_traits>

#include "resample/Plan.h"

// The one place that asks for the processor: with vector forms, the portable form is still the last resort of
// each.
#if defined(__x86_64__) || defined(__i386__)
#define CMM_X86_FORMS 1
#else
#define CMM_X86_FORMS 0
#endif

namespace resample {

/// Where an output lies: in the interval that frame opens, phase / dstRate behind it, 0 < phase <= dstRate.
struct Position {
  std::uint64_t frame;
  std::uint32_t phase;
};

/// Outputs to make from a block, one after another. Every output, and the one behind the last, has both ends
/// of its interval in the block. The forms move the job on as they work.
template <class Sample>
struct MapJob {
  const Sample* frames;
  std::uint64_t frameCount;
  Sample* out;
  std::uint64_t outputs;
  Position at;
  std::uint32_t srcRate;
  std::uint32_t dstRate;
  double inv;  ///< 1.0 / dstRate
  Plan* plan;

  /// Takes note of outputs that have been made. There is no rounding: positions are whole numbers.
  void Advance(std::uint64_t made, std::uint32_t channels) {
    const std::uint64_t total = at.phase + made * srcRate;
    const std::uint64_t passed = (total - 1) / dstRate;
    at.frame += passed;
    at.phase = static_cast<std::uint32_t>(total - passed * dstRate);
    out += made * channels;
    outputs -= made;
  }
};

template <class Sample>
using MapFunction = void (*)(MapJob<Sample>& job);

/// One way to make the outputs, for each layout. All forms give the same bits.
struct Form {
  const char* name;
  bool (*supported)();
  MapFunction<std::int16_t> words[2];
  MapFunction<std::uint8_t> bytes[4];

  template <class Sample, std::uint32_t kChannels>
  MapFunction<Sample> Map() const {
    if constexpr (std::is_same_v<Sample, std::int16_t>) {
      return words[kChannels - 1];
    } else {
      return bytes[kChannels - 1];
    }
  }
};

extern const Form kPortableForm;
#if CMM_X86_FORMS
extern const Form kSse2Form;
extern const Form kAvx2Form;
#endif

/// The quickest form that this processor supports.
const Form& BestForm();

/// The plain map over outputs, on any processor: makes the next count outputs.
template <class Sample, std::uint32_t kChannels>
void MapSome(MapJob<Sample>& job, std::uint64_t count) {
  if (count == 0) return;
  const std::uint64_t whole = std::uint64_t{job.srcRate / job.dstRate} * kChannels;
  const std::int64_t step = job.srcRate % job.dstRate;
  const std::int64_t back = step - job.dstRate;
  const double inv = job.inv;
  const Sample* prev = job.frames + job.at.frame * kChannels;
  Sample* out = job.out;
  std::int64_t before = std::int64_t{job.at.phase} - 1;  // one less than the phase: 0 to dstRate - 1
  for (std::uint64_t k = 0; k < count; ++k) {
    const double fraction = static_cast<std::uint32_t>(before + 1) * inv;
    for (std::uint32_t c = 0; c < kChannels; ++c) {
      const std::int32_t delta = prev[kChannels + c] - prev[c];
      out[c] = static_cast<Sample>(prev[c] + static_cast<std::int32_t>(delta * fraction));
    }
    out += kChannels;
    const std::int64_t next = before + back;
    prev += next >= 0 ? whole + kChannels : whole;
    before = next >= 0 ? next : before + step;
  }
  job.at = {static_cast<std::uint64_t>(prev - job.frames) / kChannels,
            static_cast<std::uint32_t>(before + 1)};
  job.out = out;
  job.outputs -= count;
}

template <class Sample, std::uint32_t kChannels>
void MapPortable(MapJob<Sample>& job) {
  MapSome<Sample, kChannels>(job, job.outputs);
}

#if CMM_X86_FORMS
template <class Sample, std::uint32_t kChannels>
void MapSse2(MapJob<Sample>& job);
/// Leaves to MapSse2 what its shuffles cannot reach.
template <class Sample, std::uint32_t kChannels>
void MapAvx2(MapJob<Sample>& job);
#endif

}  // namespace resample
