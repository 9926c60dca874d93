// The stream by each map, bit for bit against the steps.
#include "resample/LinearStream.h"

#include "Steps.h"

namespace {

using resample::Map;

struct Stream : testing::TestWithParam<Map> {
  void SetUp() override {
    if (GetParam() == Map::kAvx2 && !resample::HasAvx2()) GTEST_SKIP() << "this processor has no AVX2";
  }

  template <class Sample>
  Pair<Sample> MakePair(std::uint32_t channels) {
    return {channels, [stream = resample::LinearStream<Sample>(), map = GetParam(), channels](
                          auto src, auto frames, auto from, auto dst, auto made, auto to, auto maxOut,
                          auto first) mutable {
              return stream.Process({src, frames, from, dst, made, to, maxOut, first != 0, channels}, map);
            }};
  }
};

template <class Sample>
void RandomStream(std::mt19937& random, Pair<Sample> pair) {
  const std::uint32_t most = random() % 2 == 0 ? 40 : 192000;
  const auto number = [&](std::uint32_t below) { return static_cast<std::uint32_t>(random() % below); };
  Call call = {number(most) + 1, number(most) + 1, 0, true};
  const double ratio = static_cast<double>(call.to) / call.from;
  for (auto blocks = number(4) + 1; blocks != 0; --blocks) {
    const std::uint32_t frames =
        std::min(number(number(2) == 0 ? 60 : 3000), static_cast<std::uint32_t>(20000 / ratio)) + 1;
    call.maxOut = number(3) != 0 ? 0 : number(static_cast<std::uint32_t>(frames * ratio) + 3);
    pair.Run(Signal<Sample>(random, std::size_t{frames} * pair.channels), call);
    call.first = false;
  }
}

TEST_P(Stream, AgreesWithTheStepsAtAnyRates) {
  std::mt19937 random(1);
  for (int i = 0; i < 600 && !HasFailure(); ++i) {
    RandomStream(random, MakePair<std::int16_t>(random() % 2 + 1));
    RandomStream(random, MakePair<std::uint8_t>(random() % 4 + 1));
  }
}

/// A host may break the calling order: other rates within a stream, no first call, rates whose phase wraps.
TEST_P(Stream, FollowsTheStepsOutsideTheContract) {
  std::mt19937 random(6);
  auto pair = MakePair<std::int16_t>(1);
  constexpr std::uint32_t kRates[][2] = {{44100, 48000}, {44100, 32000}, {3000000000, 4000000000},
                                         {~0U, ~0U - 1}, {~0U, 1},       {5, ~0U}};
  for (const bool first : {false, true, false}) {
    for (const auto& [from, to] : kRates)
      pair.Run(Signal<std::int16_t>(random, 3000), {from, to, 5000, first});
  }
}

INSTANTIATE_TEST_SUITE_P(Every, Stream, testing::Values(Map::kPortable, Map::kAvx2),
                         [](const auto& each) { return each.param == Map::kAvx2 ? "Avx2" : "Portable"; });

}  // namespace
