// The AVX2 form: the frames of many samples are fetched by few loads and shuffles, at ratios up to about 2.
#include "resample/Forms.h"

#if CMM_X86_FORMS

#include <immintrin.h>

#include <algorithm>
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
  static constexpr bool kShuffles = true;

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
  CMM_OPERATION(Add64, _mm256_add_epi64)
  CMM_OPERATION(Pack, _mm256_packus_epi16)
  CMM_OPERATION(UnpackLow8, _mm256_unpacklo_epi8)
  CMM_OPERATION(UnpackLow16, _mm256_unpacklo_epi16)
  CMM_OPERATION(UnpackHigh16, _mm256_unpackhi_epi16)
  CMM_OPERATION(UnpackLow32, _mm256_unpacklo_epi32)
  CMM_OPERATION(UnpackHigh32, _mm256_unpackhi_epi32)
  CMM_OPERATION(UnpackLow64, _mm256_unpacklo_epi64)
  CMM_OPERATION(UnpackHigh64, _mm256_unpackhi_epi64)

  CMM_VECTOR_CODE static inline Vec Half(Vec words) { return _mm256_srli_epi16(words, 1); }
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
  CMM_VECTOR_CODE static inline Vec LoadAligned(const void* from) {
    return _mm256_load_si256(static_cast<const Vec*>(from));
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

  template <class Sample>
  CMM_VECTOR_CODE static inline Vec Size(const Ends<Avx2>& ends) {
    return _mm256_sign_epi16(Sub(ends.cur, ends.prev), Direction<Sample>(ends));
  }
  template <class Sample>
  CMM_VECTOR_CODE static inline Vec Apply(const Ends<Avx2>& ends, Vec product) {
    return Add(ends.prev, _mm256_sign_epi16(product, Direction<Sample>(ends)));
  }

  /// Stores what unpacking made of the lower and of the upper halves of each lane.
  CMM_VECTOR_CODE static inline void StorePair(void* to, void* next, Vec low, Vec high) {
    Store(to, _mm256_permute2x128_si256(low, high, 0x20));
    Store(next, _mm256_permute2x128_si256(low, high, 0x31));
  }

  /// Frames within 16 bytes.
  template <class Sample, std::uint32_t kChannels>
  static constexpr std::uint32_t kWindow = 16 / (kChannels * sizeof(Sample));

  template <class Sample, std::uint32_t kChannels, Plan::Fetch kFetch>
  static inline std::int64_t End(const Plan::Record& record, std::int64_t shift) {
    const std::uint16_t* const index = record.index;
    constexpr std::int64_t kFrames = kWindow<Sample, kChannels>;
    if constexpr (kFetch == Plan::Fetch::kFrames) return index[0] + 1 + 2 * kFrames;
    if constexpr (kFetch == Plan::Fetch::kLanes) return index[0] + shift + kFrames;
    if constexpr (kFetch == Plan::Fetch::kJoined) return index[4 / kChannels] + shift + 2 * kFrames;
    return index[12 / kChannels] + kFrames;
  }

  template <class Sample, std::uint32_t kChannels, Plan::Fetch kFetch>
  CMM_VECTOR_CODE static inline void Gather(const Sample* from, const Sample* shifted,
                                            const Plan::Record& record, Ends<Avx2>& ends) {
    const Vec shuffle = Load(record.shuffle[0]);
    if constexpr (kFetch == Plan::Fetch::kFrames) {
      const Sample* const window = from + std::size_t{record.index[0]} * kChannels;
      ends = {_mm256_permutevar8x32_epi32(Load(window), shuffle),
              _mm256_permutevar8x32_epi32(Load(window + kChannels), shuffle)};
      return;
    }
    const Vec frames = LoadPair<kFetch>(WindowsOf<Sample, kChannels, kFetch>(from, shifted, record, 0));
    if constexpr (kFetch == Plan::Fetch::kLanes) {
      ends = Lanes<Sample, kChannels>(frames, shuffle);
    } else {
      const Vec others = LoadPair<kFetch>(WindowsOf<Sample, kChannels, kFetch>(from, shifted, record, 1));
      ends = Quads(frames, shuffle, others, Load(record.shuffle[1]));
    }
  }

  /// Moves the windows into the block, and the shuffles against that.
  template <class Sample, std::uint32_t kChannels, Plan::Fetch kFetch>
  CMM_VECTOR_CODE static inline void GatherAtEdge(const Sample* from, const Sample* shifted,
                                                  const Plan::Record& record, const Sample* begin,
                                                  const Sample* end, Ends<Avx2>& ends) {
    if constexpr (kFetch == Plan::Fetch::kFrames) {
      const Sample* const window = from + std::size_t{record.index[0]} * kChannels;
      const Vec shuffle = Load(record.shuffle[0]);
      ends = {FramesInside(window, shuffle, end), FramesInside(window + kChannels, shuffle, end)};
      return;
    }
    Vec shuffle[2];
    Vec frames[2];
    for (std::uint32_t i = 0; i < 2; ++i) {
      Windows<Sample> at = WindowsOf<Sample, kChannels, kFetch>(from, shifted, record, i);
      const __m128i low = MoveInside(at.low, begin, end);
      const __m128i high = MoveInside(at.high, begin, end);
      shuffle[i] = _mm256_add_epi8(Load(record.shuffle[i]), _mm256_set_m128i(high, low));
      frames[i] = Load2(at.low, at.high);
    }
    if constexpr (kFetch == Plan::Fetch::kLanes) {
      ends = Lanes<Sample, kChannels>(frames[0], shuffle[0]);
    } else {
      ends = Quads(frames[0], shuffle[0], frames[1], shuffle[1]);
    }
  }

  /// The frames that open the intervals of 16 outputs, and the shuffles for them.
  template <class Sample, std::uint32_t kChannels>
  CMM_VECTOR_CODE static inline void StoreFrames(Plan::Record* record, Vec frame) {
    constexpr int kShift = std::bit_width(kChannels * sizeof(Sample)) - 1;
    const Vec byte = _mm256_slli_epi16(frame, kShift);
    if constexpr (kChannels == 1) {
      Store(record->index, frame);
      StoreShuffles<Sample, kChannels>(record, byte);
    } else {
      Store(record[0].index, frame);
      Store(record[1].index, _mm256_permute2x128_si256(frame, frame, 0x11));
      StoreShuffles<Sample, kChannels>(record, _mm256_permute2x128_si256(byte, byte, 0x00));
      StoreShuffles<Sample, kChannels>(record + 1, _mm256_permute2x128_si256(byte, byte, 0x11));
    }
  }

 private:
  /// Has the sign of the differences, which need 17 bits where samples have 16.
  template <class Sample>
  CMM_VECTOR_CODE static inline Vec Direction(const Ends<Avx2>& ends) {
    return sizeof(Sample) == 1 ? Sub(ends.cur, ends.prev) : _mm256_subs_epi16(ends.cur, ends.prev);
  }

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
  CMM_VECTOR_CODE static inline void StoreShuffles(Plan::Record* record, Vec byte) {
    for (std::uint32_t half = 0; half < 2; ++half) {
      const Pattern& pattern = kPatterns<Sample, kChannels>[half];
      const Vec sample = _mm256_shuffle_epi8(byte, Load(pattern.sample));
      const Vec first = _mm256_shuffle_epi8(byte, Load(pattern.first));
      Store(record->shuffle[half], _mm256_add_epi8(_mm256_sub_epi8(sample, first), Load(pattern.place)));
    }
  }
  /// Where the two windows of a shuffle begin.
  template <class Sample>
  struct Windows {
    const Sample* low;
    const Sample* high;
  };
  template <class Sample, std::uint32_t kChannels, Plan::Fetch kFetch>
  static inline Windows<Sample> WindowsOf(const Sample* from, const Sample* shifted,
                                          const Plan::Record& record, std::uint32_t i) {
    const std::size_t low = std::size_t{record.index[i * 4 / kChannels]} * kChannels;
    if constexpr (kFetch == Plan::Fetch::kLanes) return {from + low, shifted + low};
    if constexpr (kFetch == Plan::Fetch::kJoined) return {shifted + low, shifted + low + 16 / sizeof(Sample)};
    return {from + low, from + std::size_t{record.index[(i + 2) * 4 / kChannels]} * kChannels};
  }
  /// @return how far in bytes the window has been moved towards the beginning, in each byte
  template <class Sample>
  static inline __m128i MoveInside(const Sample*& window, const Sample* begin, const Sample* end) {
    const Sample* const inside = std::clamp(window, begin, end - 16 / sizeof(Sample));
    const auto moved = (window - inside) * static_cast<std::ptrdiff_t>(sizeof(Sample));
    window = inside;
    return _mm_set1_epi8(static_cast<char>(moved));
  }

  /// Frames of 32 bits out of a window that begins in the block, but may end behind it.
  CMM_VECTOR_CODE static inline Vec FramesInside(const void* window, Vec shuffle, const void* end) {
    const auto* const wanted = static_cast<const std::uint32_t*>(window);
    const std::uint32_t* const inside = std::min(wanted, static_cast<const std::uint32_t*>(end) - 8);
    const Vec moved = _mm256_set1_epi32(static_cast<int>(wanted - inside));
    return _mm256_permutevar8x32_epi32(Load(inside), _mm256_add_epi32(shuffle, moved));
  }
  template <class Sample, std::uint32_t kChannels>
  CMM_VECTOR_CODE static inline Ends<Avx2> Lanes(Vec frames, Vec shuffle) {
    // The zero above an 8-bit sample stays one.
    const Vec next = _mm256_add_epi8(shuffle, _mm256_set1_epi8(kChannels * sizeof(Sample)));
    return {_mm256_shuffle_epi8(frames, shuffle), _mm256_shuffle_epi8(frames, next)};
  }
  CMM_VECTOR_CODE static inline Ends<Avx2> Quads(Vec a, Vec shuffleA, Vec b, Vec shuffleB) {
    const Vec pairsA = _mm256_shuffle_epi8(a, shuffleA);
    const Vec pairsB = _mm256_shuffle_epi8(b, shuffleB);
    return {UnpackLow64(pairsA, pairsB), UnpackHigh64(pairsA, pairsB)};
  }
  template <Plan::Fetch kFetch, class Sample>
  CMM_VECTOR_CODE static inline Vec LoadPair(const Windows<Sample>& at) {
    if constexpr (kFetch == Plan::Fetch::kJoined) return Load(at.low);
    return Load2(at.low, at.high);
  }
  CMM_VECTOR_CODE static inline Vec Load2(const void* low, const void* high) {
    return _mm256_loadu2_m128i(static_cast<const __m128i*>(high), static_cast<const __m128i*>(low));
  }
};

}  // namespace

template <class Sample, std::uint32_t kChannels>
void MapAvx2(MapJob<Sample>& job) {
  if (MapVectors<Avx2, Sample, kChannels>(job)) {
    MapSome<Sample, kChannels>(job, job.outputs);
  } else {
    MapSse2<Sample, kChannels>(job);
  }
}

template void MapAvx2<std::int16_t, 1>(MapJob<std::int16_t>&);
template void MapAvx2<std::int16_t, 2>(MapJob<std::int16_t>&);
template void MapAvx2<std::uint8_t, 1>(MapJob<std::uint8_t>&);
template void MapAvx2<std::uint8_t, 2>(MapJob<std::uint8_t>&);

}  // namespace resample

#endif
