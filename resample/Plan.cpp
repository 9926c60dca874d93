#include "resample/Plan.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <utility>

namespace resample {

namespace {

enum class Fraction : std::uint8_t { kNeverShort, kSometimesShort, kAlwaysShort };

/// How phase * inv, in double, relates to the true phase / rate. It is a whole number f of units 2^-s; what
/// is missing is exact modulo 2^64, and small. With N = d * phase / rate whole and M its mantissa (above 1,
/// at most 2), d * fraction rounds to below N when M * missing / true > 2^-53: always from 2^-53 on, never up
/// to 2^-54.
Fraction Classify(std::uint32_t phase, std::uint32_t rate, double inv) {
  int exponent = 0;
  const double mantissa = std::frexp(phase * inv, &exponent);
  const auto f = static_cast<std::uint64_t>(std::ldexp(mantissa, 53));
  const int s = 53 - exponent;
  const std::uint64_t exact = s < 64 ? std::uint64_t{phase} << s : 0;
  const auto missing = static_cast<std::int64_t>(exact - f * rate);
  if (missing <= 0) return Fraction::kNeverShort;
  const double scaled = std::ldexp(static_cast<double>(missing), 53);
  const double whole = std::ldexp(static_cast<double>(phase), s);
  if (scaled >= whole) return Fraction::kAlwaysShort;
  return 2 * scaled <= whole ? Fraction::kNeverShort : Fraction::kSometimesShort;
}

/// x with x * value = 1 modulo modulus, the two having no common divisor; 0 modulo 1.
std::uint32_t InverseModulo(std::uint32_t value, std::uint32_t modulus) {
  std::int64_t r0 = modulus;
  std::int64_t r1 = value % modulus;
  std::int64_t x0 = 0;
  std::int64_t x1 = 1;
  while (r1 > 0) {
    const std::int64_t quotient = r0 / r1;
    r0 = std::exchange(r1, r0 - quotient * r1);
    x0 = std::exchange(x1, x0 - quotient * x1);
  }
  return static_cast<std::uint32_t>(x0 < 0 ? x0 + modulus : x0 % modulus);
}

}  // namespace

void Plan::Prepare(std::uint32_t src, std::uint32_t dst, double inv, std::uint32_t channelCount,
                   std::uint32_t sampleBytes) {
  if (src == srcRate && dst == dstRate && channelCount == channels) return;
  srcRate = src;
  dstRate = dst;
  channels = channelCount;
  kind = Kind::kNone;
  unit = std::gcd(src, dst);
  p = src / unit;
  q = dst / unit;
  if (q > kLongestCycle || p / q >= 0x10000 / (kEntries + 2 * kSpare)) return;
  inverse = InverseModulo(p, q);
  if (q <= kEntries) {
    constexpr std::uint32_t kWorthwhile = 64;
    const std::uint32_t cycles = (kWorthwhile + q - 1) / q;
    kind = Kind::kTabled;
    length = q * std::max(cycles, 1U);
    advance = length / q * p;
    Tabulate(inv);
    TabulateShuffles(sampleBytes);
  } else {
    kind = Kind::kRolling;
    length = kEntries + kSpare;
    step = (std::uint64_t{p / q} << 48) + ((std::uint64_t{p % q} << 48) + q - 1) / q;
    const std::uint32_t outputs = 8 / channels;
    reach = ((outputs - 1) * p + q - 1) / q;
    halfReach = ((outputs / 2 - 1) * p + q - 1) / q;
    std::fill(std::begin(mark), std::end(mark), std::uint16_t{0});
  }
}

void Plan::Tabulate(double inv) {
  for (std::uint32_t slot = 0; slot < length + kSpare; ++slot) {
    const std::uint32_t phase = Phase(slot);
    const std::uint64_t part = phase / unit;
    const Fraction fraction = Classify(phase, dstRate, inv);
    // The interval that ends at or behind the position; the first entry's upper end is position 0.
    std::uint64_t frame = (std::uint64_t{slot} * p + q - 1) / q;
    std::uint64_t weight = ((part << 32) + q - 1) / q;
    if (fraction == Fraction::kAlwaysShort) {
      --weight;
    } else if (part == q) {  // a weight of 1 has 33 bits: the next interval's lower end is the same frame
      ++frame;
      weight = 0;
    }
    index[slot] = static_cast<std::uint16_t>(frame);
    for (std::uint32_t c = 0; c < channels; ++c) {
      const std::uint32_t at = slot * channels + c;
      high[at] = static_cast<std::uint16_t>(weight >> 16);
      low[at] = static_cast<std::uint16_t>(weight);
      mark[at] = fraction == Fraction::kSometimesShort ? 0 : kUnmarked;
    }
  }
}

void Plan::TabulateShuffles(std::uint32_t sampleBytes) {
  const std::uint32_t outputs = 8 / channels;
  reach = 0;
  halfReach = 0;
  for (std::uint32_t slot = 0; slot + outputs <= length + kSpare; ++slot) {
    reach = std::max<std::uint32_t>(reach, index[slot + outputs - 1] - index[slot]);
    halfReach = std::max<std::uint32_t>(halfReach, index[slot + outputs / 2 - 1] - index[slot]);
    for (std::uint32_t sample = 0; sample < 8; ++sample) {
      const std::uint32_t frame = index[slot + sample / channels] - index[slot];
      const std::uint32_t byte = (frame * channels + sample % channels) * sampleBytes;
      // What lies outside 16 bytes is not used.
      shuffle[slot][2 * sample] = static_cast<std::uint8_t>(byte);
      shuffle[slot][2 * sample + 1] = static_cast<std::uint8_t>(sampleBytes == 2 ? byte + 1 : 0x80);
    }
  }
}

}  // namespace resample
