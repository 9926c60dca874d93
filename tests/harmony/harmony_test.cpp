// HarmonyUnit: long runs bit for bit against the plain formulas.
#include <gtest/gtest.h>

#include <bit>
#include <chrono>
#include <random>

#include "Plain.h"
#include "harmony/Products.h"

namespace {

constexpr double kInf = HUGE_VAL, kNaN = NAN;
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max(), kMin = -kMax - 1;
constexpr std::size_t kSecond = 44100;

std::uint64_t BitsOf(double x) {
  return x != x ? ~std::uint64_t{0} : std::bit_cast<std::uint64_t>(x);
}

// Random factors around the edge below which products lose bits, short ones for the ties.
TEST(Harmony, SubnormalProductsAreProducts) {
  std::mt19937_64 random(5);
  const double odd[] = {0.0, -0.0, 1e300, 5e-324, -5e-324, 1e-310, 1.0, kInf, kNaN};
  for (int i = 0; i < 1000000; ++i) {
    const std::uint64_t bits = random(), mask = ~std::uint64_t{0} << (random() % 53);
    double a = std::bit_cast<double>((random() & mask & 0x800FFFFFFFFFFFFF) | ((1023 - bits % 32 + 8) << 52));
    double b = std::bit_cast<double>(random() >> (bits % 53 + 9) | (bits & (std::uint64_t{1} << 63)));
    if (i % 9 == 0) a = odd[i / 9 % 9];
    if (i % 8 == 0) b = odd[i / 8 % 7];
    ASSERT_EQ(BitsOf(harmony::MultiplySubnormal()(a, b)), BitsOf(a * b)) << std::hexfloat << a << " " << b;
  }
}

/// Every stage but those over the mathematics library, each on what the ones before gave and now and then at
/// the edge of its range; then these on a unit of their own. All results and states go into two hashes.
template <class Unit>
struct Host {
  Unit u, computed;
  std::vector<std::int32_t> line = std::vector<std::int32_t>(1024);
  std::uint64_t hash = 14695981039346656037u, hashComputed = hash;
  std::size_t i = 0;

  void Sample(double x) {
    if (i == kSecond / 2) u.lvsFall *= 0.5;
    const double in = i % 5 ? u.NRIn(x) : u.NRIn(x, 2.5);
    const double low = i % 2 ? u.FstLPF(in) : u.FstLPF(plain::Fix(x));
    const double level = i % 3 ? u.LVS(x) : u.LVS(plain::Fix(x));
    const double pulse = u.VPF(x), gain = u.CPRS(i % 8 ? level : 21474836.0);
    u.PitchExt(pulse, level);
    u.HgainUnit(x == 0.0 ? 0.0 : gain, 0.5, x * 1e-9);
    double d1 = 0, d2 = 0, d3 = 0;
    u.LF0adr(&d1, &d2, i % 7 ? &d3 : nullptr, 0.5, -0.25, 0.01 * (u.pitchValue - 60));
    line[(i + 511) % 1024] = plain::Fix(x);
    // Values outside the ring read the entry at its limit.
    const double edges[] = {-512.0, 511.5, 512.0, -512.5, 1e300, kInf, -0.0};
    const auto ring = static_cast<std::int32_t>(i % 3 ? i : 4194304007 * i);
    const double mixed = u.MDLY(line.data(), ring, &d1, i % 64 ? &d2 : &edges[i % 7], &d3);
    const double other = u.MDLY(line.data(), &d3, i % 2 ? &d2 : nullptr, &d1);
    const double out = i % 4 ? u.NR(mixed) : u.NR(x, 1.5);
    for (const double value : {in, low, level, pulse, gain, d1, d2, d3, mixed, other, out, u.pitchValue,
                               u.nrLpfState, u.nrHpfState, u.nrInLpfState, u.nrInHpfState})
      Mix(hash, value);
    computed.pitchValue = u.pitchValue;
    const double cents = static_cast<double>(i++ % 2400) - 1200.0, third = i % 3 ? 700.0 : cents;
    const double a = computed.NRIn(x, 300.0 + cents / 8, 150.0), b = computed.NRIn(in, cents * 30.0, -cents);
    const double c =
        i % 2 ? computed.NRAuto(x, cents, third, 1200.0) : computed.NRAuto(x, 1200.0, third, cents);
    for (const double value : {a, b, c, computed.nrLpfState, computed.nrHpfState}) Mix(hashComputed, value);
  }
  static void Mix(std::uint64_t& h, double value) { h = (h ^ BitsOf(value)) * 1099511628211u; }
};

/// Runs a signal through the library and the plain formulas. @return the hash of both
std::uint64_t Compare(const std::vector<double>& signal) {
  Host<HarmonyUnit> library;
  Host<plain::Unit> formulas;
  for (const double x : signal) library.Sample(x);
  for (const double x : signal) formulas.Sample(x);
  EXPECT_TRUE(library.hash == formulas.hash && library.hashComputed == formulas.hashComputed);
  return library.hash;
}

TEST(Harmony, LongRunsEqualThePlainFormulas) {
  std::mt19937 random(3);
  std::vector<double> noise(5 * kSecond), square(5 * kSecond), silence = plain::Voice(kSecond);
  for (double& x : noise) x = static_cast<double>(static_cast<std::int32_t>(random()));
  // Its slower half leaves PitchExt more calls between two pulses than it counts.
  for (std::size_t i = 0; i < square.size(); ++i)
    square[i] = i / (i < kSecond ? 100 : 1500) % 2 ? kMax : kMin;
  silence.resize(11 * kSecond);
  // the same with every compiler and on every processor
  EXPECT_EQ(Compare(plain::Voice(5 * kSecond)), 17207329647195548556u);
  EXPECT_EQ(Compare(noise), 7332738668945267452u);
  EXPECT_EQ(Compare(silence), 7895152547497980335u);
  EXPECT_EQ(Compare(square), 13157470117213007115u);
}

TEST(Harmony, OddNumbersGoThrough) {
  const double odd[] = {kNaN, kInf,         -kInf,         1e300, -1e300, 1e-310,
                        -0.0, 2147483648.0, -2147483648.0, 1.5,   1e9};
  for (unsigned seed = 0; seed < 300; ++seed) {
    std::mt19937 random(seed);
    std::vector<double> signal(60);
    // NaN and infinities stay, so not in every run.
    for (double& x : signal) x = odd[seed % 4 + random() % (std::size(odd) - seed % 4)];
    Compare(signal);
  }
}

}  // namespace
