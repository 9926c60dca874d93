#pragma once

#include <cstdint>

namespace resample {

/// What the vector forms need to know of a pair of rates, kept with its stream.
///
/// Output positions repeat: with the rates' greatest common divisor taken out, q outputs cover p source
/// frames. Output number "slot" of such a cycle lies part / q inside its interval, part being slot * p modulo
/// q, or q in place of 0. Short cycles are tabled once; the entries of long ones the forms compute piece by
/// piece into the same records.
///
/// A product is trunc(d * part / q) for a difference of samples d, in 16-bit whole numbers:
/// - In a tabled cycle the high half of d * high is the product or one less, as the remainder
///   d * part - product * q tells, which is below 2 * q.
/// - In a long cycle a weight of 32 bits, 2^32 * part / q rounded up, is exact: d has 16 bits and q at most
///   16, so the true product is whole or at least 2^-16 below a whole number, and the weight's error adds
///   less. Samples of 8 bits make do with the next higher number of 16 bits: what it adds to a product is
///   less than d * 2^-16, and only where no more than that stands above a whole number it can have reached
///   it.
///
/// The double formula gives the same but where N = d * part / q is whole: a fraction that came out short may
/// then give N - 1. With an error of e times 2^-53 it does where N * e is above the power of two below N:
/// where N - 1 and N * scale / 2^16, rounded down, have the same highest bit, scale being near 2^16 * e.
/// Whole products of long cycles are computed again in double.
struct Plan {
  /// The entries of as many outputs as a vector of the form at hand takes, in the order in which its code
  /// reads them. Aligned: half of the loads would straddle two cache lines if the entries were laid end to
  /// end. Small: the records of a cycle like 147 have to share the nearest cache with the samples.
  struct Record {
    static constexpr std::uint32_t kMaxWords = 16;

    /// Byte shuffles for the words of two lanes: the lower ends of 8 intervals out of a window, or of 4 and
    /// then the upper ends. The second one then has the other 4.
    alignas(32) std::uint8_t shuffle[2][32];
    /// For each sample, channels of a frame sharing their values:
    std::uint16_t high[kMaxWords];  ///< 2^16 * part / q, the next lower number; the weight's high half
    std::uint16_t low[kMaxWords];   ///< part; the weight's low half
    /// For each output the frame that opens the interval.
    std::uint16_t index[kMaxWords];
  };
  /// More for each sample of a record, if there are fractions that come out short.
  struct Doubt {
    alignas(64) std::uint16_t scale[Record::kMaxWords];
    std::uint16_t settled[Record::kMaxWords];  ///< 0 for these fractions; for others what no product reaches
  };

  static constexpr std::uint32_t kRecords = 448;         ///< also the longest cycle that is tabled
  static constexpr std::uint32_t kPiece = 640;           ///< outputs of a long cycle that are made at once
  static constexpr std::uint32_t kLongestCycle = 60000;  ///< whole products are found with 16 bits up to here

  enum class Kind : std::uint8_t { kNone, kTabled, kRolling };

  /// Sets the plan up for these rates, unless it is already.
  void Prepare(std::uint32_t src, std::uint32_t dst, std::uint32_t channelCount, std::uint32_t sampleBytes);
  /// Fills the records of a tabled cycle for vectors of so many samples, unless they are already.
  /// @param inv 1.0 / dstRate
  /// @return false if a fraction has no scale: none such is known
  bool Tabulate(std::uint32_t vectorWords, std::uint32_t sampleBytes, double inv);

  /// The part that a phase is, near to it if it is none. No division: it would cost a short block much.
  std::uint32_t Part(std::uint32_t phase) const { return static_cast<std::uint32_t>(phase * perUnit + 0.5); }
  /// The rates have entries, and the position is one that they describe.
  bool Covers(std::uint32_t phase) const { return kind != Kind::kNone && Part(phase) * unit == phase; }
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
  double perUnit = 0.0;       ///< 1.0 / unit
  std::uint32_t p = 0;        ///< srcRate / unit
  std::uint32_t q = 0;        ///< dstRate / unit
  std::uint32_t inverse = 0;  ///< of p modulo q
  std::uint64_t step = 0;     ///< source frames for each output in units of 2^-48, rounded up
  /// That many steps: the first 16 outputs, dealt to 64-bit lanes as the forms' transposition wants them.
  alignas(32) std::uint64_t steps[4][4] = {};

  /// How windows of 16 bytes can take in the intervals of two lanes of 8 samples each. The shuffles of a
  /// tabled cycle fit the narrowest that the ratio allows, those of a long one kQuads.
  enum class Fetch : std::uint8_t {
    kEach,    ///< they cannot: every interval by itself
    kQuads,   ///< a window for every 4 samples, at the first one's frame
    kJoined,  ///< two windows one behind the other, "shift" frames from the first interval, take in the first
              ///< 4 samples of both lanes, two more the others
    kLanes,   ///< a window for each lane, the second one "shift" frames behind the first
    kFrames   ///< frames have 32 bits and go up: one window of 32 bytes has the lower ends, a frame further
              ///< one the upper ends, and both are shuffled by whole frames
  };
  Fetch fetch = Fetch::kEach;
  std::int32_t shift = 0;

  /// Parts that come out short: few enough are better computed again by themselves, in double.
  static constexpr std::uint32_t kMaxMends = 4;
  std::uint32_t mends = 0;
  std::uint32_t mended[kMaxMends] = {};
  bool doubtful = false;  ///< there are more: the doubts are of use
  bool picks = false;     ///< every output is the upper end of its interval
  bool halves = false;    ///< or halfway up and at the upper end in turn

  /// A vector's outputs lead from one place of a tabled cycle to another, and in the end to the first again:
  /// the records of such an orbit lie one behind the other, and so do the orbits. Short ones are repeated.
  std::uint32_t words = 0;    ///< samples of a vector
  std::uint32_t orbit = 0;    ///< records in each
  std::uint32_t advance = 0;  ///< source frames that they cover
  struct Place {
    std::uint16_t record;  ///< the one that begins with a part
    std::uint16_t end;     ///< of its orbit
    std::uint16_t lead;    ///< outputs up to the next that begins one of the first orbit
  };
  Place places[kRecords + 1] = {};
  Record records[kRecords] = {};
  Doubt doubts[kRecords] = {};

 private:
  void ChooseFetch(std::uint32_t window);
  void TabulateShuffles(Record& record, std::uint32_t sampleBytes) const;
};

}  // namespace resample
