// The six exported filters: what a host sees.
#include "resample/AudioLinearFilter.h"

#include <tuple>

#include "Steps.h"

namespace {

TEST(Filter, GoesOnFromBlockToBlock) {
  const std::tuple<Samples<std::int16_t>, Call, Samples<std::int16_t>> blocks[] = {
      // the rest of the block is dropped at the limit, and the stream jumps one interval
      {{0, 100, 200, 300}, {1, 2, 4, true}, {0, 50, 100, 150}},
      {{400, 500}, {1, 2, 0, false}, {400, 450, 500}},
      // toward zero
      {{0, -3}, {1, 2, 0, true}, {0, -1, -3}},
      // straight on from block to block; a copy at equal rates leaves the stream alone
      {{0, 100}, {1, 2, 0, true}, {0, 50, 100}},
      {{7, 8, 9}, {5, 5, 1, true}, {7, 8, 9}},
      {{200}, {1, 2, 0, false}, {150, 200}},
  };
  Steps<std::int16_t> steps;
  Pair<std::int16_t> mono = {1, AudioLinearFilter2};
  for (const auto& [source, call, expected] : blocks) {
    EXPECT_EQ(steps.Run(source, call, 1), expected);
    mono.Run(source, call);
  }
}

TEST(Filter, RefusesWhatItCannotDoAndTouchesNothing) {
  const std::uint8_t src[64] = {};
  std::uint8_t dst[64] = {};
  std::uint32_t made = 1234;
  constexpr std::uint32_t kRefused[][3] = {{1, 2, 0}, {1, 2, 5}, {0, 2, 1}, {2, 0, 1}, {0, 0, 1}};
  for (const auto& [from, to, channels] : kRefused) {
    EXPECT_EQ(AudioLinearFilter8(src, 4, from, dst, &made, to, 0, 1, channels), 0);
  }
  EXPECT_EQ(AudioLinearFilter8(nullptr, 4, 1, dst, &made, 2, 0, 1, 1), 0);
  EXPECT_EQ(AudioLinearFilter8(src, 4, 1, nullptr, &made, 2, 0, 1, 1), 0);
  EXPECT_EQ(AudioLinearFilter8(src, 0, 1, dst, &made, 2, 0, 1, 1), 1);
  std::int16_t samples[8] = {};
  EXPECT_EQ(AudioLinearFilter16(samples, 1, 1, samples, &made, 2, 0, 1, 3), 0);
  EXPECT_EQ(made, 1234U);
}

using Feed = std::function<void(const Call& call, int back)>;

/// Sends blocks through a filter and its steps, the output lying over the block or before it.
template <class Sample>
Feed MakeFeed(Pair<Sample> pair) {
  return [pair, random = std::mt19937(5)](const Call& call, int back) mutable {
    pair.RunOver(Signal<Sample>(random, (random() % 1000 + 1) * pair.channels), call, back);
  };
}

/// Of all filters, those for any channel count with this one.
std::vector<Feed> MakeFeeds(std::uint32_t channels) {
  const auto filter8 = [=](auto... most) { return AudioLinearFilter8(most..., channels); };
  const auto few = std::min(channels, 2U);  // as many as 16 bits may have
  const auto filter16 = [=](auto... most) { return AudioLinearFilter16(most..., few); };
  return {MakeFeed<std::int16_t>({2, AudioLinearFilter1}), MakeFeed<std::int16_t>({1, AudioLinearFilter2}),
          MakeFeed<std::uint8_t>({2, AudioLinearFilter3}), MakeFeed<std::uint8_t>({1, AudioLinearFilter4}),
          MakeFeed<std::uint8_t>({channels, filter8}),     MakeFeed<std::int16_t>({few, filter16})};
}

/// Each filter keeps a stream of its own: all are fed by turns.
TEST(Filter, AgreesWithTheStepsInEveryLayoutAndInPlace) {
  constexpr std::uint32_t kRates[][2] = {{48000, 44100}, {44100, 8000},  {191999, 192000}, {192000, 191999},
                                         {44100, 48000}, {22050, 44100}, {8000, 44100},    {8000, 8000}};
  std::mt19937 random(5);
  for (const std::uint32_t channels : {1U, 2U, 3U, 4U}) {
    const std::vector<Feed> feeds = MakeFeeds(channels);
    for (const auto& [from, to] : kRates) {
      for (int i = 0; i < 30; ++i) {
        const int back = i % 3 == 0 ? 0 : static_cast<int>(random() % (i % 3 == 1 ? 20 : 4000));
        for (const Feed& feed : feeds)
          feed({from, to, i % 2 == 0 ? 0U : 50U, i % 10 == 0}, from == to && i % 2 == 0 ? -back : back);
      }
    }
  }
}

}  // namespace
