// The AVX2 map: the formula of the filters in double precision, eight outputs in each round of its loop.
// docs/resample.md shows it with numbers.
#include "resample/Map.h"

#if defined(__x86_64__) || defined(__i386__)

#include <cpuid.h>
#include <immintrin.h>

#include <algorithm>
#include <array>

// Marks the functions that may use AVX2; everything else in the library runs without.
#define CMM_AVX2 [[gnu::target("avx2")]]
#define CMM_AVX2_INLINE [[gnu::target("avx2"), gnu::always_inline]] inline

namespace resample {

namespace {

constexpr std::uint32_t kGroup = 8;         ///< outputs made in each round of the loop
constexpr std::uint32_t kVectorBytes = 16;  ///< of the block, read for each vector

/// A vector has four lanes of 32 bits, one for each sample of 4, 2 or 1 outputs: the first channel of all of
/// them, then the second one, and so on.
template <class Sample, std::uint32_t kChannels>
struct Layout {
  static constexpr std::uint32_t kSampleBytes = sizeof(Sample);
  static constexpr std::uint32_t kFrameBytes = kChannels * kSampleBytes;
  static constexpr std::uint32_t kOutputs = kChannels == 1 ? 4 : kChannels == 2 ? 2 : 1;
  static constexpr std::uint32_t kCodes = 1U << kOutputs;

  static constexpr std::uint32_t Lane(std::uint32_t output, std::uint32_t channel) {
    return channel * kOutputs + output;
  }
};

/// For each byte of a vector the number of the byte that comes there; 0x80 makes it 0.
struct alignas(16) Shuffle {
  std::array<std::uint8_t, 16> from = {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
                                       0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
};

/// How a vector's samples are picked where the step from output to output is a number of whole frames or one
/// frame more. Bit i of the code is set where the step after the vector's output i is the longer one.
template <class Sample, std::uint32_t kChannels>
struct Steps {
  using Vector = Layout<Sample, kChannels>;

  /// @param shorter frames of the shorter step
  constexpr explicit Steps(std::uint32_t shorter) {
    for (std::uint32_t code = 0; code < Vector::kCodes; ++code) {
      std::uint32_t frame = 0;
      for (std::uint32_t output = 0; output < Vector::kOutputs; ++output) {
        PickEnds(ends[code], output, frame * Vector::kFrameBytes);
        frame += shorter + (code >> output & 1);
      }
      advance[code] = static_cast<std::ptrdiff_t>(std::size_t{frame} * Vector::kFrameBytes);
    }
  }

  std::array<Shuffle, Vector::kCodes> ends;  ///< to the lanes: lower ends, and upper ends above them
  std::array<std::ptrdiff_t, Vector::kCodes> advance;  ///< in bytes, from this vector to the next

