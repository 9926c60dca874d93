// What the directory makes of a driver of the test's own.
#include "tests/wavfile/scripted_driver.h"
#include "tests/wavfile/drivers.h"

namespace {

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
