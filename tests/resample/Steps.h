#pragma once
// The filters' algorithm step by step: the reference for the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <vector>

template <class Sample>
using Samples = std::vector<Sample>;

/// The arguments of one call, but for the buffers.
struct Call {
  std::uint32_t from, to, maxOut;
  bool first;
};

template <class Sample>
class Steps {
 public:
  /// @return what the filters would write
  Samples<Sample> Run(const Samples<Sample>& block, const Call& call, std::uint32_t channels) {
    if (call.from == call.to) return block;
    Samples<Sample> out;
    const Sample* cur = block.data();
    const Sample* const last = cur + block.size() - channels;
    if (call.first) {
      std::copy_n(cur, channels, prev_);
      out.assign(block.data(), block.data() + channels);
      phase_ = call.from;
      inv_ = 1.0 / call.to;
      if (cur == last) return out;
      cur += channels;
    }
    for (;;) {
      while (phase_ > call.to) {
        phase_ -= call.to;
        std::copy_n(cur, channels, prev_);
        if (cur == last) return out;
        cur += channels;
      }
      const double fraction = phase_ * inv_;
      for (std::uint32_t c = 0; c < channels; ++c) {
        const std::int32_t delta = cur[c] - prev_[c];
        out.push_back(static_cast<Sample>(prev_[c] + static_cast<std::int64_t>(delta * fraction)));
      }
      phase_ += call.from;
      if (out.size() == std::size_t{call.maxOut} * channels) {
        std::copy_n(cur, channels, prev_);
        return out;
      }
    }
  }

 private:
  Sample prev_[4] = {};
  std::uint32_t phase_ = 0;
  double inv_ = 0.0;
};

/// Noise, full swings, or multiples of few values, whose products are often integers.
template <class Sample>
Samples<Sample> Signal(std::mt19937& random, std::size_t samples) {
  using Limits = std::numeric_limits<Sample>;
  Samples<Sample> signal(samples);
  const auto kind = random() % 3;
  for (Sample& sample : signal) {
    const int value = static_cast<int>(random() & 0xFFFF);
    const int kinds[] = {value, value % 2 != 0 ? Limits::max() : Limits::min(), value % 97 * 331};
    sample = static_cast<Sample>(kinds[kind]);
  }
  return signal;
}

/// A filter and its steps side by side. A difference is a failure.
template <class Sample>
struct Pair {
  std::uint32_t channels;
  std::function<int(const Sample*, std::uint32_t, std::uint32_t, Sample*, std::uint32_t*, std::uint32_t,
                    std::uint32_t, std::uint8_t)>
      filter;  ///< that of any channel count with this one
  Steps<Sample> steps = {};

  /// One call out of a buffer of just the block's size into one of just the output's.
  void Run(const Samples<Sample>& block, const Call& call) {
    const auto expected = steps.Run(block, call, channels);
    const auto found = std::make_unique<Sample[]>(expected.size());
    Expect(expected, block.data(), block.size(), found.get(), call);
  }

  /// One call whose output lies over its block as far as the header allows it, and less far.
  /// @param back samples less
  void RunOver(const Samples<Sample>& block, const Call& call, std::ptrdiff_t back) {
    const auto all = Steps<Sample>(steps).Run(block, {call.from, call.to, 0, call.first}, channels).size();
    Samples<Sample> room(block.size() + 2 * all + 8500);
    Sample* const src = room.data() + 2 * all + 4250;
    std::copy(block.begin(), block.end(), src);
    Sample* const dst = call.from < call.to ? src + block.size() - all : src;
    Expect(steps.Run(block, call, channels), src, block.size(), dst - back, call);
  }

 private:
  void Expect(const Samples<Sample>& expected, const Sample* src, std::size_t samples, Sample* dst,
              const Call& call) {
    const auto frames = static_cast<std::uint32_t>(samples / channels);
    std::uint32_t made = 0;
    EXPECT_EQ(filter(src, frames, call.from, dst, &made, call.to, call.maxOut, call.first), 1);
    EXPECT_TRUE(made * channels == expected.size() && std::equal(expected.begin(), expected.end(), dst))
        << call.from << " to " << call.to << " Hz, limit " << call.maxOut << ", " << channels << " channels";
  }
};
