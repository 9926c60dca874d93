#include "resample/Plan.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace resample {

namespace {

constexpr std::uint32_t kWorthwhile = 24;  // starting over costs as much as a few vectors

enum class Fraction : std::uint8_t { kNeverShort, kSometimesShort, kAlwaysShort };

/// How phase * inv, in double, relates to the true phase / rate. It is a whole number f of units 2^-s; what
/// is missing is exact modulo 2^64, and small. With N = d * phase / rate whole and M its mantissa (above 1,
/// at most 2), d * fraction rounds to below N when M * missing / true > 2^-53: always from 2^-53 on, never up
/// to 2^-54.
Fraction Classify(std::uint32_t phase, std::uint32_t rate, double inv, std::uint32_t sampleBytes) {
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
  if (2 * scaled <= whole) return Fraction::kNeverShort;
  if (sampleBytes == 2) return Fraction::kSometimesShort;
  // The few differences of 8-bit samples often agree.
  std::uint32_t shorts = 0;
  std::uint32_t wholes = 0;
  const std::uint32_t period = rate / std::gcd(phase, rate);
  for (std::uint32_t d = period; d <= 255; d += period) {
    const auto product = static_cast<std::uint32_t>(std::uint64_t{d} * phase / rate);
    shorts += static_cast<std::uint32_t>(d * (phase * inv)) < product ? 1 : 0;
    ++wholes;
  }
  if (shorts == 0) return Fraction::kNeverShort;
  return shorts == wholes ? Fraction::kAlwaysShort : Fraction::kSometimesShort;
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

void Plan::Prepare(std::uint32_t src, std::uint32_t dst, std::uint32_t channelCount,
                   std::uint32_t sampleBytes) {
  if (src == srcRate && dst == dstRate && channelCount == channels) return;
  srcRate = src;
  dstRate = dst;
  channels = channelCount;
  words = 0;
  kind = Kind::kNone;
  unit = std::gcd(src, dst);
  p = src / unit;
  q = dst / unit;
  if (q > kLongestCycle) return;
  // Frames are counted in 16 bits.
  const auto covers = [&](std::uint32_t outputs) { return p / q + 1 < 0x10000 / outputs; };
  if (q <= kRecords && covers((std::max(q, kWorthwhile) + 2) * Record::kMaxWords)) {
    kind = Kind::kTabled;
  } else if (covers(kPiece + 64)) {
    kind = Kind::kRolling;
    step = (std::uint64_t{p / q} << 48) + ((std::uint64_t{p % q} << 48) + q - 1) / q;
    for (std::uint32_t output = 0; output < 16; ++output) steps[output % 4][output / 4] = output * step;
  } else {
    return;
  }
  inverse = InverseModulo(p, q);
  ChooseFetch(16 / (channels * sampleBytes));
}

/// @param window frames in 16 bytes
void Plan::ChooseFetch(std::uint32_t window) {
  const std::uint32_t lane = 8 / channels;  // outputs
  const auto atLeast = [&](std::uint32_t outputs) { return static_cast<std::int32_t>(outputs * p / q); };
  const auto atMost = [&](std::uint32_t outputs) {
    return static_cast<std::int32_t>((outputs * p + q - 1) / q);
  };
  // The frames that hold both ends reach one further than the intervals' lower ends.
  const auto fits = [&](std::int32_t furthest) { return furthest + 1 < static_cast<std::int32_t>(window); };
  const std::int32_t apart = atLeast(lane);
  fetch = Fetch::kEach;
  shift = apart;
  if (fits(atMost(2 * lane - 1) - shift)) {
    fetch = Fetch::kLanes;
    return;
  }
  const auto joint = static_cast<std::int32_t>(window);
  shift = std::min(apart - joint, 0);
  if (fits(atMost(lane / 2 - 1) - shift) && fits(atMost(lane + lane / 2 - 1) - shift - joint)) {
    fetch = Fetch::kJoined;
  } else if (fits(atMost(lane / 2 - 1))) {
    fetch = Fetch::kQuads;
  }
}

void Plan::Tabulate(std::uint32_t vectorWords, std::uint32_t sampleBytes, double inv) {
  if (words == vectorWords) return;
  words = vectorWords;
  struct Entry {
    std::uint16_t high;
    std::uint16_t limit;
    std::uint16_t whole;
  };
  Entry entries[kRecords + 1];
  std::uint32_t doubts = 0;
  picks = false;
  for (std::uint32_t part = 1; part <= q; ++part) {
    const Fraction fraction = Classify(part * unit, dstRate, inv, sampleBytes);
    constexpr std::uint16_t kNever = 0xFFFF;
    const bool doubt = fraction == Fraction::kSometimesShort;
    entries[part] = {static_cast<std::uint16_t>(((part << 16) - 1) / q),
                     static_cast<std::uint16_t>(fraction == Fraction::kAlwaysShort ? q : q - 1),
                     doubt ? static_cast<std::uint16_t>(q) : kNever};
    if (doubt && doubts < kMaxMends) mended[doubts] = part;
    doubts += doubt ? 1 : 0;
    picks = q == 1 && fraction == Fraction::kNeverShort;
  }
  doubtful = doubts > kMaxMends;
  mends = doubtful ? 0 : doubts;

  const std::uint32_t outputs = words / channels;
  const std::uint32_t orbits = std::gcd(outputs, q);
  const std::uint32_t length = q / orbits;
  orbit = length * std::max(std::min(kWorthwhile / length, kRecords / q), 1U);
  advance = orbit * outputs / q * p;
  for (std::uint32_t number = orbits * orbit; number-- > 0;) {
    Record& record = records[number];
    const std::uint32_t slot = number / orbit + number % orbit * outputs;
    // The interval that ends at or behind the position; the first entry's upper end is position 0.
    std::uint32_t frame = (slot * p + q - 1) / q;
    std::uint32_t part = slot * p % q != 0 ? slot * p % q : q;
    recordOf[part] = static_cast<std::uint16_t>(number);
    for (std::uint32_t output = 0; output < outputs; ++output) {
      record.index[output] = static_cast<std::uint16_t>(frame);
      for (std::uint32_t word = output * channels; word < (output + 1) * channels; ++word) {
        record.high[word] = entries[part].high;
        record.low[word] = static_cast<std::uint16_t>(part);
        record.limit[word] = entries[part].limit;
        wholes[number][word] = entries[part].whole;
      }
      const bool carries = part + p % q > q;
      frame += p / q + (carries ? 1 : 0);
      part = part + p % q - (carries ? q : 0);
    }
    if (fetch != Fetch::kEach && words == Record::kMaxWords) TabulateShuffles(record, sampleBytes);
  }
}

void Plan::TabulateShuffles(Record& record, std::uint32_t sampleBytes) const {
  const std::uint32_t window = 16 / (channels * sampleBytes);
  const auto index = [&](std::uint32_t sample) { return record.index[channels == 1 ? sample : sample / 2]; };
  for (std::uint32_t word = 0; word < 32; ++word) {
    const bool second = word / 8 % 2 != 0;  // lane
    const std::uint32_t quad = (second ? 8 : 0) + word / 16 * 4;
    std::uint32_t sample = quad + word % 4;
    std::uint32_t end = word / 4 % 2;  // of the interval
    std::uint32_t start = index(quad);
    if (fetch == Fetch::kLanes) {
      sample = word % 16;
      end = 0;
      start = record.index[0] + (second ? static_cast<std::uint32_t>(shift) : 0);
    } else if (fetch == Fetch::kJoined) {
      start = index(word / 16 * 4) + static_cast<std::uint32_t>(shift) + (second ? window : 0);
    }
    const std::uint32_t frame = index(sample) + end - start;
    const std::uint32_t byte = (frame * channels + sample % channels) * sampleBytes;
    std::uint8_t* const to = record.shuffle[word / 16] + word % 16 * 2;
    to[0] = static_cast<std::uint8_t>(byte);
    to[1] = static_cast<std::uint8_t>(sampleBytes == 2 ? byte + 1 : 0x80);
  }
}

}  // namespace resample
