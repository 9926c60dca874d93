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

/// With a file in a format that only the test's driver takes.
class Scripted : public ConversionTest {
 protected:
  void Open(const WAVEFORMATEX& format, std::size_t bytes) {
    ASSERT_EQ(wav_.Open(Make(format, bytes).c_str()), 1);
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
    ASSERT_EQ(wav.Open(Make(Format(44100, 2, 16), 200000).c_str()), 1);
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
    EXPECT_EQ(+between.nBlockAlign, 2);

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
  EXPECT_EQ(Bytes(output_, output_ + 16000), Bytes(Noise(16000)));
  EXPECT_EQ(FirstBlock(wav_), 1);
  EXPECT_EQ(wav_.EndConvert(), 1u);
  EXPECT_EQ(wav_.GetConvertSize(), 0u);
  EXPECT_EQ(wav_.GetConvertBuf(), nullptr);
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
}

TEST_F(Scripted, ASecondThatIsNoWholeBlocksGoesInPieces) {
  WAVEFORMATEX source = source_;
  source.nAvgBytesPerSec = 15999;
  Open(source, 40000);
  ASSERT_NE(Begin(kOneStage, Format(8000, 1, 8)), 0u);
  std::uint32_t made = 0;
  EXPECT_EQ(wav_.Convert(), 0u);
  EXPECT_EQ(wav_.Convert(15998, &made), 1);
  EXPECT_EQ(made, 15998u);
}

TEST_F(Scripted, RefusesWithoutAnyChange) {
  const WAVEFORMATEX target = Format(8000, 1, 16);
  EXPECT_EQ(Begin(kOneStage, target), 0u);  // no file
  ASSERT_EQ(wav_.Open(target, folder_.File("written.wav").c_str()), 1);
  std::uint32_t made = 99;
  EXPECT_EQ(Begin(kOneStage, Format(8000, 1, 8)), 0u);
  EXPECT_EQ(wav_.Convert(2, &made), 0);
  EXPECT_EQ(wav_.Convert(), 0u);
  EXPECT_EQ(wav_.GetConvertSize(), 0u);
  EXPECT_EQ(wav_.GetConvertBuf(), nullptr);
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

TEST_F(Scripted, TwoStagesRefuseTargetsThatTheFilterCannotMake) {
  Open(source_, 100);
  const auto with = [](WAVEFORMATEX format, auto change) {
    change(format);
    return format;
  };
  const WAVEFORMATEX good = Format(11025, 2, 16, kPrivateTag);
  const WAVEFORMATEX kBad[] = {
      Format(11025, 0, 16, kPrivateTag),
      Format(11025, 3, 16, kPrivateTag),
      Format(11025, 5, 8, kPrivateTag),
      Format(0, 1, 16, kPrivateTag),
      with(good, [](WAVEFORMATEX& f) { f.nBlockAlign = 0; }),
      with(good, [](WAVEFORMATEX& f) { f.nBlockAlign = 2, f.nAvgBytesPerSec = 22050; }),
      with(good, [](WAVEFORMATEX& f) { f.nAvgBytesPerSec = 0; }),
      with(good, [](WAVEFORMATEX& f) { f.nAvgBytesPerSec = 3; }),
      with(good, [](WAVEFORMATEX& f) { ++f.nAvgBytesPerSec; }),
      with(good, [](WAVEFORMATEX& f) { f.nSamplesPerSec += 1u << 30; }),  // wraps to the same byte rate
  };
  for (const WAVEFORMATEX& bad : kBad) {
    EXPECT_EQ(Begin(kTwoStages, bad), 0u);
    EXPECT_EQ(ConvertKind(wav_), 0u);
    EXPECT_EQ(Stream(wav_), nullptr);
  }
  EXPECT_EQ(script_->lengths.size(), 0u);
  EXPECT_NE(Begin(kTwoStages, Format(11025, 4, 8, kPrivateTag)), 0u);
}

TEST_F(Scripted, RefusesASourceWithoutBlocksOrByteRate) {
  WAVEFORMATEX noBlocks = source_, noByteRate = source_;
  noBlocks.nBlockAlign = 0;
  noByteRate.nAvgBytesPerSec = 0;
  for (const WAVEFORMATEX& source : {noBlocks, noByteRate}) {
    Open(source, 100);
    EXPECT_EQ(Begin(kOneStage, source_), 0u);
    EXPECT_EQ(Begin(kTwoStages, source_), 0u);
    EXPECT_EQ(Stream(wav_), nullptr);
    wav_.Close();
  }
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
    EXPECT_EQ(ConvertKind(wav_), 0u);
    std::uint32_t made = 99;
    EXPECT_EQ(wav_.Convert(100, &made), 0);
    EXPECT_EQ(made, 0u);
    EXPECT_EQ(wav_.Convert(), 0u);
    EXPECT_EQ(wav_.GetConvertBuf(), nullptr);
    script_->size = script_->prepare = script_->outputSize = 0;
    EXPECT_EQ(Begin(kTwoStages, source_), 0u);  // not before that one has been ended
    EXPECT_EQ(wav_.EndConvert(), 1u);
    EXPECT_EQ(Begin(kTwoStages, source_), 16000u);
    EXPECT_EQ(wav_.EndConvert(), 1u);
  }
}

TEST_F(Scripted, ShortMemoryIsARefusalAndNothingElse) {
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
      EXPECT_EQ(wav_.Convert(2, &made), done ? 1 : 0);
      EXPECT_EQ(wav_.EndConvert(), Stream(wav_) != nullptr || done ? 1u : 0u);
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

TEST_F(Scripted, OtherSampleSizesGoThroughNoFilter) {
  Open(source_, 64000);
  ASSERT_EQ(Begin(kTwoStages, Format(11025, 1, 24, kPrivateTag)), 33075u);
  std::uint32_t made = 99;
  EXPECT_EQ(wav_.Convert(1000, &made), 1);
  EXPECT_EQ(made, 0u);
  EXPECT_EQ(FirstBlock(wav_), 0);
}

TEST_F(Scripted, ABlockWithoutFramesIsAFirstBlockToo) {
  Open(Format(8000, 1, 8, kPrivateTag), 64000);
  ASSERT_EQ(Begin(kTwoStages, Format(16000, 1, 16, kPrivateTag)), 32000u);
  std::uint32_t made = 99;
  EXPECT_EQ(wav_.Convert(1, &made), 1);  // one byte of what should be 16 bits
  EXPECT_EQ(made, 0u);
  EXPECT_EQ(FirstBlock(wav_), 0);
}

// What a file says of itself, and what a driver makes of it, may be far more than a second.
TEST_F(Scripted, NoFormatDrivesTheFilterBeyondItsBuffer) {
  WAVEFORMATEX source = source_;
  source.nAvgBytesPerSec = 64000;  // four seconds
  Open(source, 640000);
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

TEST_F(Scripted, ConvertAllocatesNothing) {
  Open(source_, 64000);
  for (const std::int32_t stages : {kOneStage, kTwoStages}) {
    ASSERT_NE(Begin(stages, stages == kOneStage ? source_ : Format(16000, 1, 16, kPrivateTag)), 0u);
    script_->lengths.reserve(10);
    const long before = BlocksTaken();
    EXPECT_NE(wav_.Convert(), 0u);
    EXPECT_EQ(BlocksTaken(), before);
    wav_.EndConvert();
  }
}

TEST_F(Conversion, CopiesShareTheConversion) {
  const std::string file = Make(Format(8000, 1, 16), 160000);
  const WAVEFORMATEX target = Format(11025, 1, 16);
  const auto piece = [](CMMWav& wav) {
    const std::uint32_t made = wav.Convert();
    const std::uint8_t* const buffer = wav.GetConvertBuf();
    return Bytes(buffer, buffer + made);
  };
  CMMWav alone;
  std::uint8_t* output = nullptr;
  ASSERT_EQ(alone.Open(file.c_str()), 1);
  ASSERT_NE(alone.BeginConvert(kTwoStages, target, &output, nullptr), 0u);
  std::vector<Bytes> expected;
  for (int i = 0; i < 4; ++i) expected.push_back(piece(alone));
  alone.Close();

  CMMWav one;
  output = nullptr;
  ASSERT_EQ(one.Open(file.c_str()), 1);
  ASSERT_NE(one.BeginConvert(kTwoStages, target, &output, nullptr), 0u);
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
  EXPECT_EQ(other.Convert(), 0u);

  output = nullptr;
  ASSERT_NE(other.BeginConvert(kTwoStages, target, &output, nullptr), 0u);
  EXPECT_EQ(one.Close(), 1);  // ends it for both
  EXPECT_EQ(other.Convert(), 0u);
  EXPECT_EQ(other.GetConvertBuf(), nullptr);
  EXPECT_EQ(other.GetNowDriverID(), nullptr);
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
    const std::string file = Make(c.source, 4 * second + 7 * block);
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

TEST_F(Conversion, SecondsMeetTheFiltersLimit) {
  const auto frames = [this](DWORD from, DWORD to) {
    CMMWav wav;
    std::uint8_t* output = nullptr;
    EXPECT_EQ(wav.Open(Make(Format(from, 1, 16), from * 8).c_str()), 1);
    EXPECT_NE(wav.BeginConvert(kTwoStages, Format(to, 1, 16), &output, nullptr), 0u);
    std::vector<std::uint32_t> counts;
    while (const std::uint32_t made = wav.Convert()) counts.push_back(made / 2);
    return counts;
  };
  EXPECT_EQ(frames(44100, 22050), (std::vector<std::uint32_t>{22050, 22049, 22050, 22049}));
  EXPECT_EQ(frames(22050, 44100), (std::vector<std::uint32_t>{44099, 44100, 44098, 44100}));
}

TEST_F(Conversion, SeekingDoesNotBeginANewStreamButBeginConvertDoes) {
  CMMWav wav;
  ASSERT_EQ(wav.Open(Make(Format(8000, 1, 8), 16000).c_str()), 1);
  const Bytes data = Noise(16000);
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
