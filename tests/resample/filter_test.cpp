// The six exported filters: what a host sees.
#include <gtest/gtest.h>

#include <numeric>
#include <random>

#include "Steps.h"
#include "resample/AudioLinearFilter.h"

namespace {

using Words = std::vector<std::int16_t>;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kUntouched = 0xABCD;

std::uint8_t Call(Words& src, Words& dst, std::uint32_t& frames, std::uint32_t from, std::uint32_t to,
                  std::uint32_t maxOut, bool first, std::uint32_t channels) {
  const auto count = static_cast<std::uint32_t>(src.size() / std::max(channels, 1U));
  return AudioLinearFilter16(src.data(), count, from, dst.data(), &frames, to, maxOut, first, channels);
}

/// Mono through AudioLinearFilter2. @return what was written
Words Mono(const Words& src, std::uint32_t from, std::uint32_t to, std::uint32_t maxOut, bool first) {
  Words dst(src.size() * (to / from + 2) + 2);
  std::uint32_t frames = kUntouched;
  const auto count = static_cast<std::uint32_t>(src.size());
  EXPECT_EQ(AudioLinearFilter2(src.data(), count, from, dst.data(), &frames, to, maxOut, first), 1);
  dst.resize(std::min<std::size_t>(frames, dst.size()));
  return dst;
}

TEST(Filter, RunsStraightAcrossASeam) {
  EXPECT_EQ(Mono({0, 100, 200, 300}, 1, 2, 0, true), (Words{0, 50, 100, 150, 200, 250, 300}));
  EXPECT_EQ(Mono({400, 500}, 1, 2, 0, false), (Words{350, 400, 450, 500}));
}

TEST(Filter, DropsTheRestOfTheBlockAtTheLimitAndJumpsOneInterval) {
  EXPECT_EQ(Mono({0, 100, 200, 300}, 1, 2, 4, true), (Words{0, 50, 100, 150}));
  EXPECT_EQ(Mono({400, 500}, 1, 2, 0, false), (Words{400, 450, 500}));
}

TEST(Filter, HasNoLimitOfOneOnAFirstCall) {
  EXPECT_EQ(Mono({0, 10}, 1, 2, 1, true).size(), 3U);
  EXPECT_EQ(Mono({20, 30}, 1, 2, 1, false), (Words{15}));
}

TEST(Filter, GoesOnFromAFirstBlockOfOneFrame) {
  EXPECT_EQ(Mono({8}, 1, 2, 0, true), (Words{8}));
  EXPECT_EQ(Mono({16, 24}, 1, 2, 0, false), (Words{12, 16, 20, 24}));
  EXPECT_EQ(Mono({8}, 2, 1, 0, true), (Words{8}));
  EXPECT_EQ(Mono({16}, 2, 1, 0, false), Words{});
  EXPECT_EQ(Mono({24, 32, 40}, 2, 1, 0, false), (Words{24, 40}));
}

TEST(Filter, TruncatesTowardZero) {
  EXPECT_EQ(Mono({0, -3}, 1, 2, 0, true), (Words{0, -1, -3}));
  Bytes src = {255, 0};
  Bytes dst(3);
  std::uint32_t frames = 0;
  AudioLinearFilter4(src.data(), 2, 1, dst.data(), &frames, 2, 0, 1);
  EXPECT_EQ(dst, (Bytes{255, 128, 0}));
}

TEST(Filter, ReportsTheCountsOfOneSecondBlocks) {
  const auto counts = [](std::uint32_t from, std::uint32_t to) {
    std::vector<std::size_t> found;
    const Words second(from);
    for (int i = 0; i < 5; ++i) found.push_back(Mono(second, from, to, to, i == 0).size());
    return found;
  };
  EXPECT_EQ(counts(44100, 22050), (std::vector<std::size_t>{22050, 22049, 22050, 22049, 22050}));
  EXPECT_EQ(counts(22050, 44100), (std::vector<std::size_t>{44099, 44100, 44098, 44100, 44098}));
}

TEST(Filter, CopiesAtEqualRatesAndLeavesTheStreamAlone) {
  Mono({0, 100}, 1, 2, 0, true);
  EXPECT_EQ(Mono({7, 8, 9}, 5, 5, 1, true), (Words{7, 8, 9}));
  EXPECT_EQ(Mono({200}, 1, 2, 0, false), (Words{150, 200}));
}

TEST(Filter, RefusesWhatItCannotDoAndTouchesNothing) {
  Words src(64, 5);
  Words dst(256, 77);
  std::uint32_t frames = kUntouched;
  EXPECT_EQ(Call(src, dst, frames, 1, 2, 0, true, 0), 0);
  EXPECT_EQ(Call(src, dst, frames, 1, 2, 0, true, 3), 0);
  EXPECT_EQ(Call(src, dst, frames, 0, 2, 0, true, 1), 0);
  EXPECT_EQ(Call(src, dst, frames, 2, 0, 0, true, 1), 0);
  EXPECT_EQ(Call(src, dst, frames, 0, 0, 0, true, 1), 0);
  EXPECT_EQ(AudioLinearFilter16(nullptr, 4, 1, dst.data(), &frames, 2, 0, 1, 1), 0);
  EXPECT_EQ(AudioLinearFilter16(src.data(), 4, 1, nullptr, &frames, 2, 0, 1, 1), 0);
  Bytes bytes(64);
  EXPECT_EQ(AudioLinearFilter8(bytes.data(), 4, 1, bytes.data(), &frames, 2, 0, 1, 5), 0);
  EXPECT_EQ(AudioLinearFilter16(src.data(), 0, 1, dst.data(), &frames, 2, 0, 1, 1), 1);
  EXPECT_EQ(frames, kUntouched);
  EXPECT_EQ(dst, Words(256, 77));
}

TEST(Filter, KeepsItsStreamApartFromTheOthers) {
  const Words src = {0, 100, 200, 300};
  Words dst(64);
  std::uint32_t frames = 0;
  Mono({0, 100}, 1, 2, 0, true);
  AudioLinearFilter1(src.data(), 2, 1, dst.data(), &frames, 3, 0, 1);
  AudioLinearFilter16(src.data(), 4, 3, dst.data(), &frames, 1, 0, 1, 1);
  EXPECT_EQ(Mono({200}, 1, 2, 0, false), (Words{150, 200}));
}

/// Two streams by turns through each filter and its steps.
TEST(Filter, AgreesWithTheStepsInEveryLayout) {
  std::mt19937 random(3);
  const auto check = [&]<class Sample>(std::uint32_t channels, Sample, auto filter) {
    Steps<Sample> steps;
    for (int i = 0; i < 8; ++i) {
      std::vector<Sample> src(1000 * channels);
      for (Sample& sample : src) sample = static_cast<Sample>(random());
      std::vector<Sample> expected;
      steps.Call(src, 44100, 48000, 0, i % 4 == 0, channels, expected);
      std::vector<Sample> found(expected.size());
      std::uint32_t frames = 0;
      EXPECT_EQ(
          filter(src.data(), 1000U, 44100U, found.data(), &frames, 48000U, 0U, std::uint8_t(i % 4 == 0)), 1);
      EXPECT_EQ(frames * channels, expected.size());
      EXPECT_TRUE(found == expected);
    }
  };
  check(2, std::int16_t{}, AudioLinearFilter1);
  check(1, std::int16_t{}, AudioLinearFilter2);
  check(2, std::uint8_t{}, AudioLinearFilter3);
  check(1, std::uint8_t{}, AudioLinearFilter4);
  for (std::uint32_t channels = 1; channels <= 4; ++channels) {
    check(channels, std::uint8_t{},
          [=](auto... arguments) { return AudioLinearFilter8(arguments..., channels); });
  }
  for (std::uint32_t channels = 1; channels <= 2; ++channels) {
    check(channels, std::int16_t{},
          [=](auto... arguments) { return AudioLinearFilter16(arguments..., channels); });
  }
}

}  // namespace
