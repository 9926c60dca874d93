// Conversion by a driver of the test's own: what it is asked, what its failures and odd results lead to;
// how the directory of drivers shows it.
#include <memory>
#include <vector>

#include "platform/posix/layer.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/System.h"
#include "tests/wavfile/conversion_tools.h"

PRIVATE_FIELD(Header, CMMWav, ACMSTREAMHEADER*, streamHeader)

namespace {

/// What a test driver is to do, and what it has seen.
struct Script {
  DWORD support = ACMDRIVERDETAILS_SUPPORTF_CODEC;
  MMRESULT details = 0, size = 0, prepare = 0, convert = 0;
  DWORD outputSize = 0;  ///< what it says that its output needs; 0: as much as the source
  DWORD output = 0;      ///< bytes that each call makes, all of value 3; 0: a copy of its source

  int detailsAsked = 0;
  WAVEFORMATEX destination{};
  ACMSTREAMHEADER prepared{};
  std::vector<DWORD> lengths;  ///< of source, in each conversion
  DWORD flags = 0;
};

class TestStream : public platform::ConversionStream {
 public:
  explicit TestStream(Script& script) : script_(script) {}
  MMRESULT OutputSize(DWORD sourceBytes, DWORD& outputBytes) override {
    outputBytes = script_.outputSize != 0 ? script_.outputSize : sourceBytes;
    return script_.size;
  }
  MMRESULT SourceSize(DWORD, DWORD&) override { return ACMERR_NOTPOSSIBLE; }
  MMRESULT Prepare(ACMSTREAMHEADER& header) override {
    script_.prepared = header;
    return script_.prepare;
  }
  MMRESULT Convert(ACMSTREAMHEADER& header, DWORD flags) override {
    script_.flags = flags;
    script_.lengths.push_back(header.cbSrcLength);
    header.cbSrcLengthUsed = header.cbSrcLength;
    header.cbDstLengthUsed = script_.output != 0 ? script_.output : header.cbSrcLength;
    std::memset(header.pbDst, 3, script_.output);
    if (script_.output == 0) std::memcpy(header.pbDst, header.pbSrc, header.cbSrcLength);
    return script_.convert;
  }

 private:
  Script& script_;
};

/// Takes any formats, and is tried after the layer's own drivers.
class TestDriver : public platform::ConversionDriver {
 public:
  explicit TestDriver(Script& script) : script_(script) {}
  DWORD Support() const override { return script_.support; }
  MMRESULT Details(ACMDRIVERDETAILSA& details) const override {
    ++script_.detailsAsked;
    std::strcpy(details.szLongName, "Test driver");
    return script_.details;
  }
  MMRESULT Open(const WAVEFORMATEX&, const WAVEFORMATEX& destination,
                std::unique_ptr<platform::ConversionStream>& stream) const override {
    script_.destination = destination;
    stream = std::make_unique<TestStream>(script_);
    return MMSYSERR_NOERROR;
  }

 private:
  Script& script_;
};

/// With that driver, and a file in a format that only it takes.
class Scripted : public ConversionTest {
 protected:
  ~Scripted() override {
    wav_.Close();
    EXPECT_TRUE(platform::UnregisterConversionDriver(driver_));
  }

