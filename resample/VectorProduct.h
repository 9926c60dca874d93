// The products of differences and fractions in vectors, a part of VectorMap.h.
#pragma once

#include <cstdint>

#include "resample/Plan.h"

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
  kPicked,  ///< tabled, and the product is the whole difference
  kTabled,
  kTabledDoubtful,  ///< with fractions that come out short for some whole products
  kWeighted,
  kStraight  ///< weights, each output one frame behind the one before
};

/// The products of samples whose entries are tabled.
/// @param size  the differences without their signs
template <class V, Entries kEntries>
CMM_VECTOR_CODE inline typename V::Vec TabledProduct(typename V::Vec size, const Plan::Record& record,
                                                     const Plan::Doubt& doubt, typename V::Vec q) {
  using Vec = typename V::Vec;
  const Vec product = V::MulHigh(size, V::LoadAligned(record.high));
  const Vec remainder = V::Sub(V::MulLow(size, V::LoadAligned(record.low)), V::MulLow(product, q));
  Vec limit = V::Add(q, V::Ones());
  if constexpr (kEntries == Entries::kTabledDoubtful) {
    // Do the two share their highest bit? Then a whole product, which is one more, comes out as this one.
    const Vec scaled = V::MulHigh(V::Sub(product, V::Ones()), V::LoadAligned(doubt.scale));
    const Vec below = V::SubSaturated(V::Xor(product, scaled), scaled);
    limit = V::Sub(limit, V::Equal(below, V::LoadAligned(doubt.settled)));
  }
  return V::Sub(product, V::Greater(remainder, limit));
}

/// The products of samples whose entries are weights.
/// @param whole receives the words, with any bits set, that need the double formula
template <class V, class Sample>
CMM_VECTOR_CODE inline typename V::Vec WeightedProduct(typename V::Vec size, const Plan::Record& record,
                                                       typename V::Vec& whole) {
  using Vec = typename V::Vec;
  const Vec high = V::LoadAligned(record.high);
  const Vec middle = V::MulLow(size, high);
  const Vec product = V::MulHigh(size, high);
  if constexpr (sizeof(Sample) == 1) {
    // A weight that is up to 2^-16 too high has reached a whole number only by less than 2^-16 for each unit.
    whole = V::SubSaturated(size, middle);
    return product;
  } else {
    // 16 times 32 bits: the top word, and the middle one with its carry into the top.
    const Vec carried = V::MulHigh(size, V::LoadAligned(record.low));
    const Vec sum = V::Add(middle, carried);
    const Vec noCarry = V::Equal(V::SubSaturated(carried, sum), V::Zero());
    whole = V::BelowBoth(sum, size);
    return V::Sub(V::Add(product, noCarry), V::Ones());
  }
}

}  // namespace
}  // namespace resample