 private:
  static constexpr void PickEnds(Shuffle& shuffle, std::uint32_t output, std::uint32_t lowerFrame) {
    for (std::uint32_t i = 0; i < Vector::kFrameBytes; ++i) {
      const std::uint32_t lane =
          4 * Vector::Lane(output, i / Vector::kSampleBytes) + i % Vector::kSampleBytes;
      shuffle.from[lane] = static_cast<std::uint8_t>(lowerFrame + i);
      shuffle.from[lane + 2] = static_cast<std::uint8_t>(lowerFrame + Vector::kFrameBytes + i);
    }
  }
};

constexpr std::uint32_t kStepKinds = 4;  ///< steps have 0 to 3 whole frames

template <class Sample, std::uint32_t kChannels>
constexpr std::array<Steps<Sample, kChannels>, kStepKinds> kSteps = {
    Steps<Sample, kChannels>(0), Steps<Sample, kChannels>(1), Steps<Sample, kChannels>(2),
    Steps<Sample, kChannels>(3)};

/// Moves the low bits of each lane to their position in the output.
template <class Sample, std::uint32_t kChannels>
constexpr Shuffle MakePack() {
  using Vector = Layout<Sample, kChannels>;
  Shuffle pack;
  for (std::uint32_t i = 0; i < Vector::kOutputs * Vector::kFrameBytes; ++i) {
    const std::uint32_t sample = i / Vector::kSampleBytes;
    const std::uint32_t lane = Vector::Lane(sample / kChannels, sample % kChannels);
    pack.from[i] = static_cast<std::uint8_t>(4 * lane + i % Vector::kSampleBytes);
  }
  return pack;
}

template <class Sample, std::uint32_t kChannels>
constexpr Shuffle kPack = MakePack<Sample, kChannels>();

CMM_AVX2_INLINE __m128i Load(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

/// Phases of later outputs: back by dstRate where they would pass it. Exact, as all are integers.
/// @param by 0 to dstRate - 1
CMM_AVX2_INLINE __m256d Advance(__m256d phases, __m256d by, __m256d dstRate) {
  const __m256d passes = _mm256_cmp_pd(phases, _mm256_sub_pd(dstRate, by), _CMP_GT_OQ);
  return _mm256_add_pd(phases, _mm256_blendv_pd(by, _mm256_sub_pd(by, dstRate), passes));
}

/// The sum of two such advances.
constexpr std::uint32_t Advance(std::uint32_t by, std::uint32_t more, std::uint32_t dstRate) {
  return by < dstRate - more ? by + more : by - (dstRate - more);
}

/// Makes the outputs of one vector, and moves on to the next. Of three channels it stores a byte too much,
/// which the next output overwrites.
/// @tparam kWide    upper ends may lie beyond the vector's bytes, by a frame at the most
/// @param fractions of the lanes
template <bool kWide, class Sample, std::uint32_t kChannels>
CMM_AVX2_INLINE void MakeVector(const Steps<Sample, kChannels>& steps, int code, __m256d fractions,
                                const Sample*& from, Sample*& out) {
  using Vector = Layout<Sample, kChannels>;
  const auto index = static_cast<std::size_t>(code);
  const __m128i shuffle = Load(&steps.ends[index]);
  __m128i ends = _mm_shuffle_epi8(Load(from), shuffle);
  if constexpr (kWide) {
    const __m128i earlier = _mm_sub_epi8(shuffle, _mm_set1_epi8(Vector::kFrameBytes));
    ends = _mm_blend_epi16(ends, _mm_shuffle_epi8(Load(from + kChannels), earlier), 0xAA);
  }
  const __m128i delta = _mm_madd_epi16(ends, _mm_set1_epi32(0x0001FFFF));  // upper end * 1 + lower end * -1
  const __m256d product = _mm256_mul_pd(_mm256_cvtepi32_pd(delta), fractions);
  // Truncated, as the conversion to a whole number in MapPortable. The lower end is in the low bits.
  const __m128i sum = _mm_add_epi32(ends, _mm256_cvttpd_epi32(product));
  const __m128i packed = _mm_shuffle_epi8(sum, Load(&kPack<Sample, kChannels>));
  if constexpr (sizeof(Sample) == 2) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), packed);
  } else {
    _mm_storeu_si32(out, packed);
  }
  from = reinterpret_cast<const Sample*>(reinterpret_cast<const char*>(from) + steps.advance[index]);
  out += Vector::kOutputs * kChannels;
}

/// Makes four outputs.
/// @param codes the codes of their vectors, the first one's in the lowest bits
template <bool kWide, class Sample, std::uint32_t kChannels>
CMM_AVX2_INLINE void MakeFour(const Steps<Sample, kChannels>& steps, int codes, __m256d fractions,
                              const Sample*& from, Sample*& out) {
  if constexpr (kChannels == 1) {
    MakeVector<kWide>(steps, codes, fractions, from, out);
  } else if constexpr (kChannels == 2) {
    MakeVector<kWide>(steps, codes & 3, _mm256_permute2f128_pd(fractions, fractions, 0x00), from, out);
    MakeVector<kWide>(steps, codes >> 2, _mm256_permute2f128_pd(fractions, fractions, 0x11), from, out);
  } else {
    MakeVector<kWide>(steps, codes & 1, _mm256_permute4x64_pd(fractions, 0x00), from, out);
    MakeVector<kWide>(steps, codes >> 1 & 1, _mm256_permute4x64_pd(fractions, 0x55), from, out);
    MakeVector<kWide>(steps, codes >> 2 & 1, _mm256_permute4x64_pd(fractions, 0xAA), from, out);
    MakeVector<kWide>(steps, codes >> 3, _mm256_permute4x64_pd(fractions, 0xFF), from, out);
  }
}

/// @return of the outputs to make, the number of groups whose vectors lie completely in the block
template <class Sample>
std::uint64_t GroupsInside(const Outputs<Sample>& outputs, std::uint64_t vectorFrames) {
  if (outputs.frame + vectorFrames > outputs.frames) return 0;
  // Vectors may begin with the outputs of these intervals.
  const std::uint64_t intervals = outputs.frames - vectorFrames - outputs.frame + 1;
  const std::uint64_t inside = (intervals * outputs.dstRate - outputs.phase) / outputs.srcRate + 1;
  return std::min(inside, outputs.count) / kGroup;
}

template <class Sample, std::uint32_t kChannels, bool kWide>
CMM_AVX2 void MapGroups(Outputs<Sample>& outputs) {
  constexpr std::uint32_t kFrameBytes = Layout<Sample, kChannels>::kFrameBytes;
  const std::uint64_t groups =
      GroupsInside(outputs, (kVectorBytes + kFrameBytes - 1) / kFrameBytes + (kWide ? 1 : 0));
  if (groups == 0) return;
  const Steps<Sample, kChannels>& steps = kSteps<Sample, kChannels>[outputs.srcRate / outputs.dstRate];
  const std::uint32_t part = outputs.srcRate % outputs.dstRate;
  const std::uint32_t part2 = Advance(part, part, outputs.dstRate);
  const std::uint32_t part4 = Advance(part2, part2, outputs.dstRate);
  const std::uint32_t part8 = Advance(part4, part4, outputs.dstRate);
  const __m256d dstRate = _mm256_set1_pd(outputs.dstRate);
  const __m256d inv = _mm256_set1_pd(outputs.inv);
  const __m256d longAbove = _mm256_set1_pd(outputs.dstRate - part);
  const __m256d byGroup = _mm256_set1_pd(part8);
  const __m256d first = _mm256_setr_pd(0, part, part2, Advance(part2, part, outputs.dstRate));
  __m256d low = Advance(_mm256_set1_pd(outputs.phase), first, dstRate);
  __m256d high = Advance(low, _mm256_set1_pd(part4), dstRate);
  const Sample* from = outputs.block + outputs.frame * kChannels;
  Sample* out = outputs.out;
  for (std::uint64_t i = 0; i < groups; ++i) {
    // Both halves are prepared before either is made: one after the other takes a tenth longer.
    const int lowCodes = _mm256_movemask_pd(_mm256_cmp_pd(low, longAbove, _CMP_GT_OQ));
    const int highCodes = _mm256_movemask_pd(_mm256_cmp_pd(high, longAbove, _CMP_GT_OQ));
    const __m256d lowFractions = _mm256_mul_pd(low, inv);
    const __m256d highFractions = _mm256_mul_pd(high, inv);
    low = Advance(low, byGroup, dstRate);
    high = Advance(high, byGroup, dstRate);
    MakeFour<kWide>(steps, lowCodes, lowFractions, from, out);
    MakeFour<kWide>(steps, highCodes, highFractions, from, out);
  }
  outputs.frame = static_cast<std::uint64_t>(from - outputs.block) / kChannels;
  outputs.phase = static_cast<std::uint32_t>(_mm256_cvtsd_f64(low));
  outputs.out = out;
  outputs.count -= groups * kGroup;
}

}  // namespace

