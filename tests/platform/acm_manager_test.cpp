#include <functional>
#include <string>
#include <thread>

#include "AcmTools.h"
#include "platform/posix/layer.h"
#include "platform/posix/sync.h"

namespace {

constexpr WORD kTestTag = 0x1234;

/// A conversion that gives what its driver says.
class TestStream final : public platform::ConversionStream {
 public:
  TestStream(MMRESULT prepare, MMRESULT convert) : prepare_(prepare), convert_(convert) {}
  MMRESULT OutputSize(DWORD bytes, DWORD& out) override {
    out = bytes;
    return MMSYSERR_NOERROR;
  }
  MMRESULT SourceSize(DWORD bytes, DWORD& out) override { return OutputSize(bytes, out); }
  MMRESULT Prepare(ACMSTREAMHEADER& /*header*/) override { return prepare_; }
  MMRESULT Convert(ACMSTREAMHEADER& /*header*/, DWORD /*flags*/) override { return convert_; }

 private:
  const MMRESULT prepare_;
  const MMRESULT convert_;
};

class TestDriver final : public platform::ConversionDriver {
 public:
  explicit TestDriver(DWORD support, MMRESULT details = 0, MMRESULT prepare = 0, MMRESULT convert = 0)
      : support_(support), details_(details), prepare_(prepare), convert_(convert) {}
  DWORD Support() const override { return support_; }
  MMRESULT Details(ACMDRIVERDETAILSA& details) const override {
    std::memcpy(details.szLongName, "Test", 5);
    return details_;
  }
  MMRESULT Open(const WAVEFORMATEX& source, const WAVEFORMATEX& /*destination*/,
                std::unique_ptr<platform::ConversionStream>& stream) const override {
    if (source.wFormatTag != kTestTag) return ACMERR_NOTPOSSIBLE;
    stream = std::make_unique<TestStream>(prepare_, convert_);
    return MMSYSERR_NOERROR;
  }