  Script script_;
  const HACMDRIVERID driver_ = platform::RegisterConversionDriver(std::make_shared<TestDriver>(script_));
  const WAVEFORMATEX source_ = Format(8000, 1, 16, kPrivateTag);
};

WAVEFORMATEX Rated(WAVEFORMATEX format, DWORD byteRate, WORD block) {
  format.nAvgBytesPerSec = byteRate;
  format.nBlockAlign = block;
  return format;
}

TEST_F(Scripted, InTwoStagesTheDriverKeepsTheRate) {
  HACMDRIVER handle = nullptr;
  ASSERT_EQ(acmDriverOpen(&handle, driver_, 0), 0u);
  script_.outputSize = script_.output = 88200;
  Open(Format(44100, 2, 16), 200000);
  // The layer's own driver takes these formats too: the one that is named goes first.
  ASSERT_EQ(Begin(kTwoStages, Format(22050, 1, 16), handle), 44100u);
  ACMDRIVERDETAILSA details;
  EXPECT_EQ(wav_.GetDriverDetails(&details) + wav_.GetDriverDetails(nullptr), 1);
  EXPECT_STREQ(details.szLongName, "Test driver");
  EXPECT_TRUE(wav_.GetConvertSize() == 44100 && wav_.GetConvertBuf() == output_);
  const WAVEFORMATEX between = Format(44100, 1, 16);
  EXPECT_EQ(std::memcmp(&script_.destination, &between, sizeof between), 0);
  EXPECT_EQ(Made(176400), 44100u);
  const ACMSTREAMHEADER& header = script_.prepared;
  EXPECT_TRUE(header.cbStruct == sizeof header && header.pbDst != output_);
  EXPECT_TRUE(header.cbSrcLength == 176400 && header.dwSrcUser == 176400);
  EXPECT_TRUE(header.cbDstLength == 88200 && header.dwDstUser == 88200);
  EXPECT_EQ(script_.flags, 36u);
  script_.details = 1234;
  EXPECT_EQ(wav_.GetDriverDetails(&details), 0);
  wav_.Close();
  EXPECT_EQ(acmDriverClose(handle, 0), 0u);
}

TEST_F(Scripted, InOneStageTheHostReadsTheDriversOutputASecondAtMost) {
  Open(source_, 40002);
  script_.outputSize = 24000;
  ASSERT_EQ(Begin(kOneStage, Format(8000, 1, 8)), 24000u);
  EXPECT_TRUE(script_.prepared.pbDst == output_);
  EXPECT_EQ(Made(16002, 0) + Made(15999, 0), 0u);  // too much, and not a whole block
  EXPECT_EQ(wav_.Convert(16000, nullptr), 0);
  EXPECT_EQ(Made(16000), 16000u);
  EXPECT_EQ(Bytes(output_, output_ + 16000), Pattern(16000));
  script_.lengths.reserve(9);
  const long blocks = BlocksTaken();
  EXPECT_EQ(Made(2), 2u);
  EXPECT_EQ(wav_.Convert(), 16000u);
  EXPECT_EQ(wav_.Convert(), 8000u);
  EXPECT_EQ(BlocksTaken(), blocks) << "conversion itself allocates nothing";
  EXPECT_EQ(+Header(wav_)->cbSrcLength, 16000u);
  EXPECT_EQ(Made(16000, 0) + wav_.Convert(), 0u);
  EXPECT_EQ(script_.lengths, (std::vector<DWORD>{16000, 2, 16000, 8000}));
  EXPECT_EQ(wav_.EndConvert() + 2 * wav_.EndConvert(), 1u);
  ExpectNoConversion();
  EXPECT_EQ(wav_.GetNowDriverID(), nullptr);
}

TEST_F(Scripted, TakesOnlySupportedChangesAndWhatTheFilterCanMake) {
  const WAVEFORMATEX good = Format(11025, 2, 16, kPrivateTag);
  WAVEFORMATEX wraps = good, noBits = Rated(source_, 1625, 65);
  wraps.nSamplesPerSec += 1u << 30;  // to the same byte rate
  noBits.wBitsPerSample = 0;         // as of GSM or MP3
  const struct {
    std::uint32_t kind;
    std::int32_t stages;
    WAVEFORMATEX source, target;
  } kCases[] = {
      {1, kOneStage, source_, Format(8000, 1, 8)},
      {1, kOneStage, noBits, Format(8000, 1, 16)},
      {2, kTwoStages, source_, good},
      {2, kTwoStages, source_, Format(11025, 4, 8, kPrivateTag)},
      // Tag and rate, or tag and channels, change together:
      {3, kOneStage, source_, Format(8001, 1, 16)},
      {3, kTwoStages, source_, Format(8000, 2, 16)},
      {0, kOneStage, Rated(source_, 16000, 0), source_},
      {0, kTwoStages, Rated(source_, 0, 2), source_},
      // What the filter cannot make:
      {0, kTwoStages, source_, Format(11025, 0, 16, kPrivateTag)},
      {0, kTwoStages, source_, Format(11025, 3, 16, kPrivateTag)},
      {0, kTwoStages, source_, Format(0, 1, 16, kPrivateTag)},
      {0, kTwoStages, source_, Rated(good, 44101, 4)},
      {0, kTwoStages, source_, wraps},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(&c - kCases);
    const bool taken = c.kind == 1 || c.kind == 2;
    Open(c.source, 6500);
    ConvertKind(wav_) = 0;
    EXPECT_EQ(Begin(c.stages, c.target) != 0, taken);
    EXPECT_EQ(ConvertKind(wav_), c.kind);
    EXPECT_EQ(wav_.Convert() != 0, taken);
    EXPECT_EQ(wav_.EndConvert(), taken ? 1u : 0u);
    EXPECT_EQ(ConvertKind(wav_), taken ? 0 : c.kind);
  }
}

TEST_F(Scripted, AFailureAfterTheStreamIsOpenLeavesItToEndConvert) {
  constexpr DWORD kMost = 64 << 20;  // for a second
  const WAVEFORMATEX huge = Format(kMost / 2 + 1, 1, 16, kPrivateTag);
  const struct {
    MMRESULT size, prepare;
    DWORD outputSize;
    WAVEFORMATEX target;
  } kCases[] = {{1234, 0, 0, source_}, {0, 1234, 0, source_}, {0, 0, kMost + 1, source_}, {0, 0, 0, huge}};
  Open(source_, 100);
  for (const auto& [size, prepare, outputSize, target] : kCases) {
    SCOPED_TRACE(outputSize);
    script_.size = size;
    script_.prepare = prepare;
    script_.outputSize = outputSize;
    EXPECT_EQ(Begin(kTwoStages, target) + ConvertKind(wav_), 0u);
    EXPECT_TRUE(output_ == nullptr && Header(wav_) == nullptr && wav_.GetNowDriverID() == driver_);
    ExpectNoConversion();
    script_.size = script_.prepare = script_.outputSize = 0;
    EXPECT_EQ(Begin(kTwoStages, source_), 0u);  // not before that one has been ended
    EXPECT_EQ(wav_.EndConvert(), 1u);
    EXPECT_EQ(Begin(kTwoStages, source_), 16000u);
    EXPECT_EQ(wav_.EndConvert(), 1u);
  }
}

// What a file says of itself, and what a driver makes of it, may be far more than a second. At equal rates
// all of it comes out, at others a second; a driver's failure keeps the count and the conversion.
TEST_F(Scripted, NoFormatDrivesTheFilterBeyondItsBuffer) {
  Open(Rated(source_, 64000, 2), 640000);  // four seconds at once
  const struct {
    DWORD rate, output;
    std::uint32_t size, made;
  } kCases[] = {{8000, 64000, 64000, 64000},
                {8000, 100, 16000, 100},
                {8001, 64000, 16002, 16002},
                {1, 64000, 2, 2},
                {2, 64000, 4, 4},
                {11025, 1, 22050, 0}};  // no frame
  for (const auto& [rate, output, size, expected] : kCases) {
    SCOPED_TRACE(rate);
    script_.outputSize = script_.output = output;
    ASSERT_EQ(Begin(kTwoStages, Format(rate, 1, 16, kPrivateTag)), size);
    for (const MMRESULT result : {0u, 1234u, 0u}) {
      script_.convert = result;
      EXPECT_EQ(Made(64000, result == 0 ? 1 : 0), expected);
    }
    EXPECT_EQ(wav_.EndConvert(), 1u);
    wav_.Reset();
  }
}

TEST_F(Scripted, IsListedByItsSupportBitsWithANameOrWithout) {
  const struct {
    DWORD support;
    MMRESULT details;
    std::string row;
  } kCases[] = {{ACMDRIVERDETAILS_SUPPORTF_FILTER, 0, "Test driver"},
                {ACMDRIVERDETAILS_SUPPORTF_HARDWARE | ACMDRIVERDETAILS_SUPPORTF_ASYNC, 0, ""},
                {ACMDRIVERDETAILS_SUPPORTF_CODEC, 1234, "NoName!"}};
  EXPECT_EQ(wav_.ListUpDriver(nullptr), 1);
  EXPECT_EQ(script_.detailsAsked, 0) << "without a combo box it stops at the first";
  const HWND combo = NewComboBox();
  for (const auto& c : kCases) {
    script_.support = c.support;
    script_.details = c.details;
    EXPECT_EQ(wav_.ListUpDriver(combo), 1);
    const auto last = static_cast<std::uint32_t>(SendMessageA(combo, CB_GETCOUNT, 0, 0) - 1);
    char row[ACMDRIVERDETAILS_LONGNAME_CHARS] = "";
    SendMessageA(combo, CB_GETLBTEXT, last, reinterpret_cast<LPARAM>(row));
    EXPECT_EQ(wav_.ListFromDriver(combo, last) == driver_ ? row : "", c.row);
  }
  DropComboBox(combo);
}

}  // namespace
