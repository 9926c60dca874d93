// Conversion of what CMMWav reads, by the system's drivers.
#include "tests/resample/Steps.h"
#include "tests/wavfile/conversion_tools.h"

namespace {

using Conversion = ConversionTest;

TEST_F(Conversion, RefusesWithoutAnyChange) {
  const WAVEFORMATEX target = Format(8000, 1, 8);
  ASSERT_EQ(wav_.Open(target, folder_.File("written.wav").c_str()), 1);
  EXPECT_EQ(Begin(kOneStage, target), 0u);
  Open(Format(8000, 1, 16), 100);
  std::uint8_t byte = 0;
  std::uint8_t* used = &byte;
  EXPECT_EQ(wav_.BeginConvert(kOneStage, target, nullptr, nullptr), 0u);
  EXPECT_EQ(wav_.BeginConvert(kOneStage, target, &used, nullptr), 0u);
  EXPECT_EQ(Begin(kOneStage, Format(8000, 1, 16, kPrivateTag)), 0u);  // nobody converts to that
  EXPECT_EQ(ConvertKind(wav_) + wav_.EndConvert(), 0u);
  ASSERT_NE(Begin(kOneStage, target), 0u);
  EXPECT_EQ(Begin(kOneStage, target), 0u);  // one is running
}

/// Holds two stages against the filter's plain steps on the output of one stage, piece by piece.
template <class Sample>
void ExpectTheSteps(CMMWav& stage, CMMWav& both, const WAVEFORMATEX& target,
                    const std::vector<DWORD>& pieces) {
  const WAVEFORMATEX between = Format(stage.GetSampleRate(), target.nChannels, target.wBitsPerSample);
  std::uint8_t *stageOutput = nullptr, *output = nullptr;
  ASSERT_NE(stage.BeginConvert(kOneStage, between, &stageOutput, nullptr), 0u);
  ASSERT_EQ(both.BeginConvert(kTwoStages, target, &output, nullptr), +target.nAvgBytesPerSec);
  Steps<Sample> steps;
  for (std::size_t i = 0; stage.GetNowTime() < stage.GetPlayTime(); ++i) {
    ASSERT_TRUE(i != 2 || stage.TimeFind(1.2) + both.TimeFind(1.2) == 2);  // the stream goes on
    std::uint32_t staged = 0, made = 0;
    ASSERT_EQ(stage.Convert(pieces[i % pieces.size()], &staged), 1);
    ASSERT_EQ(both.Convert(pieces[i % pieces.size()], &made), 1);
    const auto* const begin = reinterpret_cast<const Sample*>(stageOutput);
    const Call call{between.nSamplesPerSec, target.nSamplesPerSec, target.nSamplesPerSec, i == 0};
    const auto expected = steps.Run({begin, begin + staged / sizeof(Sample)}, call, target.nChannels);
    const auto* const got = reinterpret_cast<const Sample*>(output);
    ASSERT_EQ(std::vector<Sample>(got, got + made / sizeof(Sample)), expected) << "piece " << i;
  }
  EXPECT_EQ(stage.EndConvert() + both.EndConvert(), 2u);
  EXPECT_EQ(stage.Reset() + both.Reset(), 2);
}

TEST_F(Conversion, TwoStagesFollowTheSteps) {
  const struct {
    WAVEFORMATEX source, target;
  } kCases[] = {{Format(44100, 2, 16), Format(22050, 1, 16)}, {Format(22050, 1, 8), Format(44100, 2, 16)},
                {Format(8000, 1, 16), Format(11025, 1, 8)},   {Format(48000, 2, 8), Format(44101, 2, 8)},
                {Format(11025, 2, 16), Format(11025, 1, 16)}, {Format(192000, 1, 16), Format(100, 2, 16)}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(&c - kCases);
    const DWORD second = c.source.nAvgBytesPerSec, block = c.source.nBlockAlign;
    Open(c.source, 4 * second + 7 * block);
    CMMWav stage;
    ASSERT_EQ(stage.Open(folder_.File("given.wav").c_str()), 1);
    for (const auto& pieces : {std::vector<DWORD>{second},
                               {second / 2 / block * block},
                               {block, 2 * block, 1000 * block, second, 77 * block}}) {
      const bool wide = c.target.wBitsPerSample == 16;
      (wide ? ExpectTheSteps<std::int16_t> : ExpectTheSteps<std::uint8_t>)(stage, wav_, c.target, pieces);
    }
  }
}

}  // namespace
