// Every form of the core against the steps, bit for bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <random>

#include "Steps.h"
#include "resample/Forms.h"
#include "resample/LinearStream.h"

namespace {

using resample::Form;
using resample::LinearStream;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(NDEBUG)
constexpr int kEffort = 1;
#else
constexpr int kEffort = 6;
#endif

class Forms : public testing::TestWithParam<const Form*> {
 protected:
  void SetUp() override {
    if (!GetParam()->supported()) GTEST_SKIP() << "this processor has no " << GetParam()->name;
  }
};

struct Rates {
  std::uint32_t from;
  std::uint32_t to;
};

/// A stream and its steps side by side, over blocks of exactly their size.
template <class Sample>
class Pair {
 public:
  explicit Pair(const Form& form) : form_(form), stream_(std::make_unique<LinearStream<Sample>>()) {}

  /// @return the frames written; a difference is a failure
  std::size_t Call(const std::vector<Sample>& src, Rates rates, std::uint32_t maxOut, bool first,
                   std::uint32_t channels) {
    steps_.Call(src, rates.from, rates.to, maxOut, first, channels, expected);
    found.assign(expected.size() + 1, 77);
    std::uint32_t frames = 0;
    const auto count = static_cast<std::uint32_t>(src.size() / channels);
    stream_->Process(
        {src.data(), count, rates.from, found.data(), &frames, rates.to, maxOut, first, channels}, form_);
    EXPECT_EQ(found.back(), 77) << "written beyond the end";
    found.pop_back();
    const auto place = std::mismatch(found.begin(), found.end(), expected.begin()).first - found.begin();
    EXPECT_EQ(frames * std::size_t{channels}, expected.size()) << Name(rates, maxOut, channels);
    EXPECT_EQ(place, static_cast<std::ptrdiff_t>(found.size())) << Name(rates, maxOut, channels);
    return frames;
  }

  std::vector<Sample> expected;
  std::vector<Sample> found;

 private:
  static std::string Name(Rates rates, std::uint32_t maxOut, std::uint32_t channels) {
    return std::to_string(rates.from) + " to " + std::to_string(rates.to) + ", limit " +
           std::to_string(maxOut) + ", channels " + std::to_string(channels);
  }

