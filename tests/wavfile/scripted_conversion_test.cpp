// Conversion by a driver of the test's own: what it is asked, what its failures and odd answers lead to;
// how the directory of drivers shows it.
#include "tests/support/AllocationCounter.h"
#include "tests/support/Private.h"
#include "tests/wavfile/scripted_driver.h"

PRIVATE_FIELD(ConvertKind, CMMWav, std::uint32_t, convertKind)
PRIVATE_FIELD(FirstBlock, CMMWav, std::uint8_t, firstBlock)
PRIVATE_FIELD(Stream, CMMWav, HACMSTREAM, acmStream)
PRIVATE_FIELD(Header, CMMWav, ACMSTREAMHEADER*, streamHeader)

namespace {

using Conversion = ConversionTest;

WAVEFORMATEX With(WAVEFORMATEX format, DWORD byteRate, WORD block) {
  format.nAvgBytesPerSec = byteRate;
  format.nBlockAlign = block;
  return format;
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

// As of GSM or MP3: such a file counts no frames, but has blocks and a time.
TEST_F(Scripted, AFormatWithoutBitsIsConverted) {
  WAVEFORMATEX source = Format(8000, 1, 16, kPrivateTag);
  source.wBitsPerSample = 0;
  source.nBlockAlign = 65;
  source.nAvgBytesPerSec = 1625;
  Open(source, 6500);
  EXPECT_EQ(wav_.GetSampleSize(), 0u);
  EXPECT_EQ(wav_.GetPlayTime(), 4.0);
  EXPECT_EQ(wav_.GetTimeToByte(0.5), 780u);
  for (const std::int32_t stages : {kOneStage, kTwoStages}) {
    ASSERT_NE(Begin(stages, Format(8000, 1, 16)), 0u);
    EXPECT_EQ(wav_.Convert(), 1625u / 2 * 2 + (stages == kOneStage ? 1 : 0));
    EXPECT_EQ(wav_.GetNowTime(), 1.0);
    EXPECT_EQ(wav_.EndConvert(), 1u);
    EXPECT_EQ(wav_.SampleFind(0), 1);
  }
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

// What a file says of itself, and what a driver makes of it, may be far more than a second. At equal rates
// all of it comes out, at others a second.
TEST_F(Scripted, NoFormatDrivesTheFilterBeyondItsBuffer) {
  Open(With(source_, 64000, 2), 640000);  // four seconds at once
  struct {
    DWORD rate, output;
    std::uint32_t size, made;
  } const kCases[] = {{8000, 64000, 64000, 64000},
                      {8000, 100, 16000, 100},
                      {8001, 64000, 16002, 16002},
                      {1, 64000, 2, 2},
                      {2, 64000, 4, 4}};
  for (const auto& [rate, output, size, expected] : kCases) {
    const WAVEFORMATEX target = Format(rate, 1, 16, kPrivateTag);
    script_->outputSize = script_->output = output;
    ASSERT_EQ(Begin(kTwoStages, target), size);
    EXPECT_EQ(wav_.GetConvertSize(), size);
    for (int i = 0; i < 3; ++i) {
      std::uint32_t made = 0;
      EXPECT_EQ(wav_.Convert(64000, &made), 1);
      EXPECT_EQ(made, expected) << rate << " Hz, block " << i;
    }
    EXPECT_EQ(wav_.EndConvert(), 1u);
    wav_.Reset();
  }
}

TEST_F(Drivers, ThatComeLaterAreListedLast) {
  const auto script = std::make_shared<Script>();
  const Registered driver(script);
  EXPECT_EQ(wav_.ListUpDriver(combo_), 1);
  EXPECT_EQ(Rows().back(), "Test driver");
  EXPECT_EQ(wav_.ListFromDriver(combo_, static_cast<std::uint32_t>(Rows().size() - 1)), driver.Id());

  const WAVEFORMATEX format = Format(8000, 1, 16, kPrivateTag);
  ASSERT_EQ(wav_.Open(MakeSource(format, 100).c_str()), 1);
  std::uint8_t* output = nullptr;
  ASSERT_NE(wav_.BeginConvert(kOneStage, format, &output, nullptr), 0u);
  EXPECT_EQ(wav_.GetNowDriverID(), driver.Id());
  script->details = 1234;
  ACMDRIVERDETAILSA details;
  EXPECT_EQ(wav_.GetDriverDetails(&details), 0);
}

TEST_F(Drivers, NeedOneOfThreeSupportBitsAndNoName) {
  const auto listed = [this](DWORD support, MMRESULT details) {
    const auto script = std::make_shared<Script>();
    script->support = support;
    script->details = details;
    const Registered driver(script);
    const std::size_t before = Rows().size();
    EXPECT_EQ(wav_.ListUpDriver(combo_), 1);
    const std::string last = Rows().back();
    const auto row = static_cast<std::uint32_t>(Rows().size() - 1);
    const bool own = wav_.ListFromDriver(combo_, row) == driver.Id();
    EXPECT_GT(Rows().size(), before);
    return own ? last : "";
  };
  EXPECT_EQ(listed(ACMDRIVERDETAILS_SUPPORTF_FILTER, 0), "Test driver");
  EXPECT_EQ(listed(ACMDRIVERDETAILS_SUPPORTF_CONVERTER, 0), "Test driver");
  EXPECT_EQ(listed(ACMDRIVERDETAILS_SUPPORTF_HARDWARE | ACMDRIVERDETAILS_SUPPORTF_ASYNC, 0), "");
  EXPECT_EQ(listed(0, 0), "");
  EXPECT_EQ(listed(ACMDRIVERDETAILS_SUPPORTF_CODEC, 1234), "NoName!");
}

TEST_F(Drivers, WithoutAComboBoxTheListingStopsAtTheFirst) {
  const auto script = std::make_shared<Script>();
  const Registered driver(script);
  EXPECT_EQ(wav_.ListUpDriver(nullptr), 1);
  EXPECT_EQ(script->detailsAsked, 0);
}

}  // namespace
