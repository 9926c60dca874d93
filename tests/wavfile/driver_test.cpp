// The directory of conversion drivers: rows of a combo box, and the driver of the running conversion.
#include "tests/wavfile/conversion_tools.h"

namespace {

class Drivers : public ConversionTest {
 protected:
  ~Drivers() override { platform::DestroyComboBox(combo_); }

  std::vector<std::string> Rows() const {
    std::vector<std::string> rows;
    const LRESULT count = SendMessageA(combo_, CB_GETCOUNT, 0, 0);
    for (LRESULT row = 0; row < count; ++row) {
      char text[ACMDRIVERDETAILS_LONGNAME_CHARS] = "";
      SendMessageA(combo_, CB_GETLBTEXT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(text));
      rows.emplace_back(text);
    }
    return rows;
  }

  const HWND combo_ = platform::CreateComboBox();
  CMMWav wav_;
};

TEST_F(Drivers, AreListedBehindOneAnotherAtEachCall) {
  ASSERT_EQ(wav_.ListUpDriver(combo_), 1);
  const auto own = static_cast<std::uint32_t>(Rows().size());
  ASSERT_GE(own, 5u);  // PCM, A-law, mu-law, IMA ADPCM, MS ADPCM
  const Registered driver(std::make_shared<Script>());
  EXPECT_EQ(wav_.ListUpDriver(combo_), 1);
  ASSERT_EQ(Rows().size(), 2 * own + 1);
  EXPECT_EQ(Rows().back(), "Test driver");
  EXPECT_EQ(Rows()[own], Rows()[0]);
  EXPECT_EQ(wav_.ListFromDriver(combo_, 2 * own), driver.Id());
  EXPECT_EQ(wav_.ListFromDriver(combo_, own), wav_.ListFromDriver(combo_, 0));
  EXPECT_EQ(wav_.ListFromDriver(combo_, 2 * own + 1), reinterpret_cast<HACMDRIVERID>(CB_ERR));
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

TEST_F(Drivers, TheRunningConversionsDriverIsKnownUntilItEnds) {
  ACMDRIVERDETAILSA details;
  std::memset(&details, 0x55, sizeof details);
  const ACMDRIVERDETAILSA untouched = details;
  const auto expectNone = [&] {
    EXPECT_EQ(wav_.GetNowDriverID(), nullptr);
    EXPECT_EQ(wav_.GetDriverDetails(&details), 0);
    EXPECT_EQ(std::memcmp(&details, &untouched, sizeof details), 0);
  };
  const auto script = std::make_shared<Script>();
  const Registered driver(script);
  expectNone();
  const WAVEFORMATEX format = Format(8000, 1, 16, kPrivateTag);
  ASSERT_EQ(wav_.Open(MakeSource(format, 100).c_str()), 1);
  expectNone();
  std::uint8_t* output = nullptr;
  ASSERT_NE(wav_.BeginConvert(1, format, &output, nullptr), 0u);
  EXPECT_EQ(wav_.GetNowDriverID(), driver.Id());
  EXPECT_EQ(wav_.GetDriverDetails(nullptr), 0);
  EXPECT_EQ(wav_.GetDriverDetails(&details), 1);
  EXPECT_STREQ(details.szLongName, "Test driver");
  script->details = 1234;
  EXPECT_EQ(wav_.GetDriverDetails(&details), 0);
  details = untouched;
  EXPECT_EQ(wav_.EndConvert(), 1u);
  expectNone();

  output = nullptr;
  ASSERT_NE(wav_.BeginConvert(1, format, &output, nullptr), 0u);
  wav_.Close();
  expectNone();
}

}  // namespace
