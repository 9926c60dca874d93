// The audio compression manager: what it refuses before it calls a driver. How drivers are listed, and what a
// driver's own failure leads to, is tested in tests/wavfile/.

#include <functional>

#include "tests/platform/acm/AcmTools.h"

namespace {

const AcmFormat kPcm = Format(8000, 1, 8);

std::vector<HACMDRIVERID> Enumerate() {
  std::vector<HACMDRIVERID> ids;
  const auto add = [](HACMDRIVERID id, DWORD_PTR instance, DWORD) -> BOOL {
    reinterpret_cast<std::vector<HACMDRIVERID>*>(instance)->push_back(id);
    return TRUE;
  };
  EXPECT_EQ(acmDriverEnum(add, reinterpret_cast<DWORD_PTR>(&ids), 0), MMSYSERR_NOERROR);
  return ids;
}

class AcmStream : public testing::Test {
 protected:
  AcmStream() {
    header.cbStruct = sizeof header;
    header.pbSrc = source.data();
    header.pbDst = output.data();
    header.cbSrcLength = header.cbDstLength = 100;
  }
  MMRESULT Prepare() { return acmStreamPrepareHeader(conversion.stream, &header, 0); }
  MMRESULT Convert() { return acmStreamConvert(conversion.stream, &header, kBlocks); }
  MMRESULT Unprepare() { return acmStreamUnprepareHeader(conversion.stream, &header, 0); }

  Bytes source = Bytes(100, 7), output = Bytes(100);
  ACMSTREAMHEADER header{};
  Conversion conversion{kPcm, kPcm};
};

TEST(AcmDrivers, StayOpenWhileUsedAndAreTheOnlyOnesAskedByName) {
  HACMDRIVER pcm = nullptr, law = nullptr;
  ASSERT_EQ(acmDriverOpen(&pcm, Enumerate()[0], 0), MMSYSERR_NOERROR);
  ASSERT_EQ(acmDriverOpen(&law, Enumerate()[1], 0), MMSYSERR_NOERROR);
  AcmFormat format = kPcm;
  HACMSTREAM stream = nullptr;
  const auto open = [&](HACMDRIVER driver) {
    return acmStreamOpen(&stream, driver, format.Get(), format.Get(), nullptr, 0, 0, 0);
  };
  EXPECT_EQ(open(law), ACMERR_NOTPOSSIBLE);
  EXPECT_EQ(stream, nullptr);
  ASSERT_EQ(open(pcm), MMSYSERR_NOERROR);
  EXPECT_EQ(acmDriverClose(pcm, 0), ACMERR_BUSY);
  EXPECT_EQ(acmStreamClose(stream, 0), MMSYSERR_NOERROR);
  for (const HACMDRIVER each : {pcm, law}) EXPECT_EQ(acmDriverClose(each, 0), MMSYSERR_NOERROR);
  EXPECT_EQ(open(pcm), MMSYSERR_INVALHANDLE);
}

TEST_F(AcmStream, HeaderMayShrinkWhilePreparedButNotGrowOrMove) {
  EXPECT_EQ(Convert(), ACMERR_UNPREPARED);
  EXPECT_EQ(Unprepare(), ACMERR_UNPREPARED);
  for (DWORD* size : {&header.cbStruct, &header.cbSrcLength, &header.cbDstLength}) {
    const DWORD before = std::exchange(*size, 0);
    EXPECT_EQ(Prepare(), MMSYSERR_INVALPARAM);
    *size = before;
  }
  for (int twice = 0; twice < 2; ++twice) ASSERT_EQ(Prepare(), MMSYSERR_NOERROR);
  EXPECT_EQ(header.fdwStatus, ACMSTREAMHEADER_STATUSF_PREPARED);
  const ACMSTREAMHEADER prepared = header;
  const std::function<void()> changes[] = {[&] { ++header.cbSrcLength; }, [&] { ++header.cbDstLength; },
                                           [&] { ++header.pbSrc; }, [&] { ++header.pbDst; }};
  for (const auto& change : changes) {
    change();
    EXPECT_EQ(Convert(), MMSYSERR_INVALPARAM);
    EXPECT_EQ(Unprepare(), MMSYSERR_INVALPARAM);
    header = prepared;
  }
  header.cbSrcLength = 60;
  EXPECT_EQ(Convert(), MMSYSERR_NOERROR);
  EXPECT_EQ(header.cbSrcLengthUsed, 60u);
  EXPECT_EQ(header.fdwStatus, ACMSTREAMHEADER_STATUSF_PREPARED | ACMSTREAMHEADER_STATUSF_DONE);
  EXPECT_EQ(output[59], 7);
  EXPECT_EQ(output[60], 0);
  EXPECT_EQ(Unprepare(), MMSYSERR_INVALPARAM);
  header.cbSrcLength = 100;
  EXPECT_EQ(Unprepare(), MMSYSERR_NOERROR);
  EXPECT_EQ(Convert(), ACMERR_UNPREPARED);
}

TEST_F(AcmStream, RefusesHandlesThatAreNotOpen) {
  const HACMSTREAM closed = conversion.stream;
  ASSERT_EQ(acmStreamClose(closed, 0), MMSYSERR_NOERROR);
  for (const HACMSTREAM stream : {reinterpret_cast<HACMSTREAM>(&header), closed, HACMSTREAM{nullptr}}) {
    conversion.stream = stream;
    DWORD size = 0;
    for (const MMRESULT result :
         {acmStreamSize(stream, 100, &size, 0), Prepare(), Convert(), Unprepare(), acmStreamClose(stream, 0)})
      EXPECT_EQ(result, MMSYSERR_INVALHANDLE);
  }
}

}  // namespace