  const Form& form_;
  std::unique_ptr<LinearStream<Sample>> stream_;
  Steps<Sample> steps_;
};

/// Noise, small steps, full swings, or multiples of few values, whose products are often whole.
template <class Sample>
std::vector<Sample> Signal(std::mt19937& random, std::size_t samples) {
  using Limits = std::numeric_limits<Sample>;
  std::vector<Sample> signal(samples);
  const auto kind = random() % 4;
  const int unit = static_cast<int>(random() % 700 + 1);
  int walk = 0;
  for (Sample& sample : signal) {
    const int value = static_cast<int>(random() & 0xFFFF);
    walk += value % 9 - 4;
    const int kinds[] = {value, walk, value % 2 != 0 ? Limits::max() : Limits::min(), value % 97 * unit};
    sample = static_cast<Sample>(kinds[kind]);
  }
  return signal;
}

Rates SomeRates(std::mt19937& random) {
  constexpr std::uint32_t kUsual[] = {8000,  11025, 12000, 16000, 22050, 24000,
                                      32000, 44100, 44101, 48000, 96000, 192000};
  const auto any = [&](std::uint32_t most) { return static_cast<std::uint32_t>(random() % most) + 1; };
  const std::uint32_t rate = any(70000);
  const Rates kinds[] = {{kUsual[random() % 12], kUsual[random() % 12]},
                         {any(40), any(40)},
                         {rate + any(1000), rate + any(1000)},
                         {any(192000), any(192000)}};
  return kinds[random() % 4];
}

/// Blocks short and long, but no more output than a test has time for.
std::size_t SomeFrames(std::mt19937& random, Rates rates) {
  constexpr std::uint32_t kMost[] = {3, 60, 3000, 3000, 3000, 100000};
  const double most = std::max(1.0, (random() % 50 == 0 ? 200000.0 : 6000.0) * rates.from / rates.to);
  const std::size_t frames = random() % kMost[random() % 6] + 1;
  return std::min(frames, static_cast<std::size_t>(std::min(most, 2e5)));
}

template <class Sample>
void RandomStreams(const Form& form, unsigned seed) {
  std::mt19937 random(seed);
  Pair<Sample> pair(form);
  for (int stream = 0; stream < 300 * kEffort && !testing::Test::HasFailure(); ++stream) {
    const Rates rates = SomeRates(random);
    const auto channels = static_cast<std::uint32_t>(random() % LinearStream<Sample>::kMaxChannels + 1);
    const auto blocks = random() % 4 + 1;
    for (unsigned block = 0; block < blocks; ++block) {
      const std::size_t frames = SomeFrames(random, rates);
      const double outputs = static_cast<double>(frames) * rates.to / rates.from;
      if (outputs > 3e5) continue;
      const std::uint32_t limit =
          random() % 3 != 0 ? 0 : static_cast<std::uint32_t>(random() % static_cast<unsigned>(outputs + 3));
      pair.Call(Signal<Sample>(random, frames * channels), rates, limit, block == 0, channels);
    }
  }
}

TEST_P(Forms, AgreeWithTheStepsOnRandomStreams) {
  RandomStreams<std::int16_t>(*GetParam(), 1);
  RandomStreams<std::uint8_t>(*GetParam(), 2);
}

/// Every difference of two samples, from other starts again: it meets fraction after fraction of these
/// cycles.
template <class Sample>
void WholeProducts(const Form& form) {
  constexpr int kLowest = std::numeric_limits<Sample>::min();
  constexpr int kDifferences = std::numeric_limits<Sample>::max() - kLowest + 1;
  for (const Rates rates : {Rates{6, 7},
                            {15, 16},
                            {41, 40},
                            {48, 49},
                            {44100, 48000},
                            {48000, 44100},
                            {22050, 44100},
                            {31, 16},
                            {647, 650},
                            {44100, 44101}}) {
    Pair<Sample> pair(form);
    std::vector<Sample> src;
    for (int d = 0; d < 65536; d += kEffort == 1 ? 7 : 1) {
      src.push_back(static_cast<Sample>(kLowest));
      src.push_back(static_cast<Sample>(d % kDifferences + kLowest));
    }
    for (int start = 0; start < 4 * kEffort && !testing::Test::HasFailure(); ++start) {
      pair.Call(src, rates, 0, start == 0, 1);
      src.insert(src.begin(), 0);
    }
  }
}

TEST_P(Forms, AgreeOnWholeProducts) {
  WholeProducts<std::int16_t>(*GetParam());
  WholeProducts<std::uint8_t>(*GetParam());
}

TEST_P(Forms, GiveTheSameHoweverAStreamIsCut) {
  std::mt19937 random(5);
  for (int stream = 0; stream < 40 * kEffort && !HasFailure(); ++stream) {
    const Rates rates = SomeRates(random);
    if (rates.from == rates.to) continue;  // a copy carries nothing
    const auto src =
        Signal<std::int16_t>(random, 2 * std::min<std::size_t>(2000, 1 + SomeFrames(random, rates)));
    Pair<std::int16_t> whole(*GetParam());
    whole.Call(src, rates, 0, true, 2);
    Pair<std::int16_t> cut(*GetParam());
    std::vector<std::int16_t> together;
    for (std::size_t at = 0; at < src.size();) {
      const std::size_t end = std::min(src.size(), at + 2 * (random() % (random() % 2 != 0 ? 4 : 700) + 1));
      cut.Call(
          {src.begin() + static_cast<std::ptrdiff_t>(at), src.begin() + static_cast<std::ptrdiff_t>(end)},
          rates, 0, at == 0, 2);
      together.insert(together.end(), cut.found.begin(), cut.found.end());
      at = end;
    }
    EXPECT_TRUE(together == whole.found) << rates.from << " to " << rates.to;
  }
}

/// A host may break the calling order: other rates in mid-stream, no first call, rates whose phase wraps.
TEST_P(Forms, FollowTheStepsOutsideTheContract) {
  std::mt19937 random(6);
  Pair<std::int16_t> pair(*GetParam());
  const auto src = Signal<std::int16_t>(random, 3000);
  const struct {
    Rates rates;
    std::uint32_t maxOut;
    bool first;
  } calls[] = {
      {{44100, 48000}, 0, false},
      {{44100, 48000}, 0, true},
      {{44100, 32000}, 0, false},
      {{44100, 48000}, 0, false},
      {{12345, 48000}, 0, false},
      {{44100, 48000}, 0, false},
      {{3000000000U, 4000000000U}, 5000, true},
      {{0xFFFFFFFFU, 0xFFFFFFFEU}, 5000, true},
      {{0xFFFFFFFFU, 1}, 0, true},
      {{5, 0xFFFFFFFFU}, 5000, true},
  };
  for (const auto& call : calls) pair.Call(src, call.rates, call.maxOut, call.first, 1);
}

std::vector<const Form*> AllForms() {
  return {
    &resample::kPortableForm,
#if CMM_X86_FORMS
        &resample::kSse2Form, &resample::kAvx2Form
#endif
  };
}

INSTANTIATE_TEST_SUITE_P(Every, Forms, testing::ValuesIn(AllForms()),
                         [](const auto& each) { return std::string(each.param->name); });

}  // namespace
