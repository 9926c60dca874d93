#pragma once
// The filters' steps as they are told, one after another: what every form is held against.
#include <cstdint>
#include <vector>

template <class Sample>
class Steps {
 public:
  /// One call. @return as the filters; out receives what they would write
  int Call(const std::vector<Sample>& block, std::uint32_t srcRate, std::uint32_t dstRate,
           std::uint32_t maxOut, bool first, std::uint32_t channels, std::vector<Sample>& out) {
    const auto frames = static_cast<std::uint32_t>(block.size() / channels);
    out.clear();
    if (frames == 0) return 1;
    if (srcRate == dstRate) {
      out = block;
      return 1;
    }
    std::uint32_t written = 0;
    std::uint32_t taken = 1;
    std::vector<Sample> cur(channels);
    prev_.resize(channels);
    if (first) {
      for (std::uint32_t c = 0; c < channels; ++c) {
        prev_[c] = block[c];
        out.push_back(block[c]);
      }
      written = 1;
      taken = 2;
      phase_ = srcRate;
      inv_ = 1.0 / dstRate;
      if (frames == 1) return 1;
    }
    const auto load = [&] {
      for (std::uint32_t c = 0; c < channels; ++c) cur[c] = block[(taken - 1) * std::size_t{channels} + c];
    };
    load();
    for (;;) {
      while (phase_ > dstRate) {
        phase_ -= dstRate;
        prev_ = cur;
        if (taken >= frames) return 1;
        ++taken;
        load();
      }
      const double frac = phase_ * inv_;
      for (std::uint32_t c = 0; c < channels; ++c) {
        const std::int32_t delta = cur[c] - prev_[c];
        out.push_back(static_cast<Sample>(prev_[c] + static_cast<std::int64_t>(delta * frac)));
      }
      ++written;
      phase_ += srcRate;
      if (written == maxOut) {
        prev_ = cur;
        return 1;
      }
    }
  }

 private:
  std::vector<Sample> prev_;
  std::uint32_t phase_ = 0;
  double inv_ = 0.0;
};
