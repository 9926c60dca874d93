// Conversion of what CMMWav reads: setting up, refusing, converting in one stage and in two, giving back.
#include "tests/resample/Steps.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Private.h"
#include "tests/wavfile/conversion_tools.h"

PRIVATE_FIELD(ConvertKind, CMMWav, std::uint32_t, convertKind)
PRIVATE_FIELD(FirstBlock, CMMWav, std::uint8_t, firstBlock)
PRIVATE_FIELD(Stream, CMMWav, HACMSTREAM, acmStream)
PRIVATE_FIELD(Header, CMMWav, ACMSTREAMHEADER*, streamHeader)

namespace {

constexpr std::int32_t kOneStage = 1;
constexpr std::int32_t kTwoStages = 0;

using Conversion = ConversionTest;

WAVEFORMATEX With(WAVEFORMATEX format, DWORD byteRate, WORD block) {
  format.nAvgBytesPerSec = byteRate;
  format.nBlockAlign = block;
  return format;
}

void ExpectNoConversion(CMMWav& wav) {
  std::uint32_t made = 99;
  EXPECT_EQ(wav.Convert(2, &made), 0);
  EXPECT_EQ(made, 0u);
  EXPECT_EQ(wav.Convert(), 0u);
  EXPECT_EQ(wav.GetConvertBuf(), nullptr);
}

/// With a file in a format that only the test's driver takes.
class Scripted : public ConversionTest {
 protected:
  void Open(const WAVEFORMATEX& format, std::size_t bytes) {
    ASSERT_EQ(wav_.Open(MakeSource(format, bytes).c_str()), 1);
  }
  std::uint32_t Begin(std::int32_t stages, const WAVEFORMATEX& target) {
    output_ = nullptr;
    return wav_.BeginConvert(stages, target, &output_, nullptr);
  }

