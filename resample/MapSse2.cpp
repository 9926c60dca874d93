// The SSE2 form: each output's two frames are fetched by one small load, at any ratio of rates.
#include "resample/Forms.h"

#if CMM_X86_FORMS

#include <emmintrin.h>

#include <cstring>

#define CMM_VECTOR_CODE [[gnu::target("sse2")]]
#include "resample/VectorMap.h"

namespace resample {

namespace {

#define CMM_OPERATION(name, intrinsic)   \
  static inline Vec name(Vec a, Vec b) { \
    return intrinsic(a, b);              \
  }

struct Sse2 {
  using Vec = __m128i;
  static constexpr std::uint32_t kWords = 8;
  static constexpr unsigned kAllBits = 0xFFFF;
  static constexpr bool kShuffles = false;

  CMM_OPERATION(Add, _mm_add_epi16)
  CMM_OPERATION(Sub, _mm_sub_epi16)
  CMM_OPERATION(SubSaturated, _mm_subs_epu16)
  CMM_OPERATION(MulHigh, _mm_mulhi_epu16)
  CMM_OPERATION(MulLow, _mm_mullo_epi16)
  CMM_OPERATION(Max, _mm_max_epi16)
  CMM_OPERATION(Min, _mm_min_epi16)
  CMM_OPERATION(Equal, _mm_cmpeq_epi16)
  CMM_OPERATION(Greater, _mm_cmpgt_epi16)
  CMM_OPERATION(Xor, _mm_xor_si128)
  CMM_OPERATION(Add64, _mm_add_epi64)
  CMM_OPERATION(Pack, _mm_packus_epi16)
  CMM_OPERATION(UnpackLow8, _mm_unpacklo_epi8)
  CMM_OPERATION(UnpackLow16, _mm_unpacklo_epi16)
  CMM_OPERATION(UnpackHigh16, _mm_unpackhi_epi16)
  CMM_OPERATION(UnpackLow32, _mm_unpacklo_epi32)
  CMM_OPERATION(UnpackHigh32, _mm_unpackhi_epi32)
  CMM_OPERATION(UnpackLow64, _mm_unpacklo_epi64)
  CMM_OPERATION(UnpackHigh64, _mm_unpackhi_epi64)

  static inline Vec Half(Vec words) { return _mm_srli_epi16(words, 1); }
  static inline Vec Zero() { return _mm_setzero_si128(); }
  static inline Vec Ones() { return _mm_set1_epi16(-1); }
  static inline Vec Spread64(std::uint64_t value) {
    return _mm_set1_epi64x(static_cast<std::int64_t>(value));
  }
  static inline Vec Spread16(std::uint16_t value) { return _mm_set1_epi16(static_cast<std::int16_t>(value)); }
  static inline unsigned Bits(Vec words) { return static_cast<unsigned>(_mm_movemask_epi8(words)); }
  static inline bool Any(Vec words) { return Bits(Equal(words, Zero())) != kAllBits; }
  static inline Vec Load(const void* from) { return _mm_loadu_si128(static_cast<const Vec*>(from)); }
  static inline Vec LoadAligned(const void* from) { return _mm_load_si128(static_cast<const Vec*>(from)); }
  static inline void Store(void* to, Vec words) { _mm_storeu_si128(static_cast<Vec*>(to), words); }

  static inline Vec LoadSamples(const std::int16_t* from) { return Load(from); }
  static inline Vec LoadSamples(const std::uint8_t* from) {
    return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const Vec*>(from)), Zero());
  }
  static inline void Put(std::int16_t* out, Vec words) { Store(out, words); }
  static inline void Put(std::uint8_t* out, Vec words) {
    _mm_storel_epi64(reinterpret_cast<Vec*>(out), _mm_packus_epi16(words, words));
  }

  /// Not zero where a is below b and at most 1.
  static inline Vec BelowBoth(Vec a, Vec b) {
    return SubSaturated(Sub(b, SubSaturated(b, _mm_set1_epi16(2))), a);
  }

  template <class Sample>
  static inline Vec Size(const Ends<Sse2>& ends) {
    return Sub(Max(ends.prev, ends.cur), Min(ends.prev, ends.cur));
  }
  template <class Sample>
  static inline Vec Apply(const Ends<Sse2>& ends, Vec product) {
    const Vec falls = Greater(ends.prev, ends.cur);
    return Add(ends.prev, Sub(Xor(product, falls), falls));
  }

