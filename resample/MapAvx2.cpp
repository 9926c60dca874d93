// The AVX2 form: the frames of 8 samples are fetched by one load and one shuffle, or by two of each.
#include "resample/Forms.h"

#if CMM_X86_FORMS

#include <immintrin.h>

#include <bit>

#define CMM_VECTOR_CODE [[gnu::target("avx2")]]
#include "resample/VectorMap.h"

namespace resample {

namespace {

#define CMM_OPERATION(name, intrinsic)                   \
  CMM_VECTOR_CODE static inline Vec name(Vec a, Vec b) { \
    return intrinsic(a, b);                              \
  }

struct Avx2 {
  using Vec = __m256i;
  static constexpr std::uint32_t kWords = 16;
  static constexpr unsigned kAllBits = 0xFFFFFFFF;

  CMM_OPERATION(Add, _mm256_add_epi16)
  CMM_OPERATION(Sub, _mm256_sub_epi16)
  CMM_OPERATION(SubSaturated, _mm256_subs_epu16)
  CMM_OPERATION(MulHigh, _mm256_mulhi_epu16)
  CMM_OPERATION(MulLow, _mm256_mullo_epi16)
  CMM_OPERATION(Max, _mm256_max_epi16)
  CMM_OPERATION(Min, _mm256_min_epi16)
  CMM_OPERATION(Equal, _mm256_cmpeq_epi16)
  CMM_OPERATION(Greater, _mm256_cmpgt_epi16)
  CMM_OPERATION(Xor, _mm256_xor_si256)
  CMM_OPERATION(AndNot, _mm256_andnot_si256)
  CMM_OPERATION(Add64, _mm256_add_epi64)
  CMM_OPERATION(UnpackLow16, _mm256_unpacklo_epi16)
  CMM_OPERATION(UnpackHigh16, _mm256_unpackhi_epi16)
  CMM_OPERATION(UnpackLow32, _mm256_unpacklo_epi32)
  CMM_OPERATION(UnpackHigh32, _mm256_unpackhi_epi32)
  CMM_OPERATION(UnpackLow64, _mm256_unpacklo_epi64)
  CMM_OPERATION(UnpackHigh64, _mm256_unpackhi_epi64)

  CMM_VECTOR_CODE static inline Vec Zero() { return _mm256_setzero_si256(); }
  CMM_VECTOR_CODE static inline Vec Ones() { return _mm256_set1_epi16(-1); }
  CMM_VECTOR_CODE static inline Vec Spread64(std::uint64_t value) {
    return _mm256_set1_epi64x(static_cast<std::int64_t>(value));
  }
  CMM_VECTOR_CODE static inline Vec Spread16(std::uint16_t value) {
    return _mm256_set1_epi16(static_cast<std::int16_t>(value));
  }
  CMM_VECTOR_CODE static inline unsigned Bits(Vec words) {
    return static_cast<unsigned>(_mm256_movemask_epi8(words));
  }
  CMM_VECTOR_CODE static inline bool Any(Vec words) { return _mm256_testz_si256(words, words) == 0; }
  CMM_VECTOR_CODE static inline Vec Load(const void* from) {
    return _mm256_loadu_si256(static_cast<const Vec*>(from));
  }
  CMM_VECTOR_CODE static inline void Store(void* to, Vec words) {
    _mm256_storeu_si256(static_cast<Vec*>(to), words);
  }

  CMM_VECTOR_CODE static inline Vec LoadSamples(const std::int16_t* from) { return Load(from); }
  CMM_VECTOR_CODE static inline Vec LoadSamples(const std::uint8_t* from) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
  }
  CMM_VECTOR_CODE static inline void Put(std::int16_t* out, Vec words) { Store(out, words); }
  CMM_VECTOR_CODE static inline void Put(std::uint8_t* out, Vec words) {
    const __m128i bytes = _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
  }

  /// Not zero where a is below b and at most 1.
  CMM_VECTOR_CODE static inline Vec BelowBoth(Vec a, Vec b) {
    return SubSaturated(_mm256_min_epu16(b, _mm256_set1_epi16(2)), a);
  }

  // Differences of 8-bit samples have a sign of their own in 16 bits.
  template <class Sample>
  CMM_VECTOR_CODE static inline Vec Size(const Ends<Avx2>& ends) {
    if constexpr (sizeof(Sample) == 1) {
      return _mm256_abs_epi16(Sub(ends.cur, ends.prev));
    } else {
      return Sub(Max(ends.prev, ends.cur), Min(ends.prev, ends.cur));
    }
  }
  template <class Sample>
  CMM_VECTOR_CODE static inline Vec Apply(const Ends<Avx2>& ends, Vec product) {
    if constexpr (sizeof(Sample) == 1) {
      return Add(ends.prev, _mm256_sign_epi16(product, Sub(ends.cur, ends.prev)));
    } else {
      const Vec falls = Greater(ends.prev, ends.cur);
      return Add(ends.prev, Sub(Xor(product, falls), falls));
    }
  }

  template <std::uint32_t kChannels>
  CMM_VECTOR_CODE static inline void StorePerSample(std::uint16_t* to, Vec words) {
    if constexpr (kChannels == 1) {
      Store(to, words);
    } else {
      const Vec a = UnpackLow16(words, words);
      const Vec b = UnpackHigh16(words, words);
      Store(to, _mm256_permute2x128_si256(a, b, 0x20));
      Store(to + kWords, _mm256_permute2x128_si256(a, b, 0x31));
    }
  }

