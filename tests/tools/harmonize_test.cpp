// cmm-harmonize and its Harmonizer, measured by a Fourier transform.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "tests/support/Formats.h"
#include "tests/support/Sung.h"
#include "tests/tools/Program.h"
#include "tools/harmonize/Harmonizer.h"

namespace {

using test::Samples;

class Harmonize : public Programs {
 protected:
  /// Has the program sing with it. @return what came out
  Samples Harmonized(const Samples& lead, const Command& options) {
    test::StoreWav(source_, std::vector{Format(44100, 1, 16)}, lead, 0);
    Succeed(Joined({CMM_HARMONIZE, source_, target_, "-f"}, options));
    return SamplesOf(target_);
  }
};

TEST_F(Harmonize, VoicesStandAtTheirIntervalsFromTheLead) {
  const struct {
    double hertz;
    const char* voices;
    std::vector<double> cents;
  } cases[] = {{220.0, "+4,+7,-12", {400, 700, -1200}},
               {101.3, "+386c,+11", {386, 1100}},
               {661.5, "-5,10", {-500, 1000}},
               {800.0, "+24", {2400}}};  // its eighth harmonic lies beyond half the rate
  for (const auto& [hertz, voices, cents] : cases) {
    const Samples lead = test::Sung(hertz, 1.6);
    const Samples sung = Harmonized(lead, {"--voices", voices, "--pitch", File("pitch.csv")});
    ASSERT_EQ(sung.size(), lead.size());
    for (const double interval : cents) {
      const double wanted = hertz * std::exp2(interval / 1200.0);
      EXPECT_GT(test::Strength(sung, wanted), 0.1 * test::Strength(lead, hertz))
          << hertz << " Hz, " << voices;
    }
    const std::string table = FileText(File("pitch.csv"));
    EXPECT_NEAR(std::atof(table.c_str() + table.find("\n1.000,") + 7), hertz, 0.01 * hertz);
  }
  const Samples lead = test::Sung(3001.0 / 7.0, 0.7);
  EXPECT_EQ(Harmonized(lead, {"--mix", "0"}), lead);
}

/// The level of a sound against another one, in decibels.
double Against(const Samples& sound, const Samples& other) {
  const auto energy = [](const Samples& s) { return std::inner_product(s.begin(), s.end(), s.begin(), 0.0); };
  return 10.0 * std::log10(energy(sound) / energy(other));
}

TEST_F(Harmonize, VoicesHaveTheirLevelsAndTheSumThatOfTheLead) {
  const Samples lead = test::Sung(220.0, 1.6);
  // No harmonic of one of them lies on the note of another.
  const Command voices = {"--voices", "+4,+7,-6"};
  const auto level = [](const Samples& sung, double cents) {
    const double voice = test::Strength(sung, 220.0 * std::exp2(cents / 1200.0));
    return 20.0 * std::log10(voice / test::Strength(sung, 220.0));
  };
  const Samples usual = Harmonized(lead, voices);
  const Samples other = Harmonized(lead, Joined(voices, {"--level", "12,-12,+3"}));
  EXPECT_NEAR(Against(usual, lead), 0.0, 0.1);
  EXPECT_NEAR(Against(other, lead), 0.0, 0.1);
  for (const auto& [cents, change] : {std::pair{400.0, 12.0}, {700.0, -12.0}, {-600.0, 3.0}}) {
    EXPECT_NEAR(level(usual, cents), -1.0, 1.5) << cents;
    EXPECT_NEAR(level(other, cents) - level(usual, cents), change, 0.2) << cents;
  }
}

TEST_F(Harmonize, ALeadAtFullScaleDoesNotClip) {
  Samples lead = test::Sung(220.0, 1.6);
  const double peak = *std::max_element(lead.begin(), lead.end());
  for (std::int16_t& sample : lead) sample = static_cast<std::int16_t>(sample * (32767.0 / peak));
  const Samples sung = Harmonized(lead, {});
  const auto isFull = [](int a, int b) { return std::abs(a) >= 32767 && std::abs(b) >= 32767; };
  EXPECT_EQ(std::adjacent_find(sung.begin(), sung.end(), isFull), sung.end());
  EXPECT_GT(Against(sung, lead), -3.0);
}

// At a sudden beginning of the loudest sound every gain is still at its largest.
TEST_F(Harmonize, HearsANoteAgainAfterTheLoudestSounds) {
  Harmonizer harmonizer({400.0, 700.0, -1200.0}, 1.0);
  for (int i = 0; i < 88200; ++i) harmonizer.Process(i / 97 % 2 ? INT32_MIN : INT32_MAX);
  EXPECT_NEAR(harmonizer.Tracker().PitchHz(), test::kRate / 194.0, 2.0);
  for (int i = 0; i < 44100; ++i) harmonizer.Process(0);
  EXPECT_EQ(harmonizer.Tracker().PitchHz(), 0.0);
  EXPECT_EQ(harmonizer.Process(0), 0);
  for (const std::int16_t sample : test::Sung(220.0, 1.0)) harmonizer.Process(sample * 65536);
  EXPECT_NEAR(harmonizer.Tracker().PitchHz(), 220.0, 2.2);
}

}  // namespace
