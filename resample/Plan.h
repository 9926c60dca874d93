#pragma once

#include <cstdint>

namespace resample {

/// What the vector forms need to know of a pair of rates, kept with its stream.
///
/// Output positions repeat: with the rates' greatest common divisor taken out, q outputs cover p source
/// frames. Output number "slot" of such a cycle lies (slot * p mod q) / q inside its interval; slot 0 is the
/// upper end of one. A plan has for each output the interval and a 32-bit weight, 2^32 times the fraction, in
/// two halves of 16 bits. Short cycles are tabled once; of long ones the forms compute the entries piece by
/// piece into the same tables.
///
/// Why whole numbers give the bits of the double formula. Differences of samples have 16 bits and q at most
/// 16, so a product is whole or at least 2^-16 away from a whole number, and a weight that is less than 2^-32
/// too large truncates to the true product. The double formula does the same but where the product is whole:
/// a fraction that came out low may give one less. There are three kinds of fractions: never low enough for
/// that (weight rounded up), always too low (weight below the true one), and those where it depends on the
/// product (rounded up, and marked: whole products of such outputs are computed again in double).
struct Plan {
  static constexpr std::uint32_t kEntries = 640;  ///< the longest cycle that is tabled
  static constexpr std::uint32_t kSpare = 32;     ///< entries behind, for vectors that run over the end
  static constexpr std::uint32_t kLongestCycle = 60000;  ///< whole products are found with 16 bits up to here
  static constexpr std::uint32_t kMaxChannels = 2;
  static constexpr std::uint32_t kSamples = (kEntries + kSpare) * kMaxChannels;
  static constexpr std::uint16_t kUnmarked = 0xFFFF;

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

  /// Frames from the first to the last interval of 8 samples and of 4 samples, at most.
  std::uint32_t reach = 0;
  std::uint32_t halfReach = 0;

  std::uint16_t index[kEntries + kSpare] = {};  ///< the frame that opens the interval
  // For each sample: the channels of a frame share their weights.
  alignas(32) std::uint16_t high[kSamples] = {};
  alignas(32) std::uint16_t low[kSamples] = {};
  alignas(32)
      std::uint16_t mark[kSamples] = {};  ///< 0: whole products need the double formula; otherwise kUnmarked
  /// For each output: the byte shuffle that takes 8 samples from here on, as 16-bit words, out of the bytes
  /// from the first one's frame on.
  alignas(16) std::uint8_t shuffle[kEntries + kSpare][16] = {};

 private:
  void Tabulate(double inv);
  void TabulateShuffles(std::uint32_t sampleBytes);
};

/// Words that make a shuffle of 8 frame numbers, counted from the first: number * kMul + add[channel].
template <std::uint32_t kSampleBytes, std::uint32_t kChannels>
struct ShuffleWord {
  /// Two bytes of a sample follow each other; one byte is taken with a zero above it.
  static constexpr std::uint16_t kMul = kSampleBytes == 2 ? 0x0101 * 2 * kChannels : kChannels;
  static constexpr std::uint16_t Add(std::uint32_t channel) {
    return static_cast<std::uint16_t>(kSampleBytes == 2 ? 0x0100 + 0x0202 * channel : 0x8000 + channel);
  }
};

}  // namespace resample
