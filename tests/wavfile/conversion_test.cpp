// Conversion of what CMMWav reads, by the system's drivers: setting up, converting in two stages, giving
// back.
#include "tests/resample/Steps.h"
#include "tests/support/Private.h"
#include "tests/wavfile/conversion_tools.h"

PRIVATE_FIELD(ConvertKind, CMMWav, std::uint32_t, convertKind)
PRIVATE_FIELD(Stream, CMMWav, HACMSTREAM, acmStream)

namespace {

using Conversion = ConversionTest;

TEST_F(Conversion, RefusesWithoutAnyChange) {
  CMMWav wav;
  std::uint8_t* output = nullptr;
  const WAVEFORMATEX source = Format(8000, 1, 16), target = Format(8000, 1, 8);
  EXPECT_EQ(wav.BeginConvert(kOneStage, target, &output, nullptr), 0u);  // no file
  ASSERT_EQ(wav.Open(source, folder_.File("written.wav").c_str()), 1);
  EXPECT_EQ(wav.BeginConvert(kOneStage, target, &output, nullptr), 0u);
  ExpectNoConversion(wav);
  EXPECT_EQ(wav.EndConvert(), 0u);
  wav.Close();

  ASSERT_EQ(wav.Open(MakeSource(source, 100).c_str()), 1);
  std::uint8_t byte = 0;
  std::uint8_t* used = &byte;
  EXPECT_EQ(wav.BeginConvert(kOneStage, target, nullptr, nullptr), 0u);
  EXPECT_EQ(wav.BeginConvert(kOneStage, target, &used, nullptr), 0u);
  EXPECT_EQ(used, &byte);
  EXPECT_EQ(ConvertKind(wav), 0u);
  EXPECT_EQ(Stream(wav), nullptr);
  ASSERT_NE(wav.BeginConvert(kOneStage, target, &output, nullptr), 0u);
  output = nullptr;
  EXPECT_EQ(wav.BeginConvert(kOneStage, target, &output, nullptr), 0u);  // one is running
  EXPECT_EQ(ConvertKind(wav), 1u);
}

TEST_F(Conversion, WithoutADriverNothingIsSetUp) {
  CMMWav wav;
  ASSERT_EQ(wav.Open(Make(Format(8000, 1, 16), Pattern(200)).c_str()), 1);
  std::uint8_t* output = nullptr;
  EXPECT_EQ(wav.BeginConvert(kOneStage, Format(8000, 1, 16, kPrivateTag), &output, nullptr), 0u);
  EXPECT_EQ(Stream(wav), nullptr);
  EXPECT_EQ(ConvertKind(wav), 0u);
  EXPECT_EQ(wav.EndConvert(), 0u);
}

TEST_F(Conversion, CopiesShareTheConversion) {
  const std::string file = MakeSource(Format(8000, 1, 16), 160000);
  const auto begin = [](CMMWav& wav) {
    std::uint8_t* output = nullptr;
    ASSERT_NE(wav.BeginConvert(kTwoStages, Format(11025, 1, 16), &output, nullptr), 0u);
  };
  const auto piece = [](CMMWav& wav) {
    const std::uint32_t made = wav.Convert();
    const std::uint8_t* const buffer = wav.GetConvertBuf();
    return Bytes(buffer, buffer + made);
  };
  CMMWav alone;
  ASSERT_EQ(alone.Open(file.c_str()), 1);
  begin(alone);
  std::vector<Bytes> expected;
  for (int i = 0; i < 4; ++i) expected.push_back(piece(alone));

  CMMWav one;
  ASSERT_EQ(one.Open(file.c_str()), 1);
  begin(one);
  CMMWav other(one);
  EXPECT_EQ(piece(other), expected[0]);
  EXPECT_EQ(piece(one), expected[1]);
  {
    CMMWav third(one);
    EXPECT_EQ(piece(third), expected[2]);
  }
  EXPECT_EQ(piece(other), expected[3]);
  EXPECT_EQ(one.EndConvert(), 1u);
  EXPECT_EQ(other.EndConvert(), 0u);
  ExpectNoConversion(other);

  begin(other);
  EXPECT_EQ(one.Close(), 1);  // ends it for both
  ExpectNoConversion(other);
}

/// The filter's steps, told naively, on what one stage makes of each piece.
template <class Sample>
void ExpectTheSteps(const std::string& file, const WAVEFORMATEX& target, const std::vector<DWORD>& pieces) {
  CMMWav stage, both;
  ASSERT_EQ(stage.Open(file.c_str()), 1);
  ASSERT_EQ(both.Open(file.c_str()), 1);
  WAVEFORMATEX between = target;
  between.nSamplesPerSec = stage.GetSampleRate();
  between.nAvgBytesPerSec = between.nSamplesPerSec * between.nBlockAlign;
  std::uint8_t *stageOutput = nullptr, *output = nullptr;
  ASSERT_NE(stage.BeginConvert(kOneStage, between, &stageOutput, nullptr), 0u);
  ASSERT_EQ(both.BeginConvert(kTwoStages, target, &output, nullptr), +target.nAvgBytesPerSec);
  Steps<Sample> steps;
  std::vector<Sample> expected;
  for (std::size_t i = 0; stage.GetNowTime() < stage.GetPlayTime(); ++i) {
    std::uint32_t staged = 0, made = 0;
    ASSERT_EQ(stage.Convert(pieces[i % pieces.size()], &staged), 1);
    ASSERT_EQ(both.Convert(pieces[i % pieces.size()], &made), 1);
    const auto* const begin = reinterpret_cast<const Sample*>(stageOutput);
    steps.Call({begin, begin + staged / sizeof(Sample)}, between.nSamplesPerSec, target.nSamplesPerSec,
               target.nSamplesPerSec, i == 0, target.nChannels, expected);
    const auto* const got = reinterpret_cast<const Sample*>(output);
    ASSERT_EQ(std::vector<Sample>(got, got + made / sizeof(Sample)), expected) << "piece " << i;
  }
}

TEST_F(Conversion, TwoStagesFollowTheSteps) {
  struct {
    WAVEFORMATEX source, target;
  } const kCases[] = {
      {Format(44100, 2, 16), Format(22050, 1, 16)}, {Format(22050, 1, 8), Format(44100, 2, 16)},
      {Format(8000, 1, 16), Format(11025, 1, 8)},   {Format(48000, 2, 8), Format(44101, 2, 8)},
      {Format(11025, 2, 16), Format(11025, 1, 16)}, {Format(192000, 1, 16), Format(100, 2, 16)},
  };
  for (const auto& c : kCases) {
    const DWORD second = c.source.nAvgBytesPerSec;
    const DWORD block = c.source.nBlockAlign;
    const std::string file = MakeSource(c.source, 4 * second + 7 * block);
    SCOPED_TRACE(std::to_string(c.source.nSamplesPerSec) + " to " + std::to_string(c.target.nSamplesPerSec));
    for (const auto& pieces : {std::vector<DWORD>{second},
                               {second / 2 / block * block},
                               {block, 2 * block, 1000 * block, second, 77 * block}}) {
      if (c.target.wBitsPerSample == 16) {
        ExpectTheSteps<std::int16_t>(file, c.target, pieces);
      } else {
        ExpectTheSteps<std::uint8_t>(file, c.target, pieces);
      }
    }
  }
}

// An IMA file that states twice its byte rate delivers two seconds at once; at equal rates no frame is lost.
TEST_F(Conversion, AtEqualRatesAllFramesComeOutWhateverTheByteRate) {
  constexpr std::uint32_t kFramesInBlock = 505;
  const WAVEFORMATEX ima = {17, 1, 22050, 2 * 22050 * 256 / kFramesInBlock, 256, 4, 2};
  Bytes record(sizeof ima);
  std::memcpy(record.data(), &ima, sizeof ima);
  const Bytes extra = {static_cast<char>(kFramesInBlock & 0xFF), static_cast<char>(kFramesInBlock >> 8)};
  Bytes blocks = Pattern(200 * 256);
  for (std::size_t at = 0; at < blocks.size(); at += 256) SetNumber(blocks, at, 0);  // each block's header
  const std::string path = folder_.File("ima.wav");
  Store(path, Riff({Chunk("fmt ", Join({record, extra})), Chunk("data", blocks)}));
  const auto converted = [&path](std::int32_t stages) {
    CMMWav wav;
    std::uint8_t* output = nullptr;
    EXPECT_EQ(wav.Open(path.c_str()), 1);
    const std::uint32_t size = wav.BeginConvert(stages, Format(22050, 1, 16), &output, nullptr);
    EXPECT_EQ(wav.GetConvertSize(), size);
    Bytes all;
    std::uint32_t made = 0;
    while (wav.Convert(87 * 256, &made) == 1) {
      EXPECT_LE(made, size);
      all.insert(all.end(), output, output + made);
    }
    return all;
  };
  const Bytes twice = converted(kTwoStages);
  EXPECT_EQ(twice.size(), 2u * 200 * kFramesInBlock);
  EXPECT_TRUE(twice == converted(kOneStage));
}

TEST_F(Conversion, SeekingDoesNotBeginANewStreamButBeginConvertDoes) {
  CMMWav wav;
  ASSERT_EQ(wav.Open(MakeSource(Format(8000, 1, 8), 16000).c_str()), 1);
  const Bytes signedData = Pattern(16000);
  const std::vector<std::uint8_t> data(signedData.begin(), signedData.end());
  const WAVEFORMATEX target = Format(16000, 1, 8);
  std::uint8_t* output = nullptr;
  std::uint32_t made = 0;
  ASSERT_NE(wav.BeginConvert(kTwoStages, target, &output, nullptr), 0u);
  EXPECT_EQ(wav.Convert(10, &made), 1);
  EXPECT_EQ(made, 19u);
  EXPECT_EQ(wav.SampleFind(5000), 1);
  EXPECT_EQ(wav.Convert(10, &made), 1);
  EXPECT_EQ(made, 20u);  // from the last frame before over to the new place
  EXPECT_EQ(output[0], static_cast<std::uint8_t>(data[9] + (data[5000] - data[9]) / 2));
  EXPECT_EQ(output[1], data[5000]);
  EXPECT_EQ(wav.EndConvert(), 1u);
  output = nullptr;
  ASSERT_NE(wav.BeginConvert(kTwoStages, target, &output, nullptr), 0u);
  EXPECT_EQ(wav.Convert(10, &made), 1);
  EXPECT_EQ(made, 19u);
  EXPECT_EQ(output[0], data[5010]);
}

}  // namespace
