// cmm-harmonize and its Harmonizer, measured by a Fourier transform.
#include <cmath>
#include <cstdlib>

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
    Succeed(Joined({CMM_HARMONIZE, source_, target_, "--force"}, options));
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
