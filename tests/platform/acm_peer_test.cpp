// The codecs against two programs that nobody here wrote. A program makes a file, we decode it, and a
// program's own decoding must be the same sample for sample; we encode, and a program must decode what we
// decode.
//
// Where the two programs differ the published algorithm decides, and the one that follows it is asked:
// IMA ADPCM adds truncated parts of the step, as sox does (ffmpeg multiplies first and truncates once);
// MS ADPCM divides its prediction toward zero, as ffmpeg does (sox shifts, which rounds down).

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>

#include "AcmTools.h"
#include "tests/support/TempFolder.h"
#include "tests/support/files.h"

namespace {

using Samples = std::vector<std::int16_t>;

struct Wav {
  Format format;
  Bytes data;
};

Wav ReadWav(const std::string& path) {
  const Bytes all = test::Load<BYTE>(path);
  Bytes format;
  Bytes data;
  for (std::size_t place = 12; place + 8 <= all.size();) {
    DWORD size;
    std::memcpy(&size, &all[place + 4], sizeof size);
    const auto begin = all.begin() + static_cast<std::ptrdiff_t>(place + 8);
    const auto end = begin + std::min<std::ptrdiff_t>(size, all.end() - begin);
    if (std::memcmp(&all[place], "fmt ", 4) == 0) format.assign(begin, end);
    if (std::memcmp(&all[place], "data", 4) == 0) data.assign(begin, end);
    place += 8 + size + size % 2;
  }
  format.resize(std::max(format.size(), sizeof(WAVEFORMATEX)));
  return {Format(format), data};
}

/// Loud and soft tones, noise at full scale and steps: what makes a codec clip and jump.
Samples Signal(std::size_t frames, WORD channels) {
  std::mt19937 random(7);
  Samples samples;
  for (std::size_t frame = 0; frame < frames; ++frame) {
    for (WORD channel = 0; channel < channels; ++channel) {
      const double time = static_cast<double>(frame) / 8000;
      const double envelope = 0.5 - 0.5 * std::cos(6 * time);
      double value = envelope * std::sin(2 * M_PI * (300 + 200 * channel) * time * (1 + time)) * 32767;
      if (frame % 8000 > 6500) value = static_cast<double>(random() % 65536) - 32768;
      if (frame % 8000 > 7500) value = frame % 64 < 32 ? 32767 : -32768;
      samples.push_back(static_cast<std::int16_t>(value));
    }
  }
  return samples;
}

double Decibels(const Samples& signal, const Samples& other) {
  double power = 1;
  double miss = 1;
  for (std::size_t i = 0; i < std::min(signal.size(), other.size()); ++i) {
    power += std::pow(signal[i], 2);
    miss += std::pow(signal[i] - other[i], 2);
  }
  return 10 * std::log10(power / miss);
}

enum Program { kSox, kFfmpeg };
struct Case {
  const char* name;
  WORD tag;
  const char* soxName;
  const char* ffmpegName;
  std::vector<Program> decoders;  // that follow the published algorithm

  friend void PrintTo(const Case& codec, std::ostream* out) { *out << codec.name; }
};

class AcmPeer : public testing::TestWithParam<std::tuple<Case, WORD>> {
 protected:
  static constexpr DWORD kRate = 8000;
  const Case codec = std::get<0>(GetParam());
  const WORD channels = std::get<1>(GetParam());
  const Samples signal = Signal(20001, channels);
  TempFolder folder;

  void SetUp() override {
    if (!*SOX_PROGRAM || !*FFMPEG_PROGRAM) GTEST_SKIP() << "sox and ffmpeg are not installed";
    test::StoreWav(folder.File("in.wav"), Pcm(kRate, channels, 16).Whole(), signal, 20001);
  }

  static void Command(const std::string& line) { ASSERT_EQ(std::system(line.c_str()), 0) << line; }

  /// Lets a program make in.wav into a file of the codec.
  Wav Encoded(Program program, const std::string& name) {
    const std::string in = folder.File("in.wav");
    const std::string out = folder.File(name);
    Command(program == kSox ? std::string(SOX_PROGRAM) + " -D -V1 " + in + " -e " + codec.soxName + " " + out
                            : std::string(FFMPEG_PROGRAM) + " -v error -y -i " + in + " -c:a " +
                                  codec.ffmpegName + " " + out);
    return ReadWav(out);
  }

  Samples Decoded(Program program, const std::string& name) {
    const std::string in = folder.File(name);
    const std::string out = folder.File("out.raw");
    Command(program == kSox
                ? std::string(SOX_PROGRAM) + " -D -V1 " + in + " -t raw -e signed -b 16 " + out
                : std::string(FFMPEG_PROGRAM) + " -v error -y -i " + in + " -f s16le -c:a pcm_s16le " + out);
    return ToSamples<std::int16_t>(test::Load<BYTE>(out));
  }

  Samples OwnDecoded(const Wav& wav) const {
    Conversion conversion(wav.format, Pcm(kRate, channels, 16));
    EXPECT_EQ(conversion.open, MMSYSERR_NOERROR);
    return ToSamples<std::int16_t>(conversion.Run(wav.data, ACM_STREAMCONVERTF_END));
  }

