// The PCM converter as a driver of the process: built in, or added to the platform's own.

#include <string>

#include "tests/platform/acm/AcmTools.h"
#include "tests/support/files.h"
#include "wavfile/CMMWav.h"
#include "wavfile/PcmDriver.h"

namespace {

constexpr DWORD kRate = 48000;

BOOL __stdcall AddConverter(HACMDRIVERID id, DWORD_PTR found, DWORD /*support*/) {
  ACMDRIVERDETAILSA details{};
  details.cbStruct = sizeof details;
  EXPECT_EQ(acmDriverDetailsA(id, &details, 0), 0u);
  if (std::string(details.szLongName).starts_with("PCM converter"))
    reinterpret_cast<std::vector<HACMDRIVERID>*>(found)->push_back(id);
  return TRUE;
}

/// The drivers whose name is that of the converter.
std::vector<HACMDRIVERID> Converters() {
  std::vector<HACMDRIVERID> found;
  EXPECT_EQ(acmDriverEnum(AddConverter, reinterpret_cast<DWORD_PTR>(&found), 0), 0u);
  return found;
}

TEST(PcmDriver, IsAddedOnce) {
  EXPECT_EQ(cmm::AddPcmDriver(), 1);
  EXPECT_EQ(cmm::AddPcmDriver(), 1);
  EXPECT_EQ(Converters().size(), 1u);
}

TEST(PcmDriver, ConvertsWhenItIsAskedByName) {
  ASSERT_EQ(cmm::AddPcmDriver(), 1);
  HACMDRIVER driver = nullptr;
  ASSERT_EQ(acmDriverOpen(&driver, Converters().at(0), 0), 0u);
  const auto convert = [&](AcmFormat from, WAVEFORMATEX to, const Bytes& source) {
    Conversion conversion(std::move(from), to, driver);
    return ToSamples(conversion.Run(source, kBlocks));
  };
  const WAVEFORMATEX mono = Format(kRate, 1, 16);
  EXPECT_EQ(convert(Format(kRate, 1, 24), mono, {0x80, 0, 0, 0x80, 1, 0, 0, 0, 0x80}),
            Samples({0, 2, -32768}));
  EXPECT_EQ(convert(Format(kRate, 1, 32, WAVE_FORMAT_IEEE_FLOAT), mono, {0, 0, 0x80, 0x3F, 0, 0, 0, 0xBF}),
            Samples({32767, -16384}));
  EXPECT_EQ(convert(Format(kRate, 1, 24), Format(2 * kRate, 1, 16), {0, 0, 0, 0, 0x10, 0}),
            Samples({0, 8, 16}));
  const AcmFormat surround = Extensible(Format(kRate, 6, 16), 0x3F);
  EXPECT_EQ(convert(surround, Format(kRate, 2, 16), ToBytes({0, 0, 20000, 20000, 0, 20000})),
            Samples({5858, 11716}));
  EXPECT_EQ(acmDriverClose(driver, 0), 0u);
}

TEST(PcmDriver, IsFoundByConversionsOfFiles) {
  ASSERT_EQ(cmm::AddPcmDriver(), 1);
  const TempFolder folder;
  const std::string file = folder.File("20.wav");
  const Bytes source = {0x80, 1, 0, 0x8F, 0xFE, 0xFF, 0xF0, 0xFF, 0x7F, 0, 0, 0x80};
  test::StoreWav(file, Extensible(Format(kRate, 2, 24), 3, 20).Contents(), source, 2);
  CMMWav wav;
  ASSERT_EQ(wav.Open(file.c_str()), 1);
  std::uint8_t* output = nullptr;
  ASSERT_EQ(wav.BeginConvert(1, Format(kRate, 2, 16), &output, nullptr), kRate * 4);
  ASSERT_EQ(wav.Convert(), 8u);
  EXPECT_EQ(ToSamples(Bytes(output, output + 8)), Samples({2, -1, 32767, -32768}));
}

}  // namespace
