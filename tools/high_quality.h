#pragma once
// A change of rate that suppresses what the new rate cannot carry.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

/// Frames of 16 bits at another rate, block by block, through libsoxr: flat up to nine tenths of half the
/// lower rate; what lies above half of it is below the last bit.
class HighQualityRate {
 public:
  /// Throws a Failure where memory is short, or in a build without libsoxr.
  HighQualityRate(std::uint32_t from, std::uint32_t to, std::uint16_t channels);
  ~HighQualityRate();
  HighQualityRate(const HighQualityRate&) = delete;
  HighQualityRate& operator=(const HighQualityRate&) = delete;

  /// @param count  of frames; 0: there are no more, and what is still inside comes out
  /// @param output receives the frames that are ready
  void Convert(const std::int16_t* frames, std::size_t count, std::vector<std::int16_t>& output);

 private:
  struct State;
  std::unique_ptr<State> state_;
};
