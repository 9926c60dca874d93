// The AVX2 form: the frames of 8 samples are fetched by one load and one shuffle, or by two of each.
#include "resample/Forms.h"

#if CMM_X86_FORMS

#include <immintrin.h>

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
  CMM_VECTOR_CODE static inline Vec One() { return _mm256_set1_epi16(1); }
  CMM_VECTOR_CODE static inline Vec Ones() { return _mm256_set1_epi16(-1); }
  CMM_VECTOR_CODE static inline Vec Spread64(std::uint64_t value) {
    return _mm256_set1_epi64x(static_cast<std::int64_t>(value));
  }
  CMM_VECTOR_CODE static inline bool Any(Vec words) { return _mm256_testz_si256(words, words) == 0; }
  CMM_VECTOR_CODE static inline Vec Load(const void* from) {
    return _mm256_loadu_si256(static_cast<const Vec*>(from));
  }
  CMM_VECTOR_CODE static inline void Store(void* to, Vec words) {
    _mm256_storeu_si256(static_cast<Vec*>(to), words);
  }

  CMM_VECTOR_CODE static inline void Put(std::int16_t* out, Vec words) { Store(out, words); }
  CMM_VECTOR_CODE static inline void Put(std::uint8_t* out, Vec words) {
    const __m128i bytes = _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes);
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

  template <class Sample, std::uint32_t kChannels>
  static bool Reaches(const Plan& plan) {
    return plan.halfReach < kWindow<Sample, kChannels>;
  }

  template <class Sample, std::uint32_t kChannels>
  CMM_VECTOR_CODE static inline void StoreShuffles(Plan& plan, std::uint64_t entry, Vec frame) {
    if constexpr (kChannels == 1) {
      StoreLanes<Sample, kChannels>(plan, entry, frame);
    } else {
      StoreLanes<Sample, kChannels>(plan, entry, UnpackLow16(frame, frame));
      StoreLanes<Sample, kChannels>(plan, entry + 4, UnpackHigh16(frame, frame));
    }
  }

  template <class Sample, std::uint32_t kChannels>
  CMM_VECTOR_CODE static inline bool Gather(const Sample* frames, std::int64_t frameCount,
                                            std::int64_t origin, const Plan& plan, std::uint32_t entry,
                                            Ends<Avx2>& ends) {
    constexpr std::uint32_t kLane = 8 / kChannels;  // outputs in 16 bytes of words
    constexpr std::uint32_t kHalf = kLane / 2;
    constexpr std::int64_t kRead = kWindow<Sample, kChannels> + 1;
    const auto frame = [&](std::uint32_t i) { return origin + plan.index[entry + i]; };
    const bool near = plan.reach < kWindow<Sample, kChannels>;
    if (frame(near ? kLane : kLane + kHalf) + kRead > frameCount) return false;
    const Sample* const low = frames + frame(0) * kChannels;
    const Sample* const high = frames + frame(kLane) * kChannels;
    const Vec take = Load2(plan.shuffle[entry], plan.shuffle[entry + kLane]);
    ends.prev = _mm256_shuffle_epi8(Load2(low, high), take);
    ends.cur = _mm256_shuffle_epi8(Load2(low + kChannels, high + kChannels), take);
    if (near) return true;
    // The second half of each lane lies outside the window: it has one of its own.
    const Sample* const low2 = frames + frame(kHalf) * kChannels;
    const Sample* const high2 = frames + frame(kLane + kHalf) * kChannels;
    const Vec take2 = Load2(plan.shuffle[entry + kHalf], plan.shuffle[entry + kLane + kHalf]);
    ends.prev = UnpackLow64(ends.prev, _mm256_shuffle_epi8(Load2(low2, high2), take2));
    ends.cur = UnpackLow64(ends.cur, _mm256_shuffle_epi8(Load2(low2 + kChannels, high2 + kChannels), take2));
    return true;
  }

 private:
  CMM_VECTOR_CODE static inline Vec Load2(const void* low, const void* high) {
    return _mm256_loadu2_m128i(static_cast<const __m128i*>(high), static_cast<const __m128i*>(low));
  }
  /// The shuffles of each lane's 8 samples, and those of their second half where it has a window of its own.
  template <class Sample, std::uint32_t kChannels>
  CMM_VECTOR_CODE static inline void StoreLanes(Plan& plan, std::uint64_t entry, Vec frame) {
    StoreShuffle<Sample, kChannels>(plan, entry, frame);
    if (plan.reach < kWindow<Sample, kChannels>) return;
    StoreShuffle<Sample, kChannels>(plan, entry + 4 / kChannels, _mm256_bsrli_epi128(frame, 8));
  }
  template <class Sample, std::uint32_t kChannels>
  CMM_VECTOR_CODE static inline void StoreShuffle(Plan& plan, std::uint64_t entry, Vec frame) {
    using Word = ShuffleWord<sizeof(Sample), kChannels>;
    const Vec mul = _mm256_set1_epi16(static_cast<std::int16_t>(Word::kMul));
    const Vec add = _mm256_set1_epi32(
        static_cast<std::int32_t>(Word::Add(0) | std::uint32_t{Word::Add(kChannels - 1)} << 16));
    const Vec from = Sub(frame, _mm256_shuffle_epi8(frame, _mm256_set1_epi16(0x0100)));
    _mm256_storeu2_m128i(reinterpret_cast<__m128i*>(plan.shuffle[entry + 8]),
                         reinterpret_cast<__m128i*>(plan.shuffle[entry]), Add(MulLow(from, mul), add));
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