template <class Sample, std::uint32_t kChannels>
void MapAvx2(Outputs<Sample>& outputs) {
  using Vector = Layout<Sample, kChannels>;
  constexpr std::uint64_t kFrames = kVectorBytes / Vector::kFrameBytes;
  const std::uint64_t srcRate = outputs.srcRate;
  const std::uint64_t dstRate = outputs.dstRate;
  if (srcRate >= kStepKinds * dstRate) return;
  // What is read has the frames from a vector's first output to its last, rounded up, and one interval more.
  const std::uint64_t steps = (Vector::kOutputs - 1) * srcRate;
  if (steps <= (kFrames - 2) * dstRate) {
    MapGroups<Sample, kChannels, false>(outputs);
  } else if constexpr (sizeof(Sample) == 2) {
    if (steps <= (kFrames - 1) * dstRate) MapGroups<Sample, kChannels, true>(outputs);
  }
}

/// The system must save the wide registers, too, when it switches threads. The compiler's own query would
/// bring an initialiser into the library.
bool HasAvx2() {
  constexpr unsigned kWideState = 6;
  unsigned a = 0;
  unsigned b = 0;
  unsigned c = 0;
  unsigned d = 0;
  if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & bit_OSXSAVE) == 0 || (c & bit_AVX) == 0) return false;
  unsigned low = 0;
  unsigned high = 0;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  if ((low & kWideState) != kWideState) return false;
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_AVX2) != 0;
}

#else

namespace resample {

template <class Sample, std::uint32_t kChannels>
void MapAvx2(Outputs<Sample>&) {}

bool HasAvx2() {
  return false;
}

#endif

Map BestMap() {
  static const Map best = HasAvx2() ? Map::kAvx2 : Map::kPortable;
  return best;
}

template void MapAvx2<std::int16_t, 1>(Outputs<std::int16_t>&);
template void MapAvx2<std::int16_t, 2>(Outputs<std::int16_t>&);
template void MapAvx2<std::uint8_t, 1>(Outputs<std::uint8_t>&);
template void MapAvx2<std::uint8_t, 2>(Outputs<std::uint8_t>&);
template void MapAvx2<std::uint8_t, 3>(Outputs<std::uint8_t>&);
template void MapAvx2<std::uint8_t, 4>(Outputs<std::uint8_t>&);

}  // namespace resample
