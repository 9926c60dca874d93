// The layer's conversion drivers.

#include <cmath>
#include <cstdlib>
#include <numeric>
#include <random>
#include <string>

#include "tests/platform/acm/AcmTools.h"
#include "tests/support/files.h"

namespace {

constexpr DWORD kRate = 8000;

AcmFormat Law(WORD tag, WORD channels) {
  return Format(kRate, channels, 8, tag);
}

std::vector<AcmFormat> Codecs(WORD channels) {
  return {Law(WAVE_FORMAT_ALAW, channels),       Law(WAVE_FORMAT_MULAW, channels),
          Ima(kRate, channels, 256u * channels), Ms(kRate, channels, 256u * channels),
          Ima(kRate, channels, 8u * channels),   Ms(kRate, channels, 7u * channels + 1)};
}

/// With sound and with random codes, and with random coefficients, for the sanitizers too.
TEST(AcmCodec, EightBitsAreTheHighByteOfSixteenAndCutsChangeNothing) {
  std::mt19937 random(3);
  for (WORD round = 0; round < 20; ++round) {
    const auto channels = static_cast<WORD>(1 + round % 2);
    const AcmFormat narrow = Format(kRate, channels, 8);
    const AcmFormat wide = Format(kRate, channels, 16);
    for (AcmFormat codec : Codecs(channels)) {
      for (std::size_t word = 2; word < codec->cbSize / 2u; ++word)
        codec.Extra(word) = static_cast<WORD>(random());
      const Bytes bytes = Noise(20000, random);
      Samples samples;
      for (const BYTE byte : bytes) samples.push_back(static_cast<std::int16_t>((byte - 128) * 256));
      Conversion encoder(wide, codec);
      const Bytes coded = encoder.Run(ToBytes(samples), kEnd);
      EXPECT_EQ(Conversion(narrow, codec).Run(bytes, kEnd), coded);
      const auto cut = [&] { return std::pair<std::ptrdiff_t, DWORD>(2100 + random() % 5000, 0); };
      EXPECT_EQ(RunInPieces(encoder, ToBytes(samples), cut), coded);

      for (const Bytes& codes : {coded, Noise(100 + random() % 3000, random)}) {
        const Bytes decoded = Conversion(codec, narrow).Run(codes, kEnd);
        samples = ToSamples(Conversion(codec, wide).Run(codes, kEnd));
        ASSERT_EQ(decoded.size(), samples.size());
        for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(decoded[i], (samples[i] >> 8) + 128);
      }
    }
  }
}

TEST(AcmCodec, WholeBlocksOnlyUnlessTheStreamEndsWithoutThatFlag) {
  const AcmFormat ima = Ima(kRate, 1, 256);  // 505 frames
  const AcmFormat pcm = Format(kRate, 1, 16);
  Conversion decoder(ima, pcm);
  Conversion encoder(pcm, ima);
  Conversion law(Law(WAVE_FORMAT_ALAW, 2), Format(kRate, 2, 16));
  const struct {
    Conversion& conversion;
    std::size_t given;
    DWORD flags, room, made, taken;
  } cases[] = {
      {decoder, 600, kBlocks, 0, 2 * 505 * 2, 512},
      {decoder, 600, kEnd, 0, (2 * 505 + 1 + 168) * 2, 600},
      {decoder, 512 + 3, kEnd, 0, 2 * 505 * 2, 512},  // not even a header
      {decoder, 512, kBlocks, 505 * 2 + 1, 505 * 2, 256},
      {encoder, 1011, kBlocks, 0, 256, 1010},
      {encoder, 1015, kEnd, 0, 512, 1014},
      {law, 7, kBlocks, 0, 12, 6},
      {law, 8, kBlocks, 11, 8, 4},
  };
  for (const auto& [conversion, given, flags, room, made, taken] : cases) {
    DWORD used = 0;
    EXPECT_EQ(conversion.Run(Bytes(given), flags, &used, room).size(), made) << given;
    EXPECT_EQ(used, taken) << given;
  }
  // What a last block has no source for repeats the last frame.
  const Bytes last = encoder.Run(ToBytes(Samples(3, 20000)), kEnd | ACM_STREAMCONVERTF_START);
  EXPECT_EQ(last, encoder.Run(ToBytes(Samples(505, 20000)), kEnd | ACM_STREAMCONVERTF_START));
  std::mt19937 random(5);
  const Bytes blocks = encoder.Run(Noise(2 * 505 * 2, random), kEnd | ACM_STREAMCONVERTF_START);
  EXPECT_GT(blocks.at(256 + 2), 0) << "a block begins with the step of the last one";
}

TEST(AcmCodec, RefusesFormatsThatAreNotPublished) {
  const AcmFormat pcm = Format(kRate, 1, 16);
  const AcmFormat ima = Ima(kRate, 1, 256);
  const AcmFormat ms = Ms(kRate, 1, 256);
  for (const AcmFormat& known : {ima, ms, Ima(kRate, 1, 32768), Ms(kRate, 1, 32000)})
    EXPECT_TRUE(Opens(known, pcm) && Opens(pcm, known));
  // With other blocks, further data cut short, or another word in it.
  const auto refused = [&](AcmFormat format, int block, int extraBytes, std::size_t word = 0,
                           int value = -1) {
    format->nBlockAlign = static_cast<WORD>(block);
    format->cbSize = static_cast<WORD>(extraBytes);
    if (value >= 0) format.Extra(word) = static_cast<WORD>(value);
    EXPECT_FALSE(Opens(format, pcm) || Opens(pcm, format))
        << format->wFormatTag << ' ' << block << ' ' << value;
  };
  for (const int block : {0, 3, 4, 255, 257}) refused(ima, block, 2);
  for (const int block : {0, 6, 7}) refused(ms, block, 32, 0, 2);
  refused(ima, 256, 0);
  for (const int size : {0, 31}) refused(ms, 256, size);
  for (const int frames : {0, 1, 504, 506, 65535}) refused(ima, 256, 2, 0, frames);
  for (const int frames : {0, 1, 2, 499, 501}) refused(ms, 256, 32, 0, frames);
  for (const int pairs : {0, 6, 8, 257, 65535}) refused(ms, 256, 32, 1, pairs);
  for (const WAVEFORMATEX& format :
       {Format(0, 1, 16), Format(kRate, 0, 16), Format(kRate, 9, 16), Format(kRate, 1, 28),
        Format(kRate, 1, 0), WAVEFORMATEX{WAVE_FORMAT_ALAW, 1, kRate, 1, 1, 8, 0},
        WAVEFORMATEX{WAVE_FORMAT_PCM, 1, kRate, 16000, 4, 16, 0},
        WAVEFORMATEX{WAVE_FORMAT_PCM, 2, 0x40000001, 4, 4, 16, 0}})  // equal only in 32 bits
    refused(format, format.nBlockAlign, 0);
  EXPECT_FALSE(Opens(ima, Format(kRate, 2, 16)) || Opens(ima, Format(kRate * 2, 1, 16)) || Opens(ima, ima));
}

/// From a file that we encode, independent programs must decode the same samples as we do. Where the two
/// programs differ, the one that follows the published algorithm is used:
/// IMA ADPCM adds truncated parts of the step, as sox does (ffmpeg multiplies first and truncates once); MS
/// ADPCM divides its prediction toward zero, as ffmpeg does (sox shifts, which rounds down).
TEST(AcmCodec, OurFilesAreDecodedToOurSamplesByOthers) {
  if (!*SOX_PROGRAM || !*FFMPEG_PROGRAM) GTEST_SKIP() << "sox and ffmpeg are not installed";
  constexpr unsigned kFrames = 20001, kChannels = 2;
  std::mt19937 random(7);
  const AcmFormat pcm = Format(kRate, kChannels, 16);
  Samples signal = ToSamples(Noise(kFrames * kChannels * 2, random));
  for (unsigned i = 0; i < signal.size(); ++i)  // from soft to loud
    signal[i] = static_cast<std::int16_t>(signal[i] * static_cast<int>(i % 8000) / 8000);
  const TempFolder folder;
  const std::string file = folder.File("ours.wav"), raw = folder.File("out.raw");
  const std::string bySox = SOX_PROGRAM " -D -V1 " + file + " -t raw -e signed -b 16 " + raw;
  const std::string byFfmpeg = FFMPEG_PROGRAM " -v error -y -i " + file + " -f s16le " + raw;
  const struct {
    AcmFormat codec;
    const std::string& decoder;  // one that follows the published algorithm
  } cases[] = {{Law(WAVE_FORMAT_ALAW, kChannels), bySox},
               {Law(WAVE_FORMAT_MULAW, kChannels), bySox},
               {Ima(kRate, kChannels, 512), bySox},
               {Ms(kRate, kChannels, 512), byFfmpeg}};
  for (const auto& [codec, decoder] : cases) {
    const Bytes coded = Conversion(pcm, codec).Run(ToBytes(signal), kEnd);
    Bytes own = Conversion(codec, pcm).Run(coded, kEnd);
    test::StoreWav(file, codec.Contents(), coded, kFrames);
    ASSERT_EQ(std::system(decoder.c_str()), 0) << decoder;
    const Bytes theirs = test::Load<BYTE>(raw);  // a decoder may stop at the file's frame count
    ASSERT_TRUE(theirs.size() >= signal.size() * 2 && theirs.size() <= own.size());
    own.resize(theirs.size());
    EXPECT_EQ(theirs, own) << decoder;
  }
}

/// A PCM conversion by its definition, over a complete stream at once.
Bytes Expected(const Bytes& source, const WAVEFORMATEX& from, const WAVEFORMATEX& to) {
  const auto at = [&](std::size_t frame, std::size_t channel) -> int {
    const BYTE* const sample = &source[frame * from.nBlockAlign + channel * from.wBitsPerSample / 8];
    return from.wBitsPerSample == 8 ? *sample : static_cast<std::int16_t>(sample[0] | sample[1] << 8);
  };
  const auto brought = [&](std::size_t frame, std::size_t channel) {
    int value = at(frame, from.nChannels == 1 ? 0 : channel);
    if (to.nChannels < from.nChannels) value = (value + at(frame, 1)) >> 1;
    if (to.wBitsPerSample > from.wBitsPerSample) value = (value - 128) * 256;
    if (to.wBitsPerSample < from.wBitsPerSample) value = (value >> 8) + 128;
    return value;
  };
  const std::size_t frames = source.size() / from.nBlockAlign;
  Bytes out;
  for (std::uint64_t n = 0;; ++n) {
    const std::uint64_t position = n * from.nSamplesPerSec;
    const std::size_t frame = position / to.nSamplesPerSec;
    const auto part = static_cast<double>(position % to.nSamplesPerSec);
    if (frame + (part != 0) >= frames) return out;
    for (std::size_t channel = 0; channel < to.nChannels; ++channel) {
      const double rate = to.nSamplesPerSec;
      const double next = part == 0 ? 0 : brought(frame + 1, channel) * part;
      const int value =
          static_cast<int>(std::floor((brought(frame, channel) * (rate - part) + next) / rate + 0.5));
      out.push_back(static_cast<BYTE>(value));
      if (to.wBitsPerSample == 16) out.push_back(static_cast<BYTE>(value >> 8));
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
    const auto format = [&](DWORD rate) {
      return Format(rate, static_cast<WORD>(1 + below(2)), static_cast<WORD>(8 << below(2)));
    };
    const WAVEFORMATEX from = format(base);
    const WAVEFORMATEX to = format(other);
    SCOPED_TRACE(testing::Message() << base << " to " << other << ", round " << round);
    const Bytes source = Noise((1 + below(500)) * from.nBlockAlign, random);
    const Bytes expected = Expected(source, from, to);
    Conversion conversion(from, to);
    // Source for which there is no room is not taken; it comes again with the next call.
    const auto cut = [&] {
      const auto size = static_cast<std::ptrdiff_t>((1 + below(200)) * from.nBlockAlign);
      return std::pair(size, below(4) == 0 ? 1 + below(64) : 0);
    };
    ASSERT_EQ(RunInPieces(conversion, source, cut), expected);
    ASSERT_EQ(RunInPieces(conversion, source, cut), expected) << "from the start again";
  }
}

}  // namespace