  /// Stores what unpacking made of the lower and of the upper halves.
  static inline void StorePair(void* to, void* next, Vec low, Vec high) {
    Store(to, low);
    Store(next, high);
  }
  /// The frames that open the intervals of 8 outputs.
  template <class Sample, std::uint32_t kChannels>
  static inline void StoreFrames(Plan::Record* record, Vec frame) {
    Store(record->index, frame);
    if constexpr (kChannels == 2) Store(record[1].index, UnpackHigh64(frame, frame));
  }

  template <class Sample, std::uint32_t kChannels, Plan::Fetch>
  static inline std::int64_t End(const Plan::Record& record, std::int64_t) {
    return record.index[kWords / kChannels - 1] + 2;
  }

  template <class Sample, std::uint32_t kChannels, Plan::Fetch>
  static inline void Gather(const Sample* from, const Sample*, const Plan::Record& record, Ends<Sse2>& ends) {
    const auto pair = [&](std::uint32_t i) {
      // Two frames, one behind the other: 4 or 8 bytes.
      return Fetch<2 * kChannels * sizeof(Sample)>(from + std::size_t{record.index[i]} * kChannels);
    };
    if constexpr (sizeof(Sample) * kChannels == 4) {
      const Vec a = UnpackLow32(pair(0), pair(1));
      const Vec b = UnpackLow32(pair(2), pair(3));
      ends = {UnpackLow64(a, b), UnpackHigh64(a, b)};
    } else if constexpr (sizeof(Sample) == 2) {
      const Vec a = UnpackLow32(UnpackLow16(pair(0), pair(1)), UnpackLow16(pair(2), pair(3)));
      const Vec b = UnpackLow32(UnpackLow16(pair(4), pair(5)), UnpackLow16(pair(6), pair(7)));
      ends = {UnpackLow64(a, b), UnpackHigh64(a, b)};
    } else if constexpr (kChannels == 2) {
      const Vec a = UnpackLow32(UnpackLow16(pair(0), pair(1)), UnpackLow16(pair(2), pair(3)));
      ends = {_mm_unpacklo_epi8(a, Zero()), _mm_unpackhi_epi8(a, Zero())};
    } else {
      // A word for each output: put together in two chains.
      const auto word = [&](std::uint32_t i) {
        std::uint16_t bytes = 0;
        std::memcpy(&bytes, from + record.index[i], 2);
        return static_cast<int>(bytes);
      };
      Vec low = _mm_cvtsi32_si128(word(0));
      Vec high = _mm_cvtsi32_si128(word(4));
      low = _mm_insert_epi16(low, word(1), 1);
      high = _mm_insert_epi16(high, word(5), 1);
      low = _mm_insert_epi16(low, word(2), 2);
      high = _mm_insert_epi16(high, word(6), 2);
      low = _mm_insert_epi16(low, word(3), 3);
      high = _mm_insert_epi16(high, word(7), 3);
      const Vec both = UnpackLow64(low, high);
      ends = {_mm_and_si128(both, _mm_set1_epi16(0xFF)), _mm_srli_epi16(both, 8)};
    }
  }

  template <class Sample, std::uint32_t kChannels, Plan::Fetch kFetch>
  static inline void GatherAtEdge(const Sample* from, const Sample* shifted, const Plan::Record& record,
                                  const Sample*, const Sample*, Ends<Sse2>& ends) {
    Gather<Sample, kChannels, kFetch>(from, shifted, record, ends);
  }

 private:
  template <std::size_t kBytes>
  static inline Vec Fetch(const void* from) {
    if constexpr (kBytes == 8) {
      return _mm_loadl_epi64(static_cast<const Vec*>(from));
    } else {
      std::int32_t bytes = 0;
      std::memcpy(&bytes, from, 4);
      return _mm_cvtsi32_si128(bytes);
    }
  }
};

}  // namespace

template <class Sample, std::uint32_t kChannels>
void MapSse2(MapJob<Sample>& job) {
  MapVectors<Sse2, Sample, kChannels>(job);
  MapSome<Sample, kChannels>(job, job.outputs);
}

template void MapSse2<std::int16_t, 1>(MapJob<std::int16_t>&);
template void MapSse2<std::int16_t, 2>(MapJob<std::int16_t>&);
template void MapSse2<std::uint8_t, 1>(MapJob<std::uint8_t>&);
template void MapSse2<std::uint8_t, 2>(MapJob<std::uint8_t>&);

}  // namespace resample

#endif
