// The PCM converter with the sources that its plain road of 8 and 16 bits does not take.

#include <array>
#include <bit>
#include <cmath>
#include <limits>

#include "tests/platform/acm/AcmTools.h"

namespace {

constexpr DWORD kRate = 48000;

template <class Sample>
Bytes Raw(Sample sample) {
  const auto bytes = std::bit_cast<std::array<BYTE, sizeof(Sample)>>(sample);
  return Bytes(bytes.begin(), bytes.end());
}

/// Ties, the ends of each width, and what is beyond them.
TEST(AcmPcm, RoundsToTheNearestValueTiesToEvenAndClips) {
  constexpr double kStep = 1.0 / 32768;
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const WAVEFORMATEX pcm24 = Format(kRate, 1, 24);
  const WAVEFORMATEX pcm32 = Format(kRate, 1, 32);
  const WAVEFORMATEX float32 = Format(kRate, 1, 32, WAVE_FORMAT_IEEE_FLOAT);
  const WAVEFORMATEX float64 = Format(kRate, 1, 64, WAVE_FORMAT_IEEE_FLOAT);
  const struct {
    AcmFormat format;
    Bytes sample;
    int as16, as8;
  } cases[] = {
      {pcm24, {0xFF, 0xFF, 0x7F}, 32767, 255},
      {pcm24, {0x00, 0x00, 0x80}, -32768, 0},
      {pcm24, {0x80, 0x00, 0x00}, 0, 128},
      {pcm24, {0x80, 0x01, 0x00}, 2, 128},
      {pcm24, {0x81, 0x00, 0x00}, 1, 128},
      {pcm24, {0x80, 0xFF, 0xFF}, 0, 128},
      {pcm24, {0x80, 0xFE, 0xFF}, -2, 128},
      {pcm24, {0x00, 0x80, 0x00}, 128, 128},
      {pcm24, {0x00, 0x80, 0x01}, 384, 130},
      {pcm24, {0x00, 0x80, 0xFE}, -384, 126},
      {Format(kRate, 1, 20), {0xF0, 0xFF, 0x7F}, 32767, 255},
      {Format(kRate, 1, 20), {0x80, 0x01, 0x00}, 2, 128},
      {Extensible(pcm24, 4, 20), {0x80, 0x01, 0x00}, 2, 128},
      {Extensible(pcm24, 4, 20), {0x8F, 0x00, 0x00}, 1, 128},
      {pcm32, {0xFF, 0xFF, 0xFF, 0x7F}, 32767, 255},
      {pcm32, {0x00, 0x00, 0x00, 0x80}, -32768, 0},
      {pcm32, {0x00, 0x80, 0x01, 0x00}, 2, 128},
      {pcm32, {0x01, 0x80, 0x00, 0x00}, 1, 128},
      {Extensible(pcm32, 0, 24), {0x00, 0x80, 0xFE, 0xFF}, -2, 128},
      {float32, Raw(1.0f), 32767, 255},
      {float32, Raw(-1.0f), -32768, 0},
      {float32, Raw(0.5f), 16384, 192},
      {float32, Raw(-0.0f), 0, 128},
      {float32, Raw(1e-45f), 0, 128},
      {float32, Raw(kNan), 0, 128},
      {float32, Raw(3e38f), 32767, 255},
      {Extensible(float32), Raw(static_cast<float>(-2.5 * kStep)), -2, 128},
      {float64, Raw(0.5 * kStep), 0, 128},
      {float64, Raw(1.5 * kStep), 2, 128},
      {float64, Raw(std::nextafter(0.5 * kStep, 1.0)), 1, 128},
      {float64, Raw(32766.5 * kStep), 32766, 255},
      {float64, Raw(1.5 / 128), 384, 130},
      {float64, Raw(kInfinity), 32767, 255},
      {float64, Raw(-kInfinity), -32768, 0},
      {float64, Raw(-1e308), -32768, 0},
  };
  for (const auto& [format, sample, as16, as8] : cases) {
    SCOPED_TRACE(testing::PrintToString(sample));
    EXPECT_EQ(ToSamples(Conversion(format, Format(kRate, 1, 16)).Run(sample, kEnd)),
              Samples{static_cast<std::int16_t>(as16)});
    EXPECT_EQ(Conversion(format, Format(kRate, 1, 8)).Run(sample, kEnd), Bytes{static_cast<BYTE>(as8)});
  }
}

/// Each channel alone at 20000. The numbers are computed with 60 digits from the published coefficients.
TEST(AcmPcm, MixesChannelsByTheirPlaces) {
  const struct {
    DWORD mask;
    Samples left, right, mono;
  } cases[] = {
      {0, {11716, 0, 8284}, {0, 11716, 8284}, {5858, 5858, 8284}},
      {0, {11716, 0, 8284, 0}, {0, 11716, 0, 8284}, {5858, 5858, 4142, 4142}},
      {0, {8284, 0, 5858, 5858, 0}, {0, 8284, 5858, 0, 5858}, {4142, 4142, 5858, 2929, 2929}},
      {0, {8284, 0, 5858, 0, 5858, 0}, {0, 8284, 5858, 0, 0, 5858}, {4142, 4142, 5858, 0, 2929, 2929}},
      {0,
       {6863, 0, 4853, 0, 3431, 4853, 0},
       {0, 6863, 4853, 0, 3431, 0, 4853},
       {3431, 3431, 4853, 0, 3431, 2426, 2426}},
      {0,
       {6408, 0, 4531, 0, 4531, 0, 4531, 0},
       {0, 6408, 4531, 0, 0, 4531, 0, 4531},
       {3204, 3204, 4531, 0, 2265, 2265, 2265, 2265}},
      {0x80000000, {11716, 0, 8284}, {0, 11716, 8284}, {5858, 5858, 8284}},  // no bit of a place
      {0x60F, {8284, 0, 5858, 0, 5858, 0}, {0, 8284, 5858, 0, 0, 5858}, {4142, 4142, 5858, 0, 2929, 2929}},
      {0xFF,
       {5858, 0, 4142, 0, 4142, 0, 5858, 0},
       {0, 5858, 4142, 0, 0, 4142, 0, 5858},
       {2929, 2929, 4142, 0, 2071, 2071, 2929, 2929}},
      {0x107, {9062, 0, 6408, 4531}, {0, 9062, 6408, 4531}, {4531, 4531, 6408, 4531}},
      {0x33,
       {11716, 0, 8284, 0, 0},
       {0, 11716, 0, 8284, 0},
       {5858, 5858, 4142, 4142, 0}},  // one without a place
      {0x3F800,
       {3431, 4853, 3431, 0, 4853, 3431},
       {3431, 0, 3431, 4853, 0, 3431},
       {3431, 2426, 3431, 2426, 2426, 3431}},
      {0x3F, {11716, 0, 8284}, {0, 11716, 8284}, {5858, 5858, 8284}},  // more places than channels
      {0x8, {0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
  };
  for (const auto& [mask, left, right, mono] : cases) {
    const auto channels = static_cast<WORD>(left.size());
    SCOPED_TRACE(testing::Message() << channels << " channels, mask " << std::hex << mask);
    Samples alone(left.size() * left.size()), stereo;
    for (std::size_t i = 0; i < left.size(); ++i) {
      alone[i * left.size() + i] = 20000;
      stereo.insert(stereo.end(), {left[i], right[i]});
    }
    const WAVEFORMATEX inside = Format(kRate, channels, 16);
    const AcmFormat source = mask != 0 ? Extensible(inside, mask) : inside;
    EXPECT_EQ(ToSamples(Conversion(source, Format(kRate, 2, 16)).Run(ToBytes(alone), kEnd)), stereo);
    EXPECT_EQ(ToSamples(Conversion(source, Format(kRate, 1, 16)).Run(ToBytes(alone), kEnd)), mono);
    const Bytes own = Conversion(source, inside).Run(ToBytes(alone), kEnd);
    EXPECT_EQ(own, ToBytes(alone));
  }
  // Mixing does not round before the result, and does not overflow.
  const auto mixed = [](WORD channels, WORD tag, WORD bits, const Bytes& frame) {
    return ToSamples(Conversion(Format(kRate, channels, bits, tag), Format(kRate, 1, 16)).Run(frame, kEnd))
        .at(0);
  };
  EXPECT_EQ(mixed(2, WAVE_FORMAT_PCM, 24, {0x80, 0, 0, 0x80, 1, 0}), 1);  // of 0.5 and 1.5
  EXPECT_EQ(mixed(2, WAVE_FORMAT_PCM, 24, {0x80, 0, 0, 0x7F, 1, 0}), 1);
  EXPECT_EQ(mixed(3, WAVE_FORMAT_PCM, 16, ToBytes({32767, 32767, 32767})), 32767);
  EXPECT_EQ(mixed(3, WAVE_FORMAT_PCM, 16, ToBytes({-32768, -32768, -32768})), -32768);
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  Bytes infinite = Raw(kInfinity);
  for (const BYTE byte : Raw(-kInfinity)) infinite.push_back(byte);
  EXPECT_EQ(mixed(2, WAVE_FORMAT_IEEE_FLOAT, 64, infinite), 0);
}

TEST(AcmPcm, TheExtensibleFormChangesNothingInSmallFormats) {
  std::mt19937 random(11);
  const Bytes source = Noise(4096, random);
  for (const WORD channels : {WORD{1}, WORD{2}}) {
    for (const WAVEFORMATEX& inside :
         {Format(kRate, channels, 8, WAVE_FORMAT_ALAW), Format(kRate, channels, 8, WAVE_FORMAT_MULAW),
          Format(kRate, channels, 8), Format(kRate, channels, 16)}) {
      for (const WORD bits : {WORD{8}, WORD{16}}) {
        const AcmFormat target = Format(kRate, channels, bits);
        EXPECT_EQ(Conversion(Extensible(inside, 3), target).Run(source, kEnd),
                  Conversion(inside, target).Run(source, kEnd))
            << inside.wFormatTag << ' ' << inside.wBitsPerSample << ' ' << bits;
      }
    }
  }
}

/// With random bytes as samples, so NaN and infinities too.
TEST(AcmPcm, CutsChangeNothingAndTheRateIsChangedLast) {
  std::mt19937 random(13);
  const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  for (int round = 0; round < 200; ++round) {
    const auto channels = static_cast<WORD>(1 + below(8));
    const WAVEFORMATEX kinds[] = {Format(kRate, channels, 8),
                                  Format(kRate, channels, 16),
                                  Format(kRate, channels, 24),
                                  Format(kRate, channels, 32),
                                  Format(kRate, channels, 32, WAVE_FORMAT_IEEE_FLOAT),
                                  Format(kRate, channels, 64, WAVE_FORMAT_IEEE_FLOAT),
                                  Format(kRate, channels, 8, WAVE_FORMAT_ALAW)};
    const WAVEFORMATEX inside = kinds[below(std::size(kinds))];
    const AcmFormat from = Extensible(inside);
    const WORD targets[] = {1, 2, channels};
    const WORD out = targets[below(3)];
    const auto bits = static_cast<WORD>(8 << below(2));
    const AcmFormat sameRate = Format(kRate, out, bits);
    const AcmFormat otherRate = Format(kRate / 4 + below(kRate * 3), out, bits);
    SCOPED_TRACE(testing::Message() << "round " << round << ": " << inside.wFormatTag << ' '
                                    << inside.wBitsPerSample << ' ' << channels << " to " << out);
    const Bytes source = Noise((1 + below(2000)) * inside.nBlockAlign, random);
    const Bytes converted = Conversion(from, sameRate).Run(source, kEnd);
    const Bytes resampled = Conversion(from, otherRate).Run(source, kEnd);
    if (out <= 2) {
      EXPECT_EQ(Conversion(sameRate, otherRate).Run(converted, kEnd), resampled);
    }
    const auto cut = [&] {
      const auto size = static_cast<std::ptrdiff_t>((1 + below(700)) * inside.nBlockAlign);
      return std::pair(size, below(4) == 0 ? 16 + below(64) : 0);
    };
    Conversion same(from, sameRate), other(from, otherRate);
    ASSERT_EQ(RunInPieces(same, source, cut), converted);
    ASSERT_EQ(RunInPieces(other, source, cut), resampled);
  }
}

TEST(AcmPcm, RefusesFormatsThatContradictThemselves) {
  const AcmFormat mono = Format(kRate, 1, 16);
  ASSERT_TRUE(Opens(Extensible(Format(kRate, 6, 24), 0x3F, 20), mono));
  const auto refused = [&](AcmFormat format, auto change) {
    change(reinterpret_cast<WAVEFORMATEXTENSIBLE&>(*format.Get()));
    EXPECT_FALSE(Opens(format, mono)) << testing::PrintToString(format.Contents());
  };
  const AcmFormat good = Extensible(Format(kRate, 6, 24));
  refused(good, [](auto& format) { format.Format.nBlockAlign = 24; });
  refused(good, [](auto& format) { ++format.Format.nAvgBytesPerSec; });
  refused(good, [](auto& format) { format.Format.cbSize = 21; });
  refused(good, [](auto& format) { format.Format.wBitsPerSample = 20; });
  refused(good, [](auto& format) { format.Samples.wValidBitsPerSample = 25; });
  refused(good, [](auto& format) { format.SubFormat.Data1 = WAVE_FORMAT_ADPCM; });
  refused(good, [](auto& format) { format.SubFormat.Data1 += 0x10000; });
  refused(good, [](auto& format) { format.SubFormat.Data4[7] = 0; });
  refused(Extensible(Format(kRate, 9, 16)), [](auto&) {});
  refused(Extensible(Format(kRate, 1, 16, WAVE_FORMAT_IEEE_FLOAT)), [](auto&) {});
  refused(Extensible(Format(kRate, 1, 16, WAVE_FORMAT_ALAW)), [](auto&) {});
  EXPECT_FALSE(Opens(Format(kRate, 4, 16), Format(kRate, 3, 16))) << "neither 1, 2 nor its own channels";
  EXPECT_FALSE(Opens(mono, Format(kRate, 1, 24)) || Opens(mono, Extensible(Format(kRate, 1, 16))));

  // Random formats in memory of exactly their size: a sanitizer sees a byte read beyond it.
  std::mt19937 random(17);
  for (int round = 0; round < 20000; ++round) {
    Bytes bytes = good.Contents();
    for (int change = 0; change < 3; ++change) bytes[random() % bytes.size()] = static_cast<BYTE>(random());
    const auto extra = static_cast<WORD>(random() % 23);
    bytes.resize(sizeof(WAVEFORMATEX) + extra);
    AcmFormat format(bytes);
    format->cbSize = extra;
    const bool opened = Opens(format, mono) || Opens(mono, format);
    EXPECT_FALSE(opened && format->wFormatTag == WAVE_FORMAT_EXTENSIBLE && extra < 22);
  }
}

}  // namespace
