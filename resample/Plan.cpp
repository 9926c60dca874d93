#include "resample/Plan.h"

#include <algorithm>
#include <cmath>
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
    constexpr std::uint32_t kWorthwhile = 320;  // starting over costs as much as a few vectors
    kind = Kind::kTabled;
    length = q * std::max(kWorthwhile / q, 1U);
    advance = length / q * p;
    Tabulate(inv);
    TabulateShuffles(sampleBytes);
  } else {
    kind = Kind::kRolling;
    length = kEntries + kSpare;
    step = (std::uint64_t{p / q} << 48) + ((std::uint64_t{p % q} << 48) + q - 1) / q;
    for (std::uint32_t output = 0; output < 16; ++output) steps[output % 4][output / 4] = output * step;
    reach = ((4 / channels - 1) * p + q - 1) / q;
  }
}

void Plan::Tabulate(double inv) {
  constexpr std::uint16_t kNever = 0xFFFF;
  doubtful = false;
  for (std::uint32_t slot = 0; slot < q; ++slot) {
    const std::uint32_t phase = Phase(slot);
    const std::uint32_t part = phase / unit;
    const Fraction fraction = Classify(phase, dstRate, inv);
    doubtful = doubtful || fraction == Fraction::kSometimesShort;
    for (std::uint32_t c = 0; c < channels; ++c) {
      const std::uint32_t at = slot * channels + c;
      rows[kHigh][at] = static_cast<std::uint16_t>(((part << 16) - 1) / q);
      rows[kLow][at] = static_cast<std::uint16_t>(part);
      rows[kLimit][at] = static_cast<std::uint16_t>(fraction == Fraction::kAlwaysShort ? q : q - 1);
      rows[kWhole][at] = fraction == Fraction::kSometimesShort ? static_cast<std::uint16_t>(q) : kNever;
    }
  }
  for (auto& row : rows) {
    for (std::uint32_t at = q * channels; at < (length + kSpare) * channels; ++at)
      row[at] = row[at - q * channels];
  }
  // The interval that ends at or behind the position; the first entry's upper end is position 0.
  for (std::uint32_t slot = 0; slot < length + kSpare; ++slot) {
    index[slot] = static_cast<std::uint16_t>((slot * p + q - 1) / q);
  }
}

void Plan::TabulateShuffles(std::uint32_t sampleBytes) {
  const std::uint32_t half = 4 / channels;
  reach = 0;
  for (std::uint32_t slot = 0; slot + 3 * half <= length + kSpare; ++slot) {
    reach = std::max<std::uint32_t>(reach, index[slot + half - 1] - index[slot]);
    for (std::uint32_t word = 0; word < 16; ++word) {
      const std::uint32_t from = slot + (word < 8 ? 0 : 2 * half);
      const std::uint32_t end = word / 4 % 2;  // of the interval
      const std::uint32_t sample = word % 4;
      const std::uint32_t frame = index[from + sample / channels] + end - index[from];
      const std::uint32_t byte = (frame * channels + sample % channels) * sampleBytes;
      shuffle[slot][2 * word] = static_cast<std::uint8_t>(byte);
      shuffle[slot][2 * word + 1] = static_cast<std::uint8_t>(sampleBytes == 2 ? byte + 1 : 0x80);
    }
  }
}

}  // namespace resample