  /// A decoder may stop at the frame count that the file tells; what both have must be the same.
  void ExpectSame(const Samples& own, const Samples& program) const {
    ASSERT_GE(program.size(), signal.size());
    ASSERT_GE(own.size(), signal.size());
    const auto end = static_cast<std::ptrdiff_t>(std::min(own.size(), program.size()));
    const auto differ = std::mismatch(own.begin(), own.begin() + end, program.begin());
    EXPECT_EQ(differ.first - own.begin(), end) << *differ.first << " is not " << *differ.second;
  }
};

TEST_P(AcmPeer, FilesOfBothProgramsDecodeToTheirSamples) {
  for (const Program maker : {kSox, kFfmpeg}) {
    const Wav wav = Encoded(maker, "coded.wav");
    const Samples own = OwnDecoded(wav);
    for (const Program decoder : codec.decoders) {
      SCOPED_TRACE(testing::Message() << "made by " << maker << ", decoded by " << decoder);
      ExpectSame(own, Decoded(decoder, "coded.wav"));
    }
  }
}

TEST_P(AcmPeer, OurFilesDecodeToOurSamplesAndSoundNoWorse) {
  for (const Program maker : {kSox, kFfmpeg}) {  // of the format; the file is ours
    Wav wav = Encoded(maker, "theirs.wav");
    const double theirs = Decibels(signal, OwnDecoded(wav));
    Conversion conversion(Pcm(kRate, channels, 16), wav.format);
    ASSERT_EQ(conversion.open, MMSYSERR_NOERROR);
    wav.data = conversion.Run(ToBytes(signal), ACM_STREAMCONVERTF_END);
    test::StoreWav(folder.File("ours.wav"), wav.format.Whole(), wav.data, 20001);
    const Samples own = OwnDecoded(wav);
    RecordProperty(maker == kSox ? "sox" : "ffmpeg", std::to_string(theirs));
    RecordProperty("own", std::to_string(Decibels(signal, own)));
    EXPECT_GE(Decibels(signal, own), theirs - 0.5);
    for (const Program decoder : codec.decoders) ExpectSame(own, Decoded(decoder, "ours.wav"));
  }
}

/// Bits and channels, without a change of rate. sox rounds where the high byte and the mean round down.
TEST(AcmPeerPcm, AgreesWithSoxWithinOneStepOfTheSmallerFormat) {
  if (!*SOX_PROGRAM) GTEST_SKIP() << "sox is not installed";
  TempFolder folder;
  for (const WORD channels : {WORD{1}, WORD{2}}) {
    test::StoreWav(folder.File("in.wav"), Pcm(8000, channels, 16).Whole(), Signal(20001, channels), 20001);
    for (const auto& [bits, outChannels, outBits] : {std::array<WORD, 3>{16, 1, 8},
                                                     {16, 2, 8},
                                                     {16, 1, 16},
                                                     {16, 2, 16},
                                                     {8, 1, 16},
                                                     {8, 2, 16},
                                                     {8, 1, 8}}) {
      SCOPED_TRACE(testing::Message()
                   << channels << " of " << bits << " to " << outChannels << " of " << outBits);
      const auto sox = [&](const char* in, WORD toBits, WORD toChannels, const char* out) {
        const std::string line = std::string(SOX_PROGRAM) + " -D -V1 " + folder.File(in) + " -b " +
                                 std::to_string(toBits) + " -c " + std::to_string(toChannels) + " " +
                                 folder.File(out);
        ASSERT_EQ(std::system(line.c_str()), 0) << line;
      };
      sox("in.wav", bits, channels, "source.wav");
      sox("source.wav", outBits, outChannels, "out.wav");
      Conversion conversion(Pcm(8000, channels, bits), Pcm(8000, outChannels, outBits));
      const Bytes own = conversion.Run(ReadWav(folder.File("source.wav")).data, kBlocks);
      const Bytes program = ReadWav(folder.File("out.wav")).data;
      ASSERT_EQ(own.size(), program.size());
      const int step = outBits == 16 && bits == 8 ? 256 : 1;
      for (std::size_t i = 0; i < own.size(); i += outBits / 8u) {
        std::int16_t pair[] = {own[i], program[i]};
        if (outBits == 16) {
          std::memcpy(&pair[0], &own[i], 2);
          std::memcpy(&pair[1], &program[i], 2);
        }
        ASSERT_LE(std::abs(pair[0] - pair[1]), step) << i;
      }
    }
  }
}

const Case kCases[] = {
    {"ALaw", WAVE_FORMAT_ALAW, "a-law", "pcm_alaw", {kSox, kFfmpeg}},
    {"MuLaw", WAVE_FORMAT_MULAW, "u-law", "pcm_mulaw", {kSox, kFfmpeg}},
    {"Ima", WAVE_FORMAT_DVI_ADPCM, "ima-adpcm", "adpcm_ima_wav", {kSox}},
    {"Ms", WAVE_FORMAT_ADPCM, "ms-adpcm", "adpcm_ms", {kFfmpeg}},
};

INSTANTIATE_TEST_SUITE_P(Codecs, AcmPeer,
                         testing::Combine(testing::ValuesIn(kCases), testing::Values(WORD{1}, WORD{2})),
                         [](const auto& test) {
                           return std::string(std::get<0>(test.param).name) +
                                  (std::get<1>(test.param) == 1 ? "Mono" : "Stereo");
                         });

}  // namespace
