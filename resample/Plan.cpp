#include "resample/Plan.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace resample {

namespace {

constexpr std::uint32_t kWorthwhile = 24;  // starting over costs as much as a few vectors

/// Whole products N = d * phase / rate for which the double formula gives N - 1.
struct Shortness {
  bool some = false;            ///< there are such among those of all differences d
  std::uint32_t scale = 0;      ///< as in a record, the lowest that finds them all
  std::uint32_t most = 0xFFFF;  ///< the highest that finds no others
};

/// The fraction phase * inv is, in double, a whole number f of units 2^-s; what is missing is exact modulo
/// 2^64, and small. With N above a power of two and at most twice that, d * fraction rounds to below N when
/// what N lacks is more than that power times 2^-53: when 2 * N * missing > 2 * power * phase * 2^(s - 53).
Shortness Classify(std::uint32_t phase, std::uint32_t rate, double inv, std::uint32_t sampleBytes) {
  int exponent = 0;
  const double mantissa = std::frexp(phase * inv, &exponent);
  const auto f = static_cast<std::uint64_t>(std::ldexp(mantissa, 53));
  const auto missing = static_cast<std::int64_t>((std::uint64_t{phase} << (53 - exponent)) - f * rate);
  if (missing <= 0) return {};
  const std::uint32_t common = std::gcd(phase, rate);
  const std::uint64_t unit = phase / common;  // of N
  const std::uint64_t largest = (sampleBytes == 2 ? 0xFFFF : 0xFF) / (rate / common) * unit;
  Shortness result;
  for (int bits = 0; bits <= 16; ++bits) {
    const std::uint64_t power = (std::uint64_t{1} << bits) / 2;
    const std::uint64_t top = std::min(std::uint64_t{1} << bits, largest);
    const std::uint64_t same = std::uint64_t{0x8000} << bits;  // N * scale from here on has N's highest bit
    const std::uint64_t bound =
        (std::uint64_t{phase} << (bits - exponent)) / (2 * static_cast<std::uint64_t>(missing));
    const std::uint64_t shortest = (std::max(bound, power) / unit + 1) * unit;
    const std::uint64_t longest = std::min(bound, top) / unit * unit;
    if (shortest <= top) {
      result.some = true;
      result.scale = std::max(result.scale, static_cast<std::uint32_t>((same + shortest - 1) / shortest));
    }
    if (longest > power) {
      result.most = std::min(result.most, static_cast<std::uint32_t>((same - 1) / longest));
    }
  }
  return result;
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
  perUnit = 1.0 / unit;
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
  if (window == 4 && channels == 2 && p < q) {
    fetch = Fetch::kFrames;
    shift = 0;
    return;
  }
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

bool Plan::Tabulate(std::uint32_t vectorWords, std::uint32_t sampleBytes, double inv) {
  if (words == vectorWords) return true;
  Shortness shortness[kRecords + 1];
  std::uint32_t shorts = 0;
  for (std::uint32_t part = 1; part <= q; ++part) {
    shortness[part] = Classify(part * unit, dstRate, inv, sampleBytes);
    if (!shortness[part].some) continue;
    if (shortness[part].scale > shortness[part].most) return false;
    if (shorts < kMaxMends) mended[shorts] = part;
    ++shorts;
  }
  doubtful = shorts > kMaxMends;
  mends = doubtful ? 0 : shorts;
  picks = q == 1 && shorts == 0;
  halves = p == 1 && q == 2 && shorts == 0;
  words = vectorWords;

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
    const std::uint32_t which = number / orbit;
    places[part] = {static_cast<std::uint16_t>(number), static_cast<std::uint16_t>((which + 1) * orbit),
                    static_cast<std::uint16_t>(which != 0 ? orbits - which : 0)};
    for (std::uint32_t output = 0; output < outputs; ++output) {
      record.index[output] = static_cast<std::uint16_t>(frame);
      for (std::uint32_t word = output * channels; word < (output + 1) * channels; ++word) {
        record.high[word] = static_cast<std::uint16_t>(((part << 16) - 1) / q);
        record.low[word] = static_cast<std::uint16_t>(part);
        doubts[number].scale[word] = static_cast<std::uint16_t>(shortness[part].scale);
        doubts[number].settled[word] = shortness[part].some ? 0 : 0xFFFF;
      }
      const bool carries = part + p % q > q;
      frame += p / q + (carries ? 1 : 0);
      part = part + p % q - (carries ? q : 0);
    }
    if (fetch != Fetch::kEach && words == Record::kMaxWords) TabulateShuffles(record, sampleBytes);
  }
  return true;
}

void Plan::TabulateShuffles(Record& record, std::uint32_t sampleBytes) const {
  if (fetch == Fetch::kFrames) {
    for (std::uint32_t byte = 0; byte < 32; ++byte) {
      const auto frame = static_cast<std::uint8_t>(record.index[byte / 4] - record.index[0]);
      record.shuffle[0][byte] = byte % 4 == 0 ? frame : std::uint8_t{0};
    }
    return;
  }
  constexpr std::uint8_t kZero = 0xC0;  // whichever way the window is moved at an edge
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
    to[1] = static_cast<std::uint8_t>(sampleBytes == 2 ? byte + 1 : kZero);
  }
}

}  // namespace resample
