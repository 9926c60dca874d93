// The six exported filters: what a host sees.
#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "Steps.h"
#include "resample/AudioLinearFilter.h"

namespace {

using Words = std::vector<std::int16_t>;

constexpr std::uint32_t kUntouched = 0xABCD;

/// Mono through AudioLinearFilter2. @return what was written
Words Mono(const Words& src, std::uint32_t from, std::uint32_t to, std::uint32_t maxOut, bool first) {
  Words dst(src.size() * (to / from + 2) + 2);
  std::uint32_t frames = kUntouched;
  const auto count = static_cast<std::uint32_t>(src.size());
  EXPECT_EQ(AudioLinearFilter2(src.data(), count, from, dst.data(), &frames, to, maxOut, first), 1);
  dst.resize(std::min<std::size_t>(frames, dst.size()));
  return dst;
}

/// One block of a stream, and what comes of it.
struct Block {
  Words source;
  std::uint32_t from, to, maxOut;
  bool first;
  Words expected;
};

TEST(Filter, GoesOnFromBlockToBlock) {
  const Block blocks[] = {
      // straight across the seam
      {{0, 100, 200, 300}, 1, 2, 0, true, {0, 50, 100, 150, 200, 250, 300}},
      {{400, 500}, 1, 2, 0, false, {350, 400, 450, 500}},
      // the rest of the block is dropped at the limit, and the seam jumps one interval
      {{0, 100, 200, 300}, 1, 2, 4, true, {0, 50, 100, 150}},
      {{400, 500}, 1, 2, 0, false, {400, 450, 500}},
      // no limit of one on a first call
      {{0, 10}, 1, 2, 1, true, {0, 5, 10}},
      {{20, 30}, 1, 2, 1, false, {15}},
      // from a first block of one frame
      {{8}, 1, 2, 0, true, {8}},
      {{16, 24}, 1, 2, 0, false, {12, 16, 20, 24}},
      {{8}, 2, 1, 0, true, {8}},
      {{16}, 2, 1, 0, false, {}},
      {{24, 32, 40}, 2, 1, 0, false, {24, 40}},
      // toward zero
      {{0, -3}, 1, 2, 0, true, {0, -1, -3}},
      // a copy at equal rates leaves the stream alone
      {{0, 100}, 1, 2, 0, true, {0, 50, 100}},
      {{7, 8, 9}, 5, 5, 1, true, {7, 8, 9}},
      {{200}, 1, 2, 0, false, {150, 200}},
  };
  for (const Block& block : blocks)
    EXPECT_EQ(Mono(block.source, block.from, block.to, block.maxOut, block.first), block.expected);
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

TEST(Filter, RefusesWhatItCannotDoAndTouchesNothing) {
  const Words src(64, 5);
  Words dst(256, 77);
  std::uint32_t frames = kUntouched;
  struct {
    const std::int16_t* from;
    std::int16_t* to;
    std::uint32_t count, fromRate, toRate, channels;
    std::uint8_t result;
  } const calls[] = {
      {src.data(), dst.data(), 4, 1, 2, 0, 0}, {src.data(), dst.data(), 4, 1, 2, 3, 0},
      {src.data(), dst.data(), 4, 0, 2, 1, 0}, {src.data(), dst.data(), 4, 2, 0, 1, 0},
      {src.data(), dst.data(), 4, 0, 0, 1, 0}, {nullptr, dst.data(), 4, 1, 2, 1, 0},
      {src.data(), nullptr, 4, 1, 2, 1, 0},    {src.data(), dst.data(), 0, 1, 2, 1, 1},
  };
  for (const auto& c : calls) {
    EXPECT_EQ(AudioLinearFilter16(c.from, c.count, c.fromRate, c.to, &frames, c.toRate, 0, 1, c.channels),
              c.result);
  }
  std::vector<std::uint8_t> bytes(64);
  EXPECT_EQ(AudioLinearFilter8(bytes.data(), 4, 1, bytes.data(), &frames, 2, 0, 1, 5), 0);
  EXPECT_EQ(frames, kUntouched);
  EXPECT_EQ(dst, Words(256, 77));
}

/// Hands all filters to a visitor, as (channels, Sample(), filter); those for any count with that many.
template <class Visitor>
void VisitFilters(std::uint32_t channels, const Visitor& visit) {
  visit(2U, std::int16_t{}, AudioLinearFilter1);
  visit(1U, std::int16_t{}, AudioLinearFilter2);
  visit(2U, std::uint8_t{}, AudioLinearFilter3);
  visit(1U, std::uint8_t{}, AudioLinearFilter4);
  visit(channels, std::uint8_t{}, [=](auto... most) { return AudioLinearFilter8(most..., channels); });
  if (channels > 2) return;
  visit(channels, std::int16_t{}, [=](auto... most) { return AudioLinearFilter16(most..., channels); });
}

/// Each filter keeps a stream of its own: all are fed by turns, and agree with their steps bit for bit.
TEST(Filter, AgreesWithTheStepsInEveryLayout) {
  std::mt19937 random(3);
  std::vector<std::function<void(bool)>> feeds;
  const auto add = [&]<class Sample>(std::uint32_t channels, Sample, auto filter) {
    feeds.push_back([&random, channels, filter, steps = Steps<Sample>()](bool first) mutable {
      std::vector<Sample> src(1000 * channels);
      for (Sample& sample : src) sample = static_cast<Sample>(random());
      std::vector<Sample> expected;
      steps.Call(src, 44100, 48000, 0, first, channels, expected);
      std::vector<Sample> found(expected.size());
      std::uint32_t frames = 0;
      EXPECT_EQ(filter(src.data(), 1000U, 44100U, found.data(), &frames, 48000U, 0U, std::uint8_t(first)), 1);
      EXPECT_EQ(frames * channels, expected.size());
      EXPECT_TRUE(found == expected);
    });
  };
  for (const std::uint32_t channels : {1U, 2U, 3U, 4U}) {
    feeds.clear();
    VisitFilters(channels, add);
    for (int i = 0; i < 8; ++i) {
      for (const auto& feed : feeds) feed(i % 4 == 0);
    }
  }
}

/// One stream whose output lies over its blocks, as far as the header allows it and less far.
template <class Sample>
void ExpectTheStepsOverTheBlock(std::uint32_t channels, auto filter, std::uint32_t from, std::uint32_t to,
                                std::ptrdiff_t back) {
  std::mt19937 random(5);
  Steps<Sample> steps;
  for (const std::uint32_t frames : {1000u, 1u, 64u, 1000u, 7u, 300u}) {
    for (const std::uint32_t maxOut : {0u, 50u}) {
      const bool first = frames == 1000 && maxOut == 0;
      std::vector<Sample> block(frames * channels), whole, expected;
      for (Sample& sample : block) sample = static_cast<Sample>(random());
      Steps<Sample>(steps).Call(block, from, to, 0, first, channels, whole);
      steps.Call(block, from, to, maxOut, first, channels, expected);
      std::vector<Sample> room(block.size() + 2 * whole.size() + 3000);
      const auto longer =
          static_cast<std::ptrdiff_t>(whole.size()) - static_cast<std::ptrdiff_t>(block.size());
      const auto src = room.begin() + static_cast<std::ptrdiff_t>(whole.size()) + 1500;
      const auto dst = src - (from < to ? longer : 0) - back;
      std::copy(block.begin(), block.end(), src);
      std::uint32_t made = 0;
      EXPECT_EQ(filter(&*src, frames, from, &*dst, &made, to, maxOut, std::uint8_t(first)), 1);
      EXPECT_EQ(made * channels, expected.size());
      EXPECT_TRUE(std::equal(expected.begin(), expected.end(), dst))
          << from << " to " << to << ", " << frames << " frames, " << back << " samples back, limit "
          << maxOut;
    }
  }
}

TEST(Filter, TakesItsOutputInPlaceOfItsBlock) {
  constexpr std::uint32_t kRates[][2] = {{48000, 44100},   {44100, 22050}, {44100, 8000},  {191999, 192000},
                                         {192000, 191999}, {44100, 48000}, {22050, 44100}, {8000, 44100}};
  for (const std::uint32_t channels : {1U, 2U, 3U, 4U}) {
    VisitFilters(channels, [&]<class Sample>(std::uint32_t count, Sample, auto filter) {
      for (const std::ptrdiff_t back : {0, 1, 2, 3, 17, 400, 1200}) {
        for (const auto& [from, to] : kRates) {
          ExpectTheStepsOverTheBlock<Sample>(count, filter, from, to, back);
        }
        ExpectTheStepsOverTheBlock<Sample>(count, filter, 8000, 8000, back);
        ExpectTheStepsOverTheBlock<Sample>(count, filter, 8000, 8000, -back);
      }
    });
  }
}

}  // namespace
