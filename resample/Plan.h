#pragma once

#include <cstdint>

namespace resample {

/// What the vector forms need to know of a pair of rates, kept with its stream.
///
/// Output positions repeat: with the rates' greatest common divisor taken out, q outputs cover p source
/// frames. Output number "slot" of such a cycle lies part / q inside its interval, part being slot * p modulo
/// q, or q in place of 0. Short cycles are tabled once; the entries of long ones the forms compute piece by
/// piece into the same tables.
///
/// A product is trunc(d * part / q) for a difference of samples d, in 16-bit whole numbers:
/// - In a tabled cycle the high half of d * high is the product or one less, as the remainder d * part -
/// product * q
///   tells, which is below 2 * q.
/// - In a long cycle a weight of 32 bits, 2^32 * part / q rounded up, is exact: d has 16 bits and q at most
/// 16, so the
///   true product is whole or at least 2^-16 below a whole number, and the weight's error adds less.
///
/// The double formula gives the same but where d * part / q is whole: a fraction that came out low may then
/// give one less. There are three kinds of fractions: never low enough for that, always (the entry's limit is
/// one higher), and those where it depends on the product. Whole products of these are computed again in
/// double.
struct Plan {
  static constexpr std::uint32_t kEntries = 640;  ///< the longest cycle that is tabled
  static constexpr std::uint32_t kSpare = 32;     ///< entries behind, for vectors that run over the end
  static constexpr std::uint32_t kLongestCycle = 60000;  ///< whole products are found with 16 bits up to here
  static constexpr std::uint32_t kMaxChannels = 2;
  static constexpr std::uint32_t kSamples = (kEntries + kSpare) * kMaxChannels;

  enum class Kind : std::uint8_t { kNone, kTabled, kRolling };

  /// Sets the plan up for these rates, unless it is already.
  /// @param inv 1.0 / dst
  void Prepare(std::uint32_t src, std::uint32_t dst, double inv, std::uint32_t channelCount,
               std::uint32_t sampleBytes);

  /// The rates have entries, and the position is one that they describe.
  bool Covers(std::uint32_t phase) const { return kind != Kind::kNone && phase % unit == 0; }
  /// The place of a phase in the cycle.
  std::uint32_t Slot(std::uint32_t phase) const {
    return static_cast<std::uint32_t>(std::uint64_t{phase / unit} * inverse % q);
  }
  /// The phase of a place in the cycle, beyond its end too.
  std::uint32_t Phase(std::uint64_t slot) const {
    const auto part = static_cast<std::uint32_t>(slot % q * p % q);
    return (part != 0 ? part : q) * unit;
  }

  std::uint32_t srcRate = 0;
  std::uint32_t dstRate = 0;
  std::uint32_t channels = 0;
  Kind kind = Kind::kNone;
  std::uint32_t unit = 0;     ///< greatest common divisor of the rates
  std::uint32_t p = 0;        ///< srcRate / unit
  std::uint32_t q = 0;        ///< dstRate / unit
  std::uint32_t inverse = 0;  ///< of p modulo q
  std::uint32_t length = 0;   ///< entries after which the table starts again: whole cycles
  std::uint32_t advance = 0;  ///< source frames that they cover
  std::uint64_t step = 0;     ///< source frames for each output in units of 2^-48, rounded up
  /// That many steps: the first 16 outputs, dealt to 64-bit lanes as the forms' transposition wants them.
  alignas(32) std::uint64_t steps[4][4] = {};

  /// Frames from the first to the last interval of 4 samples, at most.
  std::uint32_t reach = 0;

  bool doubtful = false;  ///< the table has entries whose whole products need the double formula

  std::uint16_t index[kEntries + kSpare] = {};  ///< the frame that opens the interval
  /// For each sample, channels of a frame sharing their values:
  enum Row : std::uint8_t {
    kHigh,   ///< 2^16 * part / q, the next lower number; the weight's high half
    kLow,    ///< part; the weight's low half
    kLimit,  ///< the product is one more when the remainder is above
    kWhole,  ///< the remainder of whole products that need the double formula
    kRows
  };
  alignas(32) std::uint16_t rows[kRows][kSamples] = {};
  /// For each output two byte shuffles, for the 4 samples from it on and for those 8 samples later. Each
  /// takes the lower ends of the intervals and then the upper ones, as 16-bit words, out of the bytes from
  /// the first one's frame on.
  alignas(32) std::uint8_t shuffle[kEntries + kSpare][32] = {};

 private:
  void Tabulate(double inv);
  void TabulateShuffles(std::uint32_t sampleBytes);
};

}  // namespace resample