 private:
  const DWORD support_;
  const MMRESULT details_, prepare_, convert_;
};

/// A driver that is installed as long as this lives.
struct Installed {
  template <class... Arguments>
  explicit Installed(Arguments... arguments)
      : id(platform::RegisterConversionDriver(std::make_shared<TestDriver>(arguments...))) {}
  ~Installed() { platform::UnregisterConversionDriver(id); }
  const HACMDRIVERID id;
};

std::vector<HACMDRIVERID> Enumerate(DWORD flags = 0) {
  std::vector<HACMDRIVERID> ids;
  const auto add = [](HACMDRIVERID id, DWORD_PTR instance, DWORD /*support*/) -> BOOL {
    reinterpret_cast<std::vector<HACMDRIVERID>*>(instance)->push_back(id);
    return TRUE;
  };
  EXPECT_EQ(acmDriverEnum(add, reinterpret_cast<DWORD_PTR>(&ids), flags), MMSYSERR_NOERROR);
  return ids;
}

const Format kTestFormat(kTestTag, 1, 8000, 8000, 1, 8);

TEST(AcmManager, ListsItsDriversAndThenTheAddedOnes) {
  std::vector<std::string> names;
  for (const HACMDRIVERID id : Enumerate()) {
    ACMDRIVERDETAILSA details{};
    details.cbStruct = sizeof details;
    ASSERT_EQ(acmDriverDetailsA(id, &details, 0), MMSYSERR_NOERROR);
    EXPECT_EQ(details.cbStruct, sizeof details);
    EXPECT_TRUE(details.fdwSupport & 3);
    names.push_back(details.szLongName);
    EXPECT_FALSE(platform::UnregisterConversionDriver(id));
  }
  EXPECT_EQ(names, (std::vector<std::string>{"PCM converter", "G.711 A-law", "G.711 mu-law", "IMA ADPCM",
                                             "MS ADPCM"}));
  auto ids = Enumerate();
  {
    const Installed filter(ACMDRIVERDETAILS_SUPPORTF_FILTER);
    const Installed nothing(ACMDRIVERDETAILS_SUPPORTF_HARDWARE);
    const Installed local(ACMDRIVERDETAILS_SUPPORTF_CODEC | ACMDRIVERDETAILS_SUPPORTF_LOCAL);
    const Installed disabled(ACMDRIVERDETAILS_SUPPORTF_CODEC | ACMDRIVERDETAILS_SUPPORTF_DISABLED);
    auto more = ids;
    more.insert(more.end(), {filter.id, nothing.id, local.id});
    EXPECT_EQ(Enumerate(), more);
    more.back() = disabled.id;
    EXPECT_EQ(Enumerate(ACM_DRIVERENUMF_NOLOCAL | ACM_DRIVERENUMF_DISABLED), more);
    HACMDRIVER open = nullptr;
    EXPECT_EQ(acmDriverOpen(&open, disabled.id, 0), MMSYSERR_NOTENABLED);
  }
  EXPECT_EQ(Enumerate(), ids);
}

TEST(AcmManager, AnEnumerationEndsWhereTheCallbackSays) {
  const auto once = [](HACMDRIVERID /*id*/, DWORD_PTR instance, DWORD /*support*/) -> BOOL {
    ++*reinterpret_cast<int*>(instance);
    return FALSE;
  };
  int calls = 0;
  EXPECT_EQ(acmDriverEnum(once, reinterpret_cast<DWORD_PTR>(&calls), 0), MMSYSERR_NOERROR);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(acmDriverEnum(nullptr, 0, 0), MMSYSERR_INVALPARAM);
  EXPECT_EQ(acmDriverEnum(once, 0, 1), MMSYSERR_INVALFLAG);
}

TEST(AcmManager, DetailsFillTheRoomThatThereIs) {
  const Installed broken(ACMDRIVERDETAILS_SUPPORTF_CODEC, MMSYSERR_ERROR);
  ACMDRIVERDETAILSA details;
  std::memset(&details, 0x55, sizeof details);
  const ACMDRIVERDETAILSA before = details;
  EXPECT_EQ(acmDriverDetailsA(broken.id, &details, 0), MMSYSERR_ERROR);
  EXPECT_EQ(acmDriverDetailsA(nullptr, &details, 0), MMSYSERR_INVALHANDLE);
  EXPECT_EQ(std::memcmp(&details, &before, sizeof details), 0);
  details.cbStruct = 8;
  ASSERT_EQ(acmDriverDetailsA(Enumerate().front(), &details, 0), MMSYSERR_NOERROR);
  EXPECT_EQ(details.cbStruct, 8u);
  EXPECT_EQ(std::memcmp(&details.fccType, "audc", 4), 0);
  EXPECT_EQ(std::memcmp(&details.fccComp, &before.fccComp, sizeof details - 8), 0);
}

TEST(AcmManager, ANamedDriverIsTheOnlyOneAskedAndStaysOpenWhileUsed) {
  const auto ids = Enumerate();
  HACMDRIVER pcm = nullptr;
  HACMDRIVER law = nullptr;
  ASSERT_EQ(acmDriverOpen(&pcm, ids[0], 0), MMSYSERR_NOERROR);
  ASSERT_EQ(acmDriverOpen(&law, ids[1], 0), MMSYSERR_NOERROR);
  Format from = Pcm(8000, 1, 16);
  Format to = Pcm(8000, 1, 8);
  HACMSTREAM stream = nullptr;
  EXPECT_EQ(acmStreamOpen(&stream, law, from.Get(), to.Get(), nullptr, 0, 0, 0), ACMERR_NOTPOSSIBLE);
  EXPECT_EQ(stream, nullptr);
  ASSERT_EQ(acmStreamOpen(&stream, pcm, from.Get(), to.Get(), nullptr, 0, 0, 0), MMSYSERR_NOERROR);
  HACMDRIVERID id = nullptr;
  EXPECT_EQ(acmDriverID(reinterpret_cast<HACMOBJ>(stream), &id, 0), MMSYSERR_NOERROR);
  EXPECT_EQ(id, ids[0]);
  EXPECT_EQ(acmDriverID(reinterpret_cast<HACMOBJ>(law), &id, 0), MMSYSERR_NOERROR);
  EXPECT_EQ(id, ids[1]);
  EXPECT_EQ(acmDriverClose(pcm, 0), ACMERR_BUSY);
  EXPECT_EQ(acmStreamClose(stream, 0), MMSYSERR_NOERROR);
  EXPECT_EQ(acmDriverClose(pcm, 0), MMSYSERR_NOERROR);
  EXPECT_EQ(acmDriverClose(pcm, 0), MMSYSERR_INVALHANDLE);
  EXPECT_EQ(acmDriverClose(law, 0), MMSYSERR_NOERROR);
}

TEST(AcmManager, AStreamOutlivesItsDriversRemoval) {
  HACMDRIVERID id = nullptr;
  HACMDRIVERID gone = nullptr;
  std::unique_ptr<Conversion> conversion;
  {
    const Installed driver(ACMDRIVERDETAILS_SUPPORTF_CODEC);
    gone = driver.id;
    conversion = std::make_unique<Conversion>(kTestFormat, Pcm(8000, 1, 8));
  }
  ASSERT_EQ(conversion->open, MMSYSERR_NOERROR);
  conversion->Run(Bytes(10), kBlocks);
  EXPECT_EQ(acmDriverID(reinterpret_cast<HACMOBJ>(conversion->stream), &id, 0), MMSYSERR_NOERROR);
  EXPECT_EQ(id, gone);
  ACMDRIVERDETAILSA details{};
  details.cbStruct = sizeof details;
  EXPECT_EQ(acmDriverDetailsA(gone, &details, 0), MMSYSERR_INVALHANDLE);
}

TEST(AcmManager, OpenRefusesWhatNoDriverDoes) {
  Format pcm = Pcm(8000, 1, 16);
  HACMSTREAM stream = reinterpret_cast<HACMSTREAM>(&pcm);
  const auto open = [&](HACMDRIVER driver, LPWAVEFILTER filter, DWORD_PTR callback, DWORD flags) {
    return acmStreamOpen(&stream, driver, pcm.Get(), pcm.Get(), filter, callback, 0, flags);
  };
  int object = 0;
  EXPECT_EQ(open(reinterpret_cast<HACMDRIVER>(&object), nullptr, 0, 0), MMSYSERR_INVALHANDLE);
  EXPECT_EQ(stream, nullptr);
  EXPECT_EQ(open(nullptr, reinterpret_cast<LPWAVEFILTER>(&object), 0, 0), ACMERR_NOTPOSSIBLE);
  EXPECT_EQ(open(nullptr, nullptr, 1, 0), MMSYSERR_NOTSUPPORTED);
  EXPECT_EQ(open(nullptr, nullptr, 0, ACM_STREAMOPENF_ASYNC), MMSYSERR_NOTSUPPORTED);
  EXPECT_EQ(open(nullptr, nullptr, 0, 0x100), MMSYSERR_INVALFLAG);
  EXPECT_EQ(open(nullptr, nullptr, 0, ACM_STREAMOPENF_QUERY), MMSYSERR_NOERROR);
  EXPECT_EQ(stream, nullptr);
  EXPECT_EQ(acmStreamOpen(&stream, nullptr, pcm.Get(), nullptr, nullptr, 0, 0, 0), MMSYSERR_INVALPARAM);
  EXPECT_EQ(acmStreamOpen(nullptr, nullptr, pcm.Get(), pcm.Get(), nullptr, 0, 0, 0), MMSYSERR_INVALPARAM);
}

/// For the sanitizers: a stream is closed, and drivers come and go, while others use them.
TEST(AcmManager, ServesThreadsSideBySide) {
  HACMSTREAM shared = nullptr;
  Format pcm = Pcm(8000, 1, 16);
  ASSERT_EQ(acmStreamOpen(&shared, nullptr, pcm.Get(), pcm.Get(), nullptr, 0, 0, 0), MMSYSERR_NOERROR);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        DWORD size = 0;
        if (round == 150) acmStreamClose(shared, 0);
        const MMRESULT result = acmStreamSize(shared, 100, &size, 0);
        EXPECT_TRUE(result == MMSYSERR_INVALHANDLE || size == 100);
        const Installed driver(ACMDRIVERDETAILS_SUPPORTF_CODEC);
        EXPECT_GT(Enumerate().size(), 5u);
        EXPECT_EQ(Conversion(kTestFormat, Pcm(8000, 1, 8)).open, MMSYSERR_NOERROR);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

class AcmHeader : public testing::Test {
 protected:
  AcmHeader() {
    header.cbStruct = sizeof header;
    header.pbSrc = source.data();
    header.cbSrcLength = 100;
    header.pbDst = output.data();
    header.cbDstLength = 100;
  }
  Bytes source = Bytes(100, 7);
  Bytes output = Bytes(100);
  ACMSTREAMHEADER header{};
  Conversion conversion{Pcm(8000, 1, 8), Pcm(8000, 1, 8)};
  const HACMSTREAM stream = conversion.stream;
};

TEST_F(AcmHeader, MayShrinkWhilePreparedButNotGrowOrMove) {
  EXPECT_EQ(acmStreamConvert(stream, &header, kBlocks), ACMERR_UNPREPARED);
  EXPECT_EQ(acmStreamUnprepareHeader(stream, &header, 0), ACMERR_UNPREPARED);
  ASSERT_EQ(acmStreamPrepareHeader(stream, &header, 0), MMSYSERR_NOERROR);
  EXPECT_EQ(header.fdwStatus, ACMSTREAMHEADER_STATUSF_PREPARED);
  EXPECT_EQ(acmStreamPrepareHeader(stream, &header, 0), MMSYSERR_NOERROR);
  Conversion other(Pcm(8000, 1, 8), Pcm(8000, 1, 8));
  EXPECT_EQ(acmStreamConvert(other.stream, &header, kBlocks), ACMERR_UNPREPARED);

  header.cbSrcLength = 60;
  EXPECT_EQ(acmStreamConvert(stream, &header, kBlocks), MMSYSERR_NOERROR);
  EXPECT_EQ(header.cbSrcLengthUsed, 60u);
  EXPECT_EQ(header.cbDstLengthUsed, 60u);
  EXPECT_EQ(header.fdwStatus, ACMSTREAMHEADER_STATUSF_PREPARED | ACMSTREAMHEADER_STATUSF_DONE);
  EXPECT_EQ(output[59], 7);
  EXPECT_EQ(output[60], 0);
  EXPECT_EQ(acmStreamUnprepareHeader(stream, &header, 0), MMSYSERR_INVALPARAM);
  header.cbSrcLength = 101;
  EXPECT_EQ(acmStreamConvert(stream, &header, kBlocks), MMSYSERR_INVALPARAM);
  header.cbSrcLength = 100;
  header.cbDstLength = 101;
  EXPECT_EQ(acmStreamConvert(stream, &header, kBlocks), MMSYSERR_INVALPARAM);
  header.cbDstLength = 100;
  header.pbDst = source.data();
  EXPECT_EQ(acmStreamConvert(stream, &header, kBlocks), MMSYSERR_INVALPARAM);
  EXPECT_EQ(acmStreamUnprepareHeader(stream, &header, 0), MMSYSERR_INVALPARAM);
  header.pbDst = output.data();
  EXPECT_EQ(acmStreamConvert(stream, &header, 0x100), MMSYSERR_INVALFLAG);
  EXPECT_EQ(acmStreamUnprepareHeader(stream, &header, 0), MMSYSERR_NOERROR);
  EXPECT_EQ(acmStreamConvert(stream, &header, kBlocks), ACMERR_UNPREPARED);
}

TEST_F(AcmHeader, NeedsBuffersAndItsSize) {
  const ACMSTREAMHEADER whole = header;
  const std::function<void()> faults[] = {[&] { header.cbStruct = sizeof header - 1; },
                                          [&] { header.pbSrc = nullptr; }, [&] { header.cbSrcLength = 0; },
                                          [&] { header.pbDst = nullptr; }, [&] { header.cbDstLength = 0; }};
  for (const auto& fault : faults) {
    header = whole;
    fault();
    EXPECT_EQ(acmStreamPrepareHeader(stream, &header, 0), MMSYSERR_INVALPARAM);
    EXPECT_EQ(header.fdwStatus, 0u);
  }
  EXPECT_EQ(acmStreamPrepareHeader(stream, nullptr, 0), MMSYSERR_INVALPARAM);
}

TEST_F(AcmHeader, TouchesNothingOnAHandleThatIsNoStream) {
  const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
  Conversion closed(Pcm(8000, 1, 8), Pcm(8000, 1, 8));
  const HACMSTREAM old = closed.stream;
  ASSERT_EQ(acmStreamClose(old, 0), MMSYSERR_NOERROR);
  closed.stream = nullptr;
  const ACMSTREAMHEADER before = header;
  for (const HANDLE handle : {HANDLE{nullptr}, HANDLE{old}, event, HANDLE{&header}}) {
    const auto foreign = static_cast<HACMSTREAM>(handle);
    DWORD size = 5;
    HACMDRIVERID id = nullptr;
    EXPECT_EQ(acmStreamSize(foreign, 100, &size, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(acmStreamPrepareHeader(foreign, &header, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(acmStreamConvert(foreign, &header, kBlocks), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(acmStreamUnprepareHeader(foreign, &header, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(acmStreamClose(foreign, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(acmDriverID(reinterpret_cast<HACMOBJ>(handle), &id, 0), MMSYSERR_INVALHANDLE);
    EXPECT_EQ(acmDriverClose(static_cast<HACMDRIVER>(handle), 0), MMSYSERR_INVALHANDLE);
  }
  EXPECT_EQ(std::memcmp(&header, &before, sizeof header), 0);
  EXPECT_TRUE(CloseHandle(event));
}

TEST_F(AcmHeader, ADriversOwnFailuresComeThrough) {
  const Installed unprepared(ACMDRIVERDETAILS_SUPPORTF_CODEC, 0u, MMSYSERR_NOMEM);
  Conversion first(kTestFormat, Pcm(8000, 1, 8));
  EXPECT_EQ(acmStreamPrepareHeader(first.stream, &header, 0), MMSYSERR_NOMEM);
  EXPECT_EQ(header.fdwStatus, 0u);
  platform::UnregisterConversionDriver(unprepared.id);
  const Installed failing(ACMDRIVERDETAILS_SUPPORTF_CODEC, 0u, 0u, MMSYSERR_ERROR);
  Conversion second(kTestFormat, Pcm(8000, 1, 8));
  ASSERT_EQ(acmStreamPrepareHeader(second.stream, &header, 0), MMSYSERR_NOERROR);
  header.cbDstLengthUsed = 9;
  EXPECT_EQ(acmStreamConvert(second.stream, &header, kBlocks), MMSYSERR_ERROR);
  EXPECT_EQ(header.cbDstLengthUsed, 0u);
  EXPECT_FALSE(header.fdwStatus & ACMSTREAMHEADER_STATUSF_DONE);
}

}  // namespace
