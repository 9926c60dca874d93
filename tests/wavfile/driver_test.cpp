// The directory of conversion drivers: rows of a combo box, and the driver of the running conversion.
#include <algorithm>

#include "tests/wavfile/conversion_tools.h"

namespace {

TEST_F(Drivers, AreListedBehindOneAnotherAtEachCall) {
  ASSERT_EQ(wav_.ListUpDriver(combo_), 1);
  const auto own = static_cast<std::uint32_t>(Rows().size());
  ASSERT_GE(own, 5u);  // PCM, A-law, mu-law, IMA ADPCM, MS ADPCM
  EXPECT_EQ(wav_.ListUpDriver(combo_), 1);
  ASSERT_EQ(Rows().size(), 2 * own);
  EXPECT_EQ(Rows()[own], Rows()[0]);
  EXPECT_EQ(wav_.ListFromDriver(combo_, own), wav_.ListFromDriver(combo_, 0));
  EXPECT_NE(wav_.ListFromDriver(combo_, 1), wav_.ListFromDriver(combo_, 0));
  EXPECT_EQ(wav_.ListFromDriver(combo_, 2 * own), reinterpret_cast<HACMDRIVERID>(CB_ERR));
}

TEST_F(Drivers, TheRunningConversionsDriverIsKnownUntilItEnds) {
  ACMDRIVERDETAILSA details;
  std::memset(&details, 0x55, sizeof details);
  const ACMDRIVERDETAILSA untouched = details;
  const auto expectNone = [&] {
    EXPECT_EQ(wav_.GetNowDriverID(), nullptr);
    EXPECT_EQ(wav_.GetDriverDetails(&details), 0);
    EXPECT_EQ(std::memcmp(&details, &untouched, sizeof details), 0);
  };
  expectNone();
  ASSERT_EQ(wav_.Open(MakeSource(Format(8000, 1, 16), 100).c_str()), 1);
  expectNone();
  std::uint8_t* output = nullptr;
  ASSERT_NE(wav_.BeginConvert(kOneStage, Format(8000, 1, 8), &output, nullptr), 0u);
  EXPECT_EQ(wav_.GetDriverDetails(nullptr), 0);
  EXPECT_EQ(wav_.GetDriverDetails(&details), 1);
  ASSERT_EQ(wav_.ListUpDriver(combo_), 1);
  const std::vector<std::string> rows = Rows();
  const auto row = std::find(rows.begin(), rows.end(), details.szLongName) - rows.begin();
  EXPECT_EQ(wav_.GetNowDriverID(), wav_.ListFromDriver(combo_, static_cast<std::uint32_t>(row)));
  details = untouched;
  EXPECT_EQ(wav_.EndConvert(), 1u);
  expectNone();

  output = nullptr;
  ASSERT_NE(wav_.BeginConvert(kOneStage, Format(8000, 1, 8), &output, nullptr), 0u);
  wav_.Close();
  expectNone();
}

}  // namespace
