#include <cmath>
#include <random>

#include "AcmTools.h"

namespace {

struct Shape {
  DWORD rate;
  WORD channels;
  WORD bits;
  std::size_t Frame() const { return channels * bits / 8u; }
};

using Frames = std::vector<std::vector<int>>;  // values as stored: 8 bits unsigned, 16 signed

Frames Unpack(const Bytes& bytes, const Shape& shape) {
  Frames frames(bytes.size() / shape.Frame(), std::vector<int>(shape.channels));
  const BYTE* at = bytes.data();
  for (auto& frame : frames) {
    for (int& value : frame) {
      value = shape.bits == 8 ? at[0] : static_cast<std::int16_t>(at[0] | at[1] << 8);
      at += shape.bits / 8;
    }
  }
  return frames;
}

/// The conversion by its definition, over a whole stream at once.
Frames Expected(const Frames& source, const Shape& from, const Shape& to) {
  Frames brought;
  for (auto frame : source) {
    if (to.channels < from.channels) frame = {static_cast<int>(std::floor((frame[0] + frame[1]) / 2.0))};
    if (to.channels > from.channels) frame.push_back(frame[0]);
    for (int& value : frame) {
      if (to.bits > from.bits) value = (value - 128) * 256;
      if (to.bits < from.bits) value = static_cast<int>(std::floor(value / 256.0)) + 128;
    }
    brought.push_back(frame);
  }
  Frames out;
  for (std::uint64_t n = 0;; ++n) {
    const std::uint64_t place = n * from.rate;
    const std::size_t frame = place / to.rate;
    const auto part = static_cast<std::int64_t>(place % to.rate);
    if (frame + (part != 0) >= brought.size()) return out;
    out.push_back(brought[frame]);
    for (std::size_t channel = 0; part != 0 && channel < to.channels; ++channel) {
      // Twice the sum and half a step up; a multiple of the divisor, far below zero, turns floor into
      // division.
      const std::int64_t rate = to.rate;
      const std::int64_t sum = brought[frame][channel] * (rate - part) + brought[frame + 1][channel] * part;
      out.back()[channel] = static_cast<int>((2 * sum + rate + 2 * rate * 100000) / (2 * rate) - 100000);
    }
  }
}

TEST(AcmPcm, AnyCutOfAStreamIsTheExactLineBetweenFrames) {
  std::mt19937 random(1);
  const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
  const DWORD rates[] = {1, 8000, 11025, 22050, 44100, 44101, 48000, 192000};
  for (int round = 0; round < 400; ++round) {
    const DWORD base = round % 2 ? rates[below(8)] : 1 + below(192000);
    const DWORD other = below(5) == 0 ? base : 1 + base / 20 + below(base * 20);
    const Shape from{base, static_cast<WORD>(1 + below(2)), static_cast<WORD>(8 << below(2))};
    const Shape to{other, static_cast<WORD>(1 + below(2)), static_cast<WORD>(8 << below(2))};
    SCOPED_TRACE(testing::Message() << from.rate << ' ' << from.channels << ' ' << from.bits << " to "
                                    << to.rate << ' ' << to.channels << ' ' << to.bits);
    Bytes source((1 + below(500)) * from.Frame());
    for (BYTE& byte : source) byte = static_cast<BYTE>(below(4) == 0 ? below(2) * 255 : below(256));
    const Frames expected = Expected(Unpack(source, from), from, to);

    Conversion conversion(Pcm(from.rate, from.channels, from.bits), Pcm(to.rate, to.channels, to.bits));
    ASSERT_EQ(conversion.open, MMSYSERR_NOERROR);
    for (int pass = 0; pass < 2; ++pass) {  // the second begins anew
      DWORD start = pass == 0 ? 0 : ACM_STREAMCONVERTF_START;
      Bytes out;
      for (std::size_t place = 0; place < source.size(); start = 0) {
        const std::size_t frames = 1 + below(200);
        const std::size_t size = std::min(frames * from.Frame(), source.size() - place);
        const auto at = source.begin() + static_cast<std::ptrdiff_t>(place);
        const Bytes piece(at, at + static_cast<std::ptrdiff_t>(size));
        DWORD taken = 0;
        // What has no room is left, and goes on when it comes again.
        const Bytes made = below(4) == 0 ? conversion.Run(piece, kBlocks | start, 1 + below(64), &taken)
                                         : conversion.Run(piece, kBlocks | start, &taken);
        out.insert(out.end(), made.begin(), made.end());
        place += taken;
      }
      ASSERT_EQ(Unpack(out, to), expected) << "pass " << pass;
    }
  }
}

TEST(AcmPcm, SizesTellWhatSufficesBothWays) {
  Conversion conversion(Pcm(44100, 2, 16), Pcm(44100, 1, 16));
  DWORD size = 1;
  EXPECT_EQ(acmStreamSize(conversion.stream, 176400, &size, ACM_STREAMSIZEF_SOURCE), MMSYSERR_NOERROR);
  EXPECT_EQ(size, 88200u);
  EXPECT_EQ(acmStreamSize(conversion.stream, 88200, &size, ACM_STREAMSIZEF_DESTINATION), MMSYSERR_NOERROR);
  EXPECT_EQ(size, 176400u);
  EXPECT_EQ(acmStreamSize(conversion.stream, 1, &size, ACM_STREAMSIZEF_DESTINATION), ACMERR_NOTPOSSIBLE);
  EXPECT_EQ(size, 0u);
  Conversion huge(Pcm(1, 1, 8), Pcm(192000, 2, 16));
  EXPECT_EQ(acmStreamSize(huge.stream, 0xFFFFFFFF, &size, ACM_STREAMSIZEF_SOURCE), ACMERR_NOTPOSSIBLE);
}

TEST(AcmPcm, RefusesFormatsThatDisagreeWithThemselves) {
  const auto opens = [](Format format) {
    Format plain = Pcm(44100, 1, 16);
    const DWORD query = ACM_STREAMOPENF_QUERY;
    const MMRESULT to = acmStreamOpen(nullptr, nullptr, plain.Get(), format.Get(), nullptr, 0, 0, query);
    EXPECT_EQ(acmStreamOpen(nullptr, nullptr, format.Get(), plain.Get(), nullptr, 0, 0, query), to);
    return to == MMSYSERR_NOERROR;
  };
  EXPECT_TRUE(opens(Pcm(48000, 2, 8)));
  EXPECT_FALSE(opens(Pcm(0, 1, 16)));
  EXPECT_FALSE(opens(Pcm(44100, 0, 16)));
  EXPECT_FALSE(opens(Pcm(44100, 3, 16)));
  EXPECT_FALSE(opens(Pcm(44100, 1, 24)));
  EXPECT_FALSE(opens(Pcm(44100, 1, 0)));
  EXPECT_FALSE(opens({WAVE_FORMAT_PCM, 2, 44100, 176400, 2, 16}));
  EXPECT_FALSE(opens({WAVE_FORMAT_PCM, 2, 44100, 176401, 4, 16}));
  EXPECT_FALSE(opens({WAVE_FORMAT_PCM, 2, 44100, 0, 4, 16}));
  EXPECT_FALSE(opens({WAVE_FORMAT_PCM, 2, 0x40000001, 4, 4, 16}));  // equal only in 32 bits
}

}  // namespace
