// cmm-harmonize and the choir in it, heard by a Fourier transform.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cmath>
#include <complex>
#include <cstdlib>
#include <numbers>
#include <string>
#include <vector>

#include "examples/harmonize/Choir.h"
#include "tests/examples/Program.h"
#include "wavfile/CMMWav.h"

namespace {

using Samples = std::vector<std::int16_t>;
constexpr double kRate = 44100.0;

/// A sung vowel: the harmonics about a formant at 700 Hz are stronger than the note itself.
Samples Sung(double hertz, double seconds) {
  Samples samples;
  for (double t = 0.0; t < seconds; t += 1.0 / kRate) {
    double sum = 0.0;
    for (double harmonic = hertz; harmonic < 3000.0; harmonic += hertz) {
      const double away = (harmonic - 700.0) / 300.0;
      sum += std::sin(2.0 * std::numbers::pi * harmonic * t) / (1.0 + away * away);
    }
    samples.push_back(static_cast<std::int16_t>(2000.0 * sum));
  }
  return samples;
}

/// How strong a frequency is in a second of sound, behind the first half.
double Strength(const Samples& sound, double hertz) {
  const std::complex<double> turn = std::polar(1.0, -2.0 * std::numbers::pi * hertz / kRate);
  std::complex<double> sum, now = 1.0;
  for (std::size_t i = 0; i < 44100; ++i, now *= turn) {
    sum +=
        now * (std::pow(std::sin(std::numbers::pi * static_cast<double>(i) / kRate), 2.0) * sound[22050 + i]);
  }
  return std::abs(sum);
}

/// The strongest frequency within half a semitone of the expected one, as cents from it.
double PeakNear(const Samples& sound, double hertz) {
  std::pair<double, double> best;
  for (double cents = -50.0; cents <= 50.0; cents += 2.0) {
    best = std::max(best, {Strength(sound, hertz * std::exp2(cents / 1200.0)), cents});
  }
  return best.second;
}

class Harmonize : public testing::Test {
 protected:
  void Save(const Samples& samples) {
    CMMWav wav;
    std::uint32_t taken = 0;
    ASSERT_EQ(wav.Open({WAVE_FORMAT_PCM, 1, 44100, 88200, 2, 16, 0}, source_.c_str()), 1);
    wav.Write(static_cast<std::uint32_t>(samples.size() * 2), samples.data(), &taken);
  }
  Samples Saved() {
    CMMWav wav;
    std::uint32_t read = 0;
    wav.Open(target_.c_str());
    Samples samples(wav.GetSampleSize());
    wav.Read(static_cast<std::uint32_t>(samples.size() * 2), samples.data(), &read);
    return samples;
  }
  Outcome Run(std::vector<std::string> options, const std::function<void()>& beforeStart = {}) {
    options.insert(options.begin(), {CMM_HARMONIZE, source_, target_});
    return RunProgram(options, beforeStart);
  }
  auto FileCount() { return std::distance(std::filesystem::directory_iterator(folder_.Path()), {}); }

  TempFolder folder_;
  const std::string source_ = folder_.File("source.wav");
  const std::string target_ = folder_.File("target.wav");
  const std::string table_ = folder_.File("pitch.csv");
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
    const Samples lead = Sung(hertz, 1.6);
    Save(lead);
    ASSERT_EQ(Run({"--voices", voices, "--force", "--pitch", table_}).code, 0);
    const Samples sung = Saved();
    ASSERT_EQ(sung.size(), lead.size());
    EXPECT_NEAR(PeakNear(sung, hertz), 0.0, 10.0);
    for (const double interval : cents) {
      const double wanted = hertz * std::exp2(interval / 1200.0);
      EXPECT_NEAR(PeakNear(sung, wanted), 0.0, 10.0) << hertz << " Hz, " << interval;
      EXPECT_GT(Strength(sung, wanted), 0.1 * Strength(lead, hertz)) << hertz << " Hz, " << interval;
    }
    const std::string table = FileText(table_);
    EXPECT_NEAR(std::atof(table.c_str() + table.find("\n1.000,") + 7), hertz, 0.01 * hertz);
  }
}

TEST_F(Harmonize, LeavesTheLeadAsItIs) {
  const Samples lead = Sung(3001.0 / 7.0, 0.7);
  Save(lead);
  ASSERT_EQ(Run({"--mix", "0"}).code, 0);
  EXPECT_EQ(Saved(), lead);
}

// The sudden begin of the loudest sound there is finds every gain at its largest.
TEST_F(Harmonize, HearsANoteAgainAfterTheLoudestSounds) {
  Choir choir({400.0, 700.0, -1200.0}, 1.0);
  for (int i = 0; i < 88200; ++i) choir.Sing(i / 97 % 2 ? INT32_MIN : INT32_MAX);
  EXPECT_NEAR(choir.Ear().PitchHz(), kRate / 194.0, 2.0);
  for (int i = 0; i < 44100; ++i) choir.Sing(0);
  EXPECT_EQ(choir.Ear().PitchHz(), 0.0);
  EXPECT_EQ(choir.Sing(0), 0);
  for (const std::int16_t sample : Sung(220.0, 1.0)) choir.Sing(sample * 65536);
  EXPECT_NEAR(choir.Ear().PitchHz(), 220.0, 2.2);
}

void FillDisk() {
  const rlimit limit{20'000, 20'000};
  setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(Harmonize, OverwritesOnlyWhenToldAndLeavesNothingHalf) {
  Save(Sung(220.0, 3.0));
  for (const std::string& file : {target_, table_}) {
    WriteFileText(file, "precious");
    EXPECT_THAT(Run({"--pitch", table_}).err, testing::HasSubstr(file + " exists already; --force"));
    EXPECT_THAT(Run({"--force", "--pitch", table_}, FillDisk).err, testing::HasSubstr("takes no more data"));
    EXPECT_EQ(FileText(file), "precious");
    EXPECT_EQ(FileCount(), 2);
    std::filesystem::remove(file);
  }
  EXPECT_THAT(Run({"--force", "--pitch", source_}).err, testing::HasSubstr("cannot be in one file"));
  for (const char* voices : {"", "+4,", "four", "+-4", "nan", "25", "-2401c", "1,2,3,4"}) {
    EXPECT_EQ(Run({"--voices", voices}).code, 2) << voices;
  }
  EXPECT_EQ(FileCount(), 1);
}

}  // namespace
