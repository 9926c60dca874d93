#include <cstdlib>
#include <random>

#include "AcmTools.h"

namespace {

constexpr DWORD kRate = 8000;

bool Opens(Format source, Format destination) {
  return acmStreamOpen(nullptr, nullptr, source.Get(), destination.Get(), nullptr, 0, 0,
                       ACM_STREAMOPENF_QUERY) == MMSYSERR_NOERROR;
}

std::vector<Format> Codecs(WORD channels) {
  return {G711(WAVE_FORMAT_ALAW, kRate, channels), G711(WAVE_FORMAT_MULAW, kRate, channels),
          Ima(kRate, channels, 256u * channels),   Ms(kRate, channels, 256u * channels),
          Ima(kRate, channels, 8u * channels),     Ms(kRate, channels, 7u * channels + 1)};
}

/// Every value decodes to the middle of the interval of those that G.711 gives its code.
TEST(AcmCodec, G711CodesStandInTheMiddleOfTheirIntervals) {
  for (const WORD tag : {WAVE_FORMAT_ALAW, WAVE_FORMAT_MULAW}) {
    std::vector<std::int16_t> all(65536);
    for (std::size_t i = 0; i < all.size(); ++i)
      all[i] = static_cast<std::int16_t>(static_cast<int>(i) - 32768);
    Bytes codes(256);
    for (std::size_t i = 0; i < codes.size(); ++i) codes[i] = static_cast<BYTE>(i);
    const Bytes coded = Conversion(Pcm(kRate, 1, 16), G711(tag, kRate, 1)).Run(ToBytes(all), kBlocks);
    const Bytes decoded = Conversion(G711(tag, kRate, 1), Pcm(kRate, 1, 16)).Run(codes, kBlocks);
    const auto values = ToSamples<std::int16_t>(decoded);
    int seen = 0;
    for (std::size_t first = 0, last = 0; first < all.size(); first = last + 1, ++seen) {
      for (last = first; last + 1 < all.size() && coded[last + 1] == coded[first];) ++last;
      const bool clipped = tag == WAVE_FORMAT_MULAW && (first == 0 || last == 65535);
      const int middles = all[first] + all[last] - 2 * values[coded[first]];
      EXPECT_LE(std::abs(middles), clipped ? 200 : values[coded[first]] == 0 ? 5 : 1) << all[first];
    }
    EXPECT_EQ(seen, 256);
  }
}

TEST(AcmCodec, EightBitsAreTheHighByteOfSixteen) {
  for (const WORD channels : {WORD{1}, WORD{2}}) {
    for (const Format& codec : Codecs(channels)) {
      Bytes sound(3000 * channels);
      for (std::size_t i = 0; i < sound.size(); ++i) sound[i] = static_cast<BYTE>(128 + i * i / 50 % 100);
      std::vector<std::int16_t> wide;
      for (const BYTE byte : sound) wide.push_back(static_cast<std::int16_t>((byte - 128) * 256));
      const DWORD end = ACM_STREAMCONVERTF_END;
      const Bytes coded = Conversion(Pcm(kRate, channels, 8), codec).Run(sound, end);
      ASSERT_EQ(coded, Conversion(Pcm(kRate, channels, 16), codec).Run(ToBytes(wide), end));
      const Bytes narrow = Conversion(codec, Pcm(kRate, channels, 8)).Run(coded, end);
      wide = ToSamples<std::int16_t>(Conversion(codec, Pcm(kRate, channels, 16)).Run(coded, end));
      ASSERT_EQ(narrow.size(), wide.size());
      ASSERT_GE(narrow.size(), sound.size());
      for (std::size_t i = 0; i < wide.size(); ++i) ASSERT_EQ(narrow[i], (wide[i] >> 8) + 128);
    }
  }
}

TEST(AcmCodec, WholeBlocksOnlyUnlessTheStreamEndsWithoutThatFlag) {
  const Format ima = Ima(kRate, 1, 256);  // 505 frames
  Conversion decoder(ima, Pcm(kRate, 1, 16));
  Conversion encoder(Pcm(kRate, 1, 16), ima);
  const DWORD end = ACM_STREAMCONVERTF_END;
  DWORD taken = 0;
  EXPECT_EQ(decoder.Run(Bytes(600), kBlocks, &taken).size(), 2 * 505 * 2u);
  EXPECT_EQ(taken, 512u);
  EXPECT_EQ(decoder.Run(Bytes(600), 0, &taken).size(), 2 * 505 * 2u);
  EXPECT_EQ(decoder.Run(Bytes(600), end, &taken).size(), (2 * 505 + 1 + 168) * 2u);
  EXPECT_EQ(taken, 600u);
  EXPECT_EQ(decoder.Run(Bytes(512 + 3), end, &taken).size(), 2 * 505 * 2u);  // not even a header
  EXPECT_EQ(decoder.Run(Bytes(512), kBlocks, 505 * 2 + 1, &taken).size(), 505 * 2u);
  EXPECT_EQ(taken, 256u);
  EXPECT_EQ(encoder.Run(Bytes(1011), kBlocks, &taken).size(), 256u);
  EXPECT_EQ(taken, 1010u);
  EXPECT_EQ(encoder.Run(Bytes(1015), end, &taken).size(), 512u);
  EXPECT_EQ(taken, 1014u);
  Conversion law(G711(WAVE_FORMAT_ALAW, kRate, 2), Pcm(kRate, 2, 16));
  EXPECT_EQ(law.Run(Bytes(7), kBlocks, &taken).size(), 12u);
  EXPECT_EQ(taken, 6u);
  EXPECT_EQ(law.Run(Bytes(8), kBlocks, 11, &taken).size(), 8u);
}

TEST(AcmCodec, BlocksDoNotDependOnHowAStreamIsCut) {
  std::mt19937 random(3);
  for (const WORD channels : {WORD{1}, WORD{2}}) {
    for (const Format& codec : Codecs(channels)) {
      Bytes sound(40000);
      for (BYTE& byte : sound) byte = static_cast<BYTE>(random());
      Conversion whole(Pcm(kRate, channels, 16), codec);
      const Bytes expected = whole.Run(sound, ACM_STREAMCONVERTF_END);
      EXPECT_EQ(whole.Run(sound, ACM_STREAMCONVERTF_START | ACM_STREAMCONVERTF_END), expected);
      Conversion cut(Pcm(kRate, channels, 16), codec);
      Bytes out;
      for (std::size_t place = 0; place < sound.size();) {
        const std::size_t size = std::min<std::size_t>(sound.size() - place, 2100 + random() % 5000);
        const auto at = sound.begin() + static_cast<std::ptrdiff_t>(place);
        const bool last = place + size == sound.size();
        DWORD taken = 0;
        const Bytes made = cut.Run(Bytes(at, at + static_cast<std::ptrdiff_t>(size)),
                                   last ? ACM_STREAMCONVERTF_END : ACM_STREAMCONVERTF_BLOCKALIGN, &taken);
        ASSERT_GT(taken, 0u);
        out.insert(out.end(), made.begin(), made.end());
        place += taken;
      }
      EXPECT_EQ(out, expected);
    }
  }
}

TEST(AcmCodec, RefusesFormatsThatAreNotPublished) {
  const auto decodes = [](const Format& format) { return Opens(format, Pcm(kRate, 1, 16)); };
  const auto with = [](Format format, std::size_t word, int value) {
    format.SetExtra(word, value);
    return format;
  };
  const auto cut = [](Format format, WORD size) {
    format->cbSize = size;
    return Format(Bytes(format.Whole().begin(), format.Whole().begin() + 18 + size));
  };
  ASSERT_TRUE(decodes(Ima(kRate, 1, 256)) && decodes(Ms(kRate, 1, 256)));
  EXPECT_TRUE(decodes(Ima(kRate, 1, 32768)) && decodes(Ms(kRate, 1, 32000)));
  EXPECT_FALSE(decodes(cut(Ima(kRate, 1, 256), 0)));
  EXPECT_FALSE(decodes(cut(Ms(kRate, 1, 256), 0)));
  EXPECT_FALSE(decodes(cut(Ms(kRate, 1, 256), 31)));
  for (const int frames : {0, 1, 504, 506, 65535}) EXPECT_FALSE(decodes(with(Ima(kRate, 1, 256), 0, frames)));
  for (const int frames : {0, 1, 2, 499, 501}) EXPECT_FALSE(decodes(with(Ms(kRate, 1, 256), 0, frames)));
  for (const int pairs : {0, 6, 8, 257, 65535}) EXPECT_FALSE(decodes(with(Ms(kRate, 1, 256), 1, pairs)));
  for (const int block : {0, 3, 4, 255, 257}) {
    Format ima = Ima(kRate, 1, 256);
    ima->nBlockAlign = static_cast<WORD>(block);
    EXPECT_FALSE(decodes(ima)) << block;
  }
  for (const int block : {0, 6, 7}) {
    Format ms = with(Ms(kRate, 1, 256), 0, 2);
    ms->nBlockAlign = static_cast<WORD>(block);
    EXPECT_FALSE(decodes(ms)) << block;
  }
  Format bits = Ima(kRate, 1, 256);
  bits->wBitsPerSample = 3;
  EXPECT_FALSE(decodes(bits));
  Format law = G711(WAVE_FORMAT_ALAW, kRate, 1);
  law->nAvgBytesPerSec = 1;
  EXPECT_FALSE(decodes(law));

  EXPECT_FALSE(Opens(Ima(kRate, 1, 256), Pcm(kRate, 2, 16)));
  EXPECT_FALSE(Opens(Ima(kRate, 1, 256), Pcm(kRate * 2, 1, 16)));
  EXPECT_FALSE(Opens(Ima(kRate, 1, 256), Ima(kRate, 1, 256)));
  EXPECT_FALSE(Opens(G711(WAVE_FORMAT_ALAW, kRate, 1), G711(WAVE_FORMAT_MULAW, kRate, 1)));
}

/// The sanitizers look on.
TEST(AcmCodec, AnyBytesOfAnyLengthDecodeIntoAnyRoom) {
  std::mt19937 random(11);
  for (int round = 0; round < 300; ++round) {
    const auto channels = static_cast<WORD>(1 + random() % 2);
    for (Format codec : Codecs(channels)) {
      const std::size_t extra = codec->cbSize / sizeof(WORD);
      for (std::size_t word = 2; word < extra; ++word) codec.SetExtra(word, static_cast<int>(random()));
      Bytes bytes(1 + random() % 3000);
      for (BYTE& byte : bytes) byte = static_cast<BYTE>(random() % 3 ? random() : 0x77);
      Conversion conversion(codec, Pcm(kRate, channels, random() % 2 ? 8 : 16));
      ASSERT_EQ(conversion.open, MMSYSERR_NOERROR);
      conversion.Run(bytes, random() % 2 ? kBlocks : ACM_STREAMCONVERTF_END);
      conversion.Run(bytes, ACM_STREAMCONVERTF_END, static_cast<DWORD>(1 + random() % 4000), nullptr);
      Conversion back(Pcm(kRate, channels, random() % 2 ? 8 : 16), codec);
      back.Run(bytes, ACM_STREAMCONVERTF_END);
      back.Run(bytes, ACM_STREAMCONVERTF_END, static_cast<DWORD>(1 + random() % 300), nullptr);
    }
  }
}

}  // namespace
