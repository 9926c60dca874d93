// HarmonyUnit: known values of every stage, and long runs bit for bit against the plain formulas.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <limits>
#include <random>

#include "Plain.h"
#include "harmony/Arithmetic.h"
#include "harmony/Products.h"

namespace {

using Limits = std::numeric_limits<double>;
constexpr double kInf = Limits::infinity(), kNaN = Limits::quiet_NaN();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max(), kMin = -kMax - 1;
constexpr std::size_t kSecond = 44100;

std::uint64_t Word(double x) {
  return x != x ? ~std::uint64_t{0} : std::bit_cast<std::uint64_t>(x);
}

TEST(Harmony, LevelAndFilters) {
  HarmonyUnit u;
  EXPECT_EQ(u.FstLPF(1000), 6.6);
  EXPECT_DOUBLE_EQ(u.FstLPF(1000.0), 19.7571);
  EXPECT_EQ(u.fstLPFState, 1993.5);
  for (int i = 0; i < 10000; ++i) u.FstLPF(1000);
  EXPECT_NEAR(u.FstLPF(1000), 2030.769, 1e-3);
  EXPECT_EQ(u.LVS(-1000), 0.0);
  EXPECT_EQ(u.LVS(0.0), 0.48828125);
  EXPECT_EQ(u.lvsLevel, 0.48804283142089844);
  u.lvsFall = u.lvsRise / 2;
  u.lvsLevel = 2048.0;
  u.LVS(0.0);
  EXPECT_EQ(u.lvsLevel, 2047.5);
  u.LVS(kMin);
  EXPECT_EQ(u.lvsLevel, (2147483648.0 - 2047.5) / 2048 + 2047.5);
  const double levels[] = {21474836.0, 21474836.5, 1e8, 2147483648.0, 0.0, -1e9, kNaN};
  const double gains[] = {40.0, 39.99999996274888, 8.66925293897, 0.4999999999989771, 40.0, 40.0, 40.0};
  for (int i = 0; i < 7; ++i) EXPECT_NEAR(u.CPRS(levels[i]), gains[i], 1e-11) << levels[i];
  u.HgainUnit(1.0, 2.0, -1.0);
  EXPECT_EQ(u.hgain1, 0.03125);
  EXPECT_EQ(u.hgain3 / u.hgain2, -0.5);
}

TEST(Harmony, Pitch) {
  HarmonyUnit u;
  EXPECT_EQ(u.VPF(1e8), -5000000.0);
  EXPECT_EQ((std::vector{u.vpfX, u.vpfY, u.vpfDiff1, u.vpfDiff2}), (std::vector{0.05, -0.05, -1.0, -1.0}));
  EXPECT_NEAR(u.VPF(1e8), 7500625.0, 1e-3);
  EXPECT_NEAR(u.VPF(1e8), -1246191.89, 0.01);
  for (int i = 0; i < 2000; ++i) u.VPF(i < 20 ? -1e9 : 0.0);
  EXPECT_NEAR(u.vpfX, -4.199160167966, 1e-9);
  EXPECT_NEAR(u.vpfY, -7.404356497519, 1e-9);
  u.PitchExt(5.0, 4194303.0);
  EXPECT_EQ(u.pitchPeak, 0.0);
  // a peak at the 43rd call raises the bar and is not accepted
  for (const int calls : {43, 44, 768, 5000}) {
    u.pitchPeak = u.pitchValue = u.pitchCount = 0;
    for (int i = 1; i < calls; ++i) u.PitchExt(0.0, 4194304.0);
    u.PitchExt(5.0, 4194304.0);
    EXPECT_EQ(u.pitchPeak, 4.990234375);
    EXPECT_EQ(u.pitchValue, calls == 43 ? 0.0 : std::min(calls, 768) / 2.0);
    EXPECT_EQ(u.pitchCount, calls == 43 ? 43 << 20 : 0);
  }
  u.PitchExt(u.pitchPeak, 4194304.0);  // equal is not above
  EXPECT_EQ(u.pitchPeak, 4.990234375 * 0.998046875);
  const double tones[][3] = {{220, 100.0, 100.5}, {440, 50.0, 50.5}, {60, 367.5, 368.0}};
  for (const auto& [hertz, low, high] : tones) {
    HarmonyUnit tone;
    for (std::size_t i = 0; i < kSecond; ++i) {
      const double x = 3e8 * std::sin(2 * 3.14159265358979 * hertz * static_cast<double>(i) / 44100.0);
      tone.PitchExt(tone.VPF(x), tone.LVS(x));
      ASSERT_TRUE(i < kSecond / 2 || tone.pitchValue == low || tone.pitchValue == high) << hertz;
    }
  }
}

TEST(Harmony, FixedPoint) {
  const double values[] = {1.9,          -1.9,          2147483646.5,  -2147483647.5, 2147483647.0,
                           2147483648.0, -2147483648.0, -2147483649.0, 1e300,         -1e300,
                           kInf,         -kInf,         kNaN};
  const std::int32_t words[] = {1,    -1,   kMax - 1, kMin + 1, kMax, kMax, kMin,
                                kMin, kMax, kMin,     kMax,     kMin, kMin};
  for (int i = 0; i < 13; ++i) EXPECT_EQ(harmony::Saturate(values[i]), words[i]) << values[i];
  const std::int32_t shifts[][3] = {{-64, -5, -2}, {-1, -5, -1}, {7, 0, 7},      {3, 4, 48},
                                    {kMax, 1, -2}, {1, 32, 0},   {-5, kMin, -1}, {5, -32, 0}};
  for (const auto& [value, count, word] : shifts) EXPECT_EQ(harmony::Shift(value, count), word) << value;
  EXPECT_EQ(harmony::FixedPoint(0x00168000, 16), 22.5);
  EXPECT_EQ(harmony::FixedPoint(0x01800000, 16), 384.0);
  EXPECT_EQ(harmony::FixedPoint(-3, 1), -1.5);
  EXPECT_EQ(harmony::FixedPoint(1, 1074), 0x1p-1074);
  EXPECT_EQ(harmony::FixedPoint(kMin, 65535), 0.0);
}

// Random factors around the edge below which products lose bits, short ones for the ties.
TEST(Harmony, FadedProductsAreProducts) {
  std::mt19937_64 random(5);
  for (int i = 0; i < 2000000; ++i) {
    const std::uint64_t bits = random(), mask = ~std::uint64_t{0} << (random() % 53);
    const double a =
        std::bit_cast<double>((random() & mask & 0x800FFFFFFFFFFFFF) | ((1023 - bits % 32 + 8) << 52));
    const double b = std::bit_cast<double>(random() >> (bits % 53 + 9) | (bits & (std::uint64_t{1} << 63)));
    ASSERT_EQ(Word(harmony::MultiplyFaded()(a, b)), Word(a * b)) << std::hexfloat << a << " " << b;
  }
  for (const double a : {0.0, -0.0, 1e300, 5e-324, kInf, kNaN}) {
    for (const double b : {0.0, 5e-324, -5e-324, 1e-310, 1.0, kNaN}) {
      EXPECT_EQ(Word(harmony::MultiplyFaded()(a, b)), Word(a * b)) << a << " " << b;
    }
  }
}

TEST(Harmony, DelayLine) {
  HarmonyUnit u;
  std::vector<std::int32_t> line(1024);
  for (int i = 0; i < 1024; ++i) line[static_cast<std::size_t>(i)] = 1000 * i;
  const double zero = 0.0;
  EXPECT_EQ(u.MDLY(nullptr, nullptr, nullptr, nullptr), 0.0);
  EXPECT_EQ(u.MDLY(line.data(), &zero, &zero, &zero), 0.0);
  u.HgainUnit(1.0, 1.0, 1.0);
  EXPECT_EQ(u.MDLY(line.data(), &zero, &zero, &zero), 16000.0);
  const double third = 0.3333333333333333 * 0.03125;
  const double straight[][2] = {{2.25, 514250.0},  {-2.25, 509750.0}, {-3.0, 509000.0},  {-0.0, 512000.0},
                                {-0.25, 511750.0}, {-512.0, 0.0},     {510.5, 1022500.0}};
  for (const auto& [d, value] : straight)
    EXPECT_DOUBLE_EQ(u.MDLY(line.data(), &d, nullptr, nullptr), value * third) << d;
  // beyond its limits the ring holds; whatever the offset, it is left by no reading
  const std::tuple<std::int32_t, double, double> ring[] = {
      {100, 0.5, 612500.0},  {511, 0.5, 511500.0}, {512, 0.5, 500.0},  {0, 511.5, 511500.0},
      {7, 512.0, 7000.0},    {7, -512.5, 7000.0},  {7, 1e300, 7000.0}, {7, -3e9, 7000.0},
      {kMin, 0.0, 512000.0}, {kMax, 0.0, 511000.0}};
  for (const auto& [offset, d, value] : ring) {
    EXPECT_DOUBLE_EQ(u.MDLY(line.data(), offset, nullptr, &d, nullptr), value * third) << offset << " " << d;
  }
  for (const double d : {kNaN, kInf, -kInf})
    EXPECT_TRUE(std::isnan(u.MDLY(line.data(), 5, &d, nullptr, nullptr)));
  line[512] = kMax;
  line[513] = kMin;
  const double half = 0.5;  // the difference wraps to 1
  EXPECT_DOUBLE_EQ(u.MDLY(line.data(), nullptr, nullptr, &half), (kMax + 0.5) * third);
}

TEST(Harmony, DelaySweep) {
  struct Case {
    double pitch, start, rate;
    std::vector<double> values;
  };
  const Case cases[] = {{100, 97, 1, {98, 99, -100, -99}}, {10, -8, -1, {-9, 10, 9}}, {10, 1, -1, {0, -1}},
                        {10, 12, 0, {-12, 12, -12}},       {10, 30, -1, {29, 28}},    {10, 30, -20, {10, 10}},
                        {0, 0, 1, {-1, -0.0, -1, -0.0}}};
  for (const Case& c : cases) {
    HarmonyUnit u;
    u.pitchValue = c.pitch;
    u.lf0Delay1 = u.lf0Delay2 = u.lf0Delay3 = c.start;
    for (const double value : c.values) {
      double first = 77, third = 77;
      u.LF0adr(&first, nullptr, &third, c.rate, kNaN, c.rate);
      EXPECT_EQ(Word(first), Word(value)) << c.pitch << " " << c.start;
      EXPECT_EQ(first, third);
      EXPECT_EQ(u.lf0Delay2, c.start);
    }
  }
}

TEST(Harmony, NoiseReduction) {
  const auto fresh = [](auto call) {
    HarmonyUnit unit;
    return static_cast<double>(call(unit));
  };
  EXPECT_EQ(fresh([](auto& u) { return u.NR(1e6); }), 65667);
  EXPECT_EQ(fresh([](auto& u) { return u.NR(1e6, 2.0); }), 131335);
  EXPECT_EQ(fresh([](auto& u) { return u.NRIn(1e6); }), 159651.0);
  EXPECT_EQ(fresh([](auto& u) { return u.NRIn(1e6, 2.0); }), 106434.0);
  EXPECT_EQ(fresh([](auto& u) { return u.NRIn(1e6, 800.0, 200.0); }), 159643.0);
  EXPECT_EQ(fresh([](auto& u) { return u.NRAuto(1e6, 1.0, 2.0, 3.0); }), 3549);
  EXPECT_EQ(fresh([](auto& u) { return u.pitchValue = 100.0, u.NRAuto(1e6, 700.0, 1200.0, 0.0); }), 60656);
  EXPECT_EQ(fresh([](auto& u) { return u.NR(1e12); }), kMax);
  EXPECT_EQ(fresh([](auto& u) { return u.NR(-1e12); }), kMin);
  EXPECT_EQ(fresh([](auto& u) { return u.NRIn(1e12); }), 2147483647.0);
  EXPECT_EQ(fresh([](auto& u) { return u.NR(1e6), u.nrHpfState; }), 66600.0);
  EXPECT_EQ(fresh([](auto& u) { return u.NRIn(1e6), u.nrInHpfState; }), 53972.86);
  HarmonyUnit constant, copy;
  for (int i = 0; i < 5000; ++i) constant.NR(1e6);
  copy = constant;
  EXPECT_EQ(constant.NR(1e6), 0);
  EXPECT_NE(copy.nrLpfState, 0.0);  // a copy goes on where the source stood
  EXPECT_EQ(copy.NR(1e6), 0);
  copy.NR(-1e9);
  EXPECT_EQ(constant.NR(1e6), 0);
}

/// A section of one pole is stable while the pole, its feedback, lies inside the unit circle.
TEST(Harmony, ComputedBandsAreStableBelowHalfTheRate) {
  const auto pole = [](double hertz) {
    HarmonyUnit unit;
    unit.nrInLpfState = 1.0;
    unit.NRIn(0.0, hertz, 1000.0);
    const double ofLpf = unit.nrInLpfState;
    unit.nrInLpfState = 0.0;
    unit.nrInHpfState = 1.0;
    unit.NRIn(0.0, 1000.0, hertz);
    EXPECT_EQ(unit.nrInHpfState, ofLpf) << hertz;
    return std::fabs(ofLpf);
  };
  for (double hertz = 0.25; hertz < 22050.0; hertz += 0.25) EXPECT_LT(pole(hertz), 1.0) << hertz;
  for (double hertz = 22050.0; hertz < 44100.0; hertz += 0.25) EXPECT_GT(pole(hertz), 1.0) << hertz;
  for (double hertz = -0.25; hertz > -22050.0; hertz -= 0.25) EXPECT_GT(pole(hertz), 1.0) << hertz;
  EXPECT_EQ(pole(0.0), 1.0);
}

TEST(Harmony, ABandThatFollowsThePitchIsStableToVoicesOf22000Hertz) {
  for (const double hertz : {60.0, 11000.0, 20000.0, 21999.0, 22001.0}) {
    HarmonyUnit unit;
    unit.pitchValue = 22.0;
    const double cents = 1200.0 * std::log2(hertz * unit.pitchValue / 44100.0);
    std::mt19937 random(5);
    const auto noise = [&random] { return static_cast<std::int32_t>(random()); };
    for (std::size_t i = 0; i < kSecond; ++i) unit.NRAuto(noise(), cents, cents, cents);
    for (std::size_t i = 0; i < 6 * kSecond; ++i) unit.NRAuto(0.0, cents, cents, cents);
    EXPECT_EQ(unit.NRAuto(0.0, cents, cents, cents) == 0, hertz < 22000.0) << hertz;
  }
}

/// Every stage but those over the mathematics library, each on what the ones before gave; then these on a
/// unit of their own. All results and states go into two hashes.
template <class Unit>
struct Host {
  Unit u, computed;
  std::vector<std::int32_t> line = std::vector<std::int32_t>(1024);
  std::uint64_t hash = 14695981039346656037u, hashComputed = hash;
  std::size_t i = 0;