  std::shared_ptr<Script> script_ = std::make_shared<Script>();
  Registered driver_{script_};
  CMMWav wav_;
  std::uint8_t* output_ = nullptr;
  const WAVEFORMATEX source_ = Format(8000, 1, 16, kPrivateTag);
};

TEST_F(Conversion, InTwoStagesTheDriverKeepsTheRate) {
  const auto script = std::make_shared<Script>();
  const Registered driver(script);
  HACMDRIVER handle = nullptr;
  ASSERT_EQ(acmDriverOpen(&handle, driver.Id(), 0), 0u);
  script->outputSize = script->output = 88200;
  {
    CMMWav wav;
    ASSERT_EQ(wav.Open(MakeSource(Format(44100, 2, 16), 200000).c_str()), 1);
    std::uint8_t* output = nullptr;
    // The layer's own driver takes these formats too: the one that is named goes first.
    ASSERT_EQ(wav.BeginConvert(kTwoStages, Format(22050, 1, 16), &output, handle), 44100u);
    EXPECT_EQ(wav.GetNowDriverID(), driver.Id());
    EXPECT_EQ(wav.GetConvertSize(), 44100u);
    EXPECT_EQ(wav.GetConvertBuf(), output);
    const WAVEFORMATEX& between = script->destination;
    EXPECT_EQ(+between.nSamplesPerSec, 44100u);
    EXPECT_EQ(+between.nAvgBytesPerSec, 88200u);
    EXPECT_EQ(+between.nChannels, 1);

    std::uint32_t made = 0;
    EXPECT_EQ(wav.Convert(176400, &made), 1);
    EXPECT_EQ(made, 44100u);
    const ACMSTREAMHEADER& header = script->prepared;
    EXPECT_EQ(+header.cbStruct, sizeof header);
    EXPECT_EQ(+header.cbSrcLength, 176400u);
    EXPECT_EQ(+header.dwSrcUser, 176400u);
    EXPECT_EQ(+header.cbDstLength, 88200u);
    EXPECT_EQ(+header.dwDstUser, 88200u);
    EXPECT_TRUE(header.pbDst != output);
    EXPECT_EQ(script->flags, 36u);
  }
  EXPECT_EQ(acmDriverClose(handle, 0), 0u);
}

TEST_F(Scripted, InOneStageTheHostReadsTheDriversOutput) {
  Open(source_, 40000);
  script_->outputSize = 24000;
  ASSERT_EQ(Begin(kOneStage, Format(8000, 1, 8)), 24000u);
  EXPECT_TRUE(script_->prepared.pbDst == output_);
  EXPECT_EQ(wav_.GetConvertBuf(), output_);
  EXPECT_EQ(wav_.Convert(), 16000u);
  EXPECT_EQ(Bytes(output_, output_ + 16000), Pattern(16000));
  EXPECT_EQ(FirstBlock(wav_), 1);
  EXPECT_EQ(wav_.EndConvert(), 1u);
  EXPECT_EQ(wav_.GetConvertSize(), 0u);
  ExpectNoConversion(wav_);
  EXPECT_EQ(wav_.EndConvert(), 0u);
}

TEST_F(Scripted, OneSecondIsTheMostAtOnceAndTheHeaderKeepsItsLength) {
  Open(source_, 40002);
  ASSERT_NE(Begin(kOneStage, Format(8000, 1, 8)), 0u);
  std::uint32_t made = 99;
  EXPECT_EQ(wav_.Convert(16002, &made), 0);
  EXPECT_EQ(made, 0u);
  made = 99;
  EXPECT_EQ(wav_.Convert(15999, &made), 0);  // no whole block
  EXPECT_EQ(made, 0u);
  EXPECT_EQ(wav_.Convert(16000, nullptr), 0);
  EXPECT_EQ(wav_.GetNowSampleSize(), 0u);
  EXPECT_EQ(wav_.Convert(16000, &made), 1);
  EXPECT_EQ(wav_.Convert(2, &made), 1);
  EXPECT_EQ(made, 2u);
  EXPECT_EQ(wav_.Convert(), 16000u);
  EXPECT_EQ(wav_.Convert(), 8000u);
  EXPECT_EQ(+Header(wav_)->cbSrcLength, 16000u);
  EXPECT_EQ(wav_.Convert(16000, &made), 0);
  EXPECT_EQ(made, 0u);
  EXPECT_EQ(wav_.Convert(), 0u);
  EXPECT_EQ(script_->lengths, (std::vector<DWORD>{16000, 2, 16000, 8000}));
  wav_.Close();

  WAVEFORMATEX uneven = source_;  // a second that is no whole number of blocks goes in pieces
  uneven.nAvgBytesPerSec = 15999;
  Open(uneven, 40000);
  ASSERT_NE(Begin(kOneStage, Format(8000, 1, 8)), 0u);
  EXPECT_EQ(wav_.Convert(), 0u);
  EXPECT_EQ(wav_.Convert(15998, &made), 1);
  EXPECT_EQ(made, 15998u);
}

TEST_F(Scripted, RefusesWithoutAnyChange) {
  const WAVEFORMATEX target = Format(8000, 1, 16);
  EXPECT_EQ(Begin(kOneStage, target), 0u);  // no file
  ASSERT_EQ(wav_.Open(target, folder_.File("written.wav").c_str()), 1);
  EXPECT_EQ(Begin(kOneStage, Format(8000, 1, 8)), 0u);
  ExpectNoConversion(wav_);
  EXPECT_EQ(wav_.EndConvert(), 0u);
  wav_.Close();

  Open(source_, 100);
  std::uint8_t byte = 0;
  std::uint8_t* used = &byte;
  EXPECT_EQ(wav_.BeginConvert(kOneStage, target, nullptr, nullptr), 0u);
  EXPECT_EQ(wav_.BeginConvert(kOneStage, target, &used, nullptr), 0u);
  EXPECT_EQ(used, &byte);
  EXPECT_EQ(ConvertKind(wav_), 0u);
  EXPECT_EQ(Stream(wav_), nullptr);
  ASSERT_NE(Begin(kOneStage, target), 0u);
  EXPECT_EQ(Begin(kOneStage, target), 0u);  // one is running
  EXPECT_EQ(ConvertKind(wav_), 1u);
}

TEST_F(Scripted, ATagDoesNotChangeTogetherWithChannelsOrRate) {
  Open(source_, 100);
  for (const std::int32_t stages : {kOneStage, kTwoStages}) {
    for (const WAVEFORMATEX& target : {Format(8001, 1, 16), Format(8000, 2, 16)}) {
      ConvertKind(wav_) = 0;
      EXPECT_EQ(Begin(stages, target), 0u);
      EXPECT_EQ(ConvertKind(wav_), 3u);
      EXPECT_EQ(wav_.EndConvert(), 0u);
      EXPECT_EQ(ConvertKind(wav_), 3u);
    }
  }
  EXPECT_NE(Begin(kTwoStages, Format(11025, 2, 16, kPrivateTag)), 0u);
  EXPECT_EQ(ConvertKind(wav_), 2u);
  EXPECT_EQ(wav_.EndConvert(), 1u);
  EXPECT_NE(Begin(kOneStage, Format(8000, 1, 8)), 0u);
}

TEST_F(Scripted, RefusesFormatsThatItCannotWorkWith) {
  const WAVEFORMATEX good = Format(11025, 2, 16, kPrivateTag);
  WAVEFORMATEX wraps = good;
  wraps.nSamplesPerSec += 1u << 30;  // to the same byte rate
  struct {
    std::int32_t stages;
    WAVEFORMATEX source, target;
  } const kBad[] = {
      {kOneStage, With(source_, 16000, 0), source_},
      {kOneStage, With(source_, 0, 2), source_},
      {kTwoStages, With(source_, 16000, 0), source_},
      {kTwoStages, With(source_, 0, 2), source_},
      // What the filter cannot make:
      {kTwoStages, source_, Format(11025, 0, 16, kPrivateTag)},
      {kTwoStages, source_, Format(11025, 3, 16, kPrivateTag)},
      {kTwoStages, source_, Format(11025, 5, 8, kPrivateTag)},
      {kTwoStages, source_, Format(0, 1, 16, kPrivateTag)},
      {kTwoStages, source_, With(good, 44100, 0)},
      {kTwoStages, source_, With(good, 22050, 2)},
      {kTwoStages, source_, With(good, 0, 4)},
      {kTwoStages, source_, With(good, 3, 4)},
      {kTwoStages, source_, With(good, 44101, 4)},
      {kTwoStages, source_, wraps},
  };
  for (const auto& bad : kBad) {
    SCOPED_TRACE(&bad - kBad);
    Open(bad.source, 100);
    EXPECT_EQ(Begin(bad.stages, bad.target), 0u);
    EXPECT_EQ(ConvertKind(wav_), 0u);
    EXPECT_EQ(Stream(wav_), nullptr);
    wav_.Close();
  }
  Open(source_, 100);
  EXPECT_NE(Begin(kTwoStages, Format(11025, 4, 8, kPrivateTag)), 0u);
}

TEST_F(Conversion, WithoutADriverNothingIsSetUp) {
  CMMWav wav;
  ASSERT_EQ(wav.Open(Make(Format(8000, 1, 16), Pattern(200)).c_str()), 1);
  std::uint8_t* output = nullptr;
  EXPECT_EQ(wav.BeginConvert(kOneStage, Format(8000, 1, 24), &output, nullptr), 0u);
  EXPECT_EQ(Stream(wav), nullptr);
  EXPECT_EQ(ConvertKind(wav), 0u);
  EXPECT_EQ(wav.EndConvert(), 0u);
}

TEST_F(Scripted, WhatFailsBehindTheOpenStreamLeavesItToEndConvert) {
  Open(source_, 100);
  WAVEFORMATEX huge = Format(1u << 30, 1, 16, kPrivateTag);  // 2 GiB for its second
  struct {
    MMRESULT Script::*step;
    DWORD outputSize;
    WAVEFORMATEX target;
  } const kCases[] = {{&Script::size, 0, source_},
                      {&Script::prepare, 0, source_},
                      {nullptr, 0xFFFFFFFF, source_},
                      {nullptr, 0, huge}};
  for (const auto& c : kCases) {
    script_->size = script_->prepare = 0;
    script_->outputSize = c.outputSize;
    if (c.step != nullptr) (*script_).*c.step = 1234;
    EXPECT_EQ(Begin(kTwoStages, c.target), 0u);
    EXPECT_EQ(output_, nullptr);
    EXPECT_NE(Stream(wav_), nullptr);
    EXPECT_EQ(wav_.GetNowDriverID(), driver_.Id());
    EXPECT_EQ(Header(wav_), nullptr);
    EXPECT_EQ(wav_.GetConvertSize(), 0u);
    EXPECT_EQ(ConvertKind(wav_), 0u);
    ExpectNoConversion(wav_);
    script_->size = script_->prepare = script_->outputSize = 0;
    EXPECT_EQ(Begin(kTwoStages, source_), 0u);  // not before that one has been ended
    EXPECT_EQ(wav_.EndConvert(), 1u);
    EXPECT_EQ(Begin(kTwoStages, source_), 16000u);
    EXPECT_EQ(wav_.EndConvert(), 1u);
  }
}

TEST_F(Scripted, ShortMemoryIsARefusalAndConvertTakesNone) {
  Open(source_, 100);
  for (const std::int32_t stages : {kOneStage, kTwoStages}) {
    bool done = false;
    for (long n = 0; !done; ++n) {
      ASSERT_LT(n, 100);
      const std::uint32_t rate = n % 2 == 0 ? 8000 : 16000;
      LimitBlocks(n);
      const long before = BlocksTaken();
      const std::uint32_t size = Begin(stages, Format(rate, 1, 16, kPrivateTag));
      done = BlocksTaken() - before <= n;
      LimitBlocks(-1);
      std::uint32_t made = 99;
      EXPECT_EQ(size != 0, done);
      EXPECT_EQ(output_ != nullptr, done);
      script_->lengths.reserve(200);
      const long prepared = BlocksTaken();
      EXPECT_EQ(wav_.Convert(2, &made), done ? 1 : 0);
      EXPECT_EQ(BlocksTaken(), prepared);  // no step of the conversion itself takes a block
      const std::uint32_t open = Stream(wav_) != nullptr ? 1 : 0;
      EXPECT_EQ(wav_.EndConvert(), open);
      EXPECT_EQ(Stream(wav_), nullptr);
    }
    wav_.Reset();
  }
}

TEST_F(Scripted, ADriversFailureKeepsTheCountAndTheConversion) {
  Open(source_, 64000);
  for (const std::int32_t stages : {kOneStage, kTwoStages}) {
    ASSERT_NE(Begin(stages, source_), 0u);
    std::uint32_t made = 0;
    script_->convert = 1234;
    EXPECT_EQ(wav_.Convert(1000, &made), 0);
    EXPECT_EQ(made, 1000u);
    EXPECT_EQ(wav_.Convert(), 16000u);
    script_->convert = 0;
    EXPECT_EQ(wav_.Convert(1000, &made), 1);
    EXPECT_EQ(wav_.EndConvert(), 1u);
  }
  EXPECT_EQ(wav_.GetNowSampleSize(), 18000u);
}

TEST_F(Scripted, ABlockWithoutAnyFrameIsAFirstBlockToo) {
  // No filter for 24 bits; and one byte of what should be 16 bits makes no frame.
  Open(Format(8000, 1, 8, kPrivateTag), 64000);
  for (const WORD bits : {WORD{24}, WORD{16}}) {
    ASSERT_EQ(Begin(kTwoStages, Format(11025, 1, bits, kPrivateTag)), 11025u * bits / 8);
    std::uint32_t made = 99;
    EXPECT_EQ(wav_.Convert(1, &made), 1);
    EXPECT_EQ(made, 0u);
    EXPECT_EQ(FirstBlock(wav_), 0);
    EXPECT_EQ(wav_.EndConvert(), 1u);
  }
}

// What a file says of itself, and what a driver makes of it, may be far more than a second.
TEST_F(Scripted, NoFormatDrivesTheFilterBeyondItsBuffer) {
  Open(With(source_, 64000, 2), 640000);  // four seconds at once
  for (const DWORD rate : {8000u, 8001u, 1u, 2u}) {
    const WAVEFORMATEX target = Format(rate, 1, 16, kPrivateTag);
    script_->outputSize = script_->output = 64000;
    ASSERT_EQ(Begin(kTwoStages, target), rate * 2);
    for (int i = 0; i < 3; ++i) {
      std::uint32_t made = 0;
      EXPECT_EQ(wav_.Convert(64000, &made), 1);
      EXPECT_EQ(made, rate * 2) << rate << " Hz, block " << i;
    }
    EXPECT_EQ(wav_.EndConvert(), 1u);
    wav_.Reset();
  }
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