  /// Frames within 16 bytes.
  template <class Sample, std::uint32_t kChannels>
  static constexpr std::uint32_t kWindow = 16 / (kChannels * sizeof(Sample));

  /// Both ends of 4 samples' intervals lie within 16 bytes.
  template <class Sample, std::uint32_t kChannels>
  static bool Reaches(const Plan& plan) {
    return plan.reach + 1 < kWindow<Sample, kChannels>;
  }

  template <class Sample, std::uint32_t kChannels>
  CMM_VECTOR_CODE static inline bool Gather(const Sample* from, std::int64_t frames, const Cursor& at,
                                            Ends<Avx2>& ends) {
    constexpr std::uint32_t kHalf = 4 / kChannels;
    const std::uint16_t* const index = at.index;
    if (index[3 * kHalf] + std::int64_t{kWindow<Sample, kChannels>} > frames) return false;
    const Vec a = Load2(from + index[0] * kChannels, from + index[2 * kHalf] * kChannels);
    const Vec b = Load2(from + index[kHalf] * kChannels, from + index[3 * kHalf] * kChannels);
    const Vec pairsA = _mm256_shuffle_epi8(a, Load(at.shuffle));
    const Vec pairsB = _mm256_shuffle_epi8(b, Load(at.shuffle + kHalf * sizeof(Plan::shuffle[0])));
    ends = {UnpackLow64(pairsA, pairsB), UnpackHigh64(pairsA, pairsB)};
    return true;
  }

  /// The shuffles for 16 outputs, from the frames that open their intervals.
  template <class Sample, std::uint32_t kChannels>
  CMM_VECTOR_CODE static inline void StoreShuffles(Plan& plan, std::uint64_t entry, Vec frame) {
    constexpr int kShift = std::bit_width(kChannels * sizeof(Sample)) - 1;
    const Vec byte = _mm256_slli_epi16(frame, kShift);
    if constexpr (kChannels == 1) {
      StoreHalves<Sample, kChannels>(plan, entry, byte);
    } else {
      StoreHalves<Sample, kChannels>(plan, entry, _mm256_permute2x128_si256(byte, byte, 0x00));
      StoreHalves<Sample, kChannels>(plan, entry + 8, _mm256_permute2x128_si256(byte, byte, 0x11));
    }
  }

 private:
  /// How the shuffles for a half of each lane's 8 samples come from the low bytes of the words in which the
  /// lane has 8 outputs' frame numbers, in bytes: each sample's, less the first one's, plus its place.
  struct Pattern {
    alignas(32) std::uint8_t sample[32];
    alignas(32) std::uint8_t first[32];
    alignas(32) std::uint8_t place[32];
  };
  template <class Sample, std::uint32_t kChannels>
  static constexpr Pattern MakePattern(std::uint32_t half) {
    constexpr std::uint8_t kZero = 0x80;
    Pattern pattern = {};
    for (std::uint32_t i = 0; i < 32; ++i) {
      const std::uint32_t output = 4 / kChannels * half + (kChannels == 2 ? i / 16 * 4 : 0);
      const std::uint32_t word = i % 16 / 2;
      const std::uint32_t place = (word / 4 * kChannels + word % kChannels) * sizeof(Sample);
      const bool above = sizeof(Sample) == 1 && i % 2 == 1;  // an 8-bit sample has a zero above it
      pattern.sample[i] = above ? kZero : static_cast<std::uint8_t>(2 * (output + word % 4 / kChannels));
      pattern.first[i] = above ? kZero : static_cast<std::uint8_t>(2 * output);
      pattern.place[i] = above ? kZero : static_cast<std::uint8_t>(place + i % 2);
    }
    return pattern;
  }
  template <class Sample, std::uint32_t kChannels>
  static constexpr Pattern kPatterns[2] = {MakePattern<Sample, kChannels>(0),
                                           MakePattern<Sample, kChannels>(1)};

  template <class Sample, std::uint32_t kChannels>
  CMM_VECTOR_CODE static inline void StoreHalves(Plan& plan, std::uint64_t entry, Vec byte) {
    for (std::uint32_t half = 0; half < 2; ++half) {
      const Pattern& pattern = kPatterns<Sample, kChannels>[half];
      const Vec sample = _mm256_shuffle_epi8(byte, Load(pattern.sample));
      const Vec first = _mm256_shuffle_epi8(byte, Load(pattern.first));
      Store(plan.shuffle[entry + 4 / kChannels * half],
            _mm256_add_epi8(_mm256_sub_epi8(sample, first), Load(pattern.place)));
    }
  }
  CMM_VECTOR_CODE static inline Vec Load2(const void* low, const void* high) {
    return _mm256_loadu2_m128i(static_cast<const __m128i*>(high), static_cast<const __m128i*>(low));
  }
};

}  // namespace

template <class Sample, std::uint32_t kChannels>
void MapAvx2(MapJob<Sample>& job) {
  MapVectors<Avx2, Sample, kChannels>(job);
  MapSse2<Sample, kChannels>(job);
}

template void MapAvx2<std::int16_t, 1>(MapJob<std::int16_t>&);
template void MapAvx2<std::int16_t, 2>(MapJob<std::int16_t>&);
template void MapAvx2<std::uint8_t, 1>(MapJob<std::uint8_t>&);
template void MapAvx2<std::uint8_t, 2>(MapJob<std::uint8_t>&);

}  // namespace resample

#endif