  void Sample(double x) {
    const double in = i % 5 ? u.NRIn(x) : u.NRIn(x, 2.5);
    const double low = i % 2 ? u.FstLPF(in) : u.FstLPF(plain::Fix(x));
    const double level = i % 3 ? u.LVS(x) : u.LVS(plain::Fix(x));
    const double pulse = u.VPF(x), gain = u.CPRS(level);
    u.PitchExt(pulse, level);
    u.HgainUnit(x == 0.0 ? 0.0 : gain, 0.5, x * 1e-9);
    double d1 = 0, d2 = 0, d3 = 0;
    u.LF0adr(&d1, &d2, i % 7 ? &d3 : nullptr, 0.3, -0.2, 0.01 * (u.pitchValue - 60));
    line[(i + 511) % 1024] = plain::Fix(x);
    const double mixed = u.MDLY(line.data(), static_cast<std::int32_t>(i % 1024), &d1, &d2, &d3);
    const double other = u.MDLY(line.data(), &d3, i % 2 ? &d2 : nullptr, &d1);
    const double out = i % 4 ? u.NR(mixed) : u.NR(x, 1.5);
    const double results[] = {in, low, level, pulse, gain, d1, d2, d3, mixed, other, out};
    const double states[] = {u.pitchValue,  u.pitchPeak,  u.hgain1,     u.vpfX,         u.vpfY,
                             u.fstLPFState, u.nrLpfState, u.nrHpfState, u.nrInLpfState, u.nrInHpfState};
    for (const double value : results) Mix(hash, value);
    for (const double value : states) Mix(hash, value);
    computed.pitchValue = u.pitchValue;
    const double cents = static_cast<double>(i++ % 2400) - 1200.0;
    const double a = computed.NRIn(x, 300.0 + cents / 8, 150.0), b = computed.NRIn(in, cents * 30.0, -cents);
    const double c = computed.NRAuto(x, cents, 700.0, i % 3 ? 1200.0 : cents);
    for (const double value :
         {a, b, c, computed.nrLpfState, computed.nrHpfState, computed.nrInLpfState, computed.nrInHpfState})
      Mix(hashComputed, value);
  }
  static void Mix(std::uint64_t& h, double value) { h = (h ^ Word(value)) * 1099511628211u; }
};

/// Runs a signal through the library and the plain formulas. @return the hash of both
std::uint64_t Compare(const std::vector<double>& signal) {
  Host<HarmonyUnit> library;
  Host<plain::Unit> formulas;
  for (const double x : signal) {
    library.Sample(x);
    formulas.Sample(x);
    if (library.hash == formulas.hash && library.hashComputed == formulas.hashComputed) continue;
    ADD_FAILURE() << "sample " << library.i << " differs";
    break;
  }
  return library.hash;
}

TEST(Harmony, LongRunsEqualThePlainFormulas) {
  std::mt19937 random(3);
  std::vector<double> noise(10 * kSecond), square(10 * kSecond), silence = plain::Voice(kSecond);
  for (double& x : noise) x = static_cast<double>(static_cast<std::int32_t>(random()));
  for (std::size_t i = 0; i < square.size(); ++i) square[i] = i / 100 % 2 ? 2147483647.0 : -2147483648.0;
  silence.resize(11 * kSecond);
  // the same with every compiler and on every processor
  EXPECT_EQ(Compare(plain::Voice(10 * kSecond)), 6894126556410624642u);
  EXPECT_EQ(Compare(noise), 12814390501285420489u);
  EXPECT_EQ(Compare(silence), 3202189154125219256u);
  EXPECT_EQ(Compare(square), 16174108429801125828u);
}

TEST(Harmony, OddNumbersGoThrough) {
  const double odd[] = {kNaN, kInf,         -kInf,         1e300, -1e300, 1e-310,
                        -0.0, 2147483648.0, -2147483648.0, 1.5,   1e9};
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    const unsigned first = seed % 4;  // NaN and infinities stay, so not in every run
    std::vector<double> signal(60);
    for (double& x : signal) x = odd[first + random() % (std::size(odd) - first)];
    Compare(signal);
  }
}

// Numbers below the normal ones multiply fifty times slower where nothing is done about it.
TEST(Harmony, SilenceCostsAsSoundDoes) {
  Host<HarmonyUnit> host;
  const auto best = [&](double x) {
    auto least = std::chrono::nanoseconds::max();
    for (int round = 0; round < 20; ++round) {
      const auto start = std::chrono::steady_clock::now();
      for (int i = 0; i < 2000; ++i) host.Sample(x * (i % 100 - 50));
      least = std::min(least, std::chrono::steady_clock::now() - start);
    }
    return static_cast<double>(least.count());
  };
  const double sound = best(1e7);
  for (std::size_t i = 0; i < 10 * kSecond; ++i) host.Sample(0.0);
  const double silence = best(0.0);
  EXPECT_LT(silence, 3.0 * sound) << silence / sound;
}

}  // namespace
