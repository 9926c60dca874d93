#pragma once
// What the tests of conversion and of its drivers have in common.

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/Formats.h"
#include "tests/support/System.h"
#include "tests/wavfile/wav_test.h"

constexpr WORD kPrivateTag = 0x7E57;  // no driver but a test's takes it
constexpr std::int32_t kOneStage = 1;
constexpr std::int32_t kTwoStages = 0;

inline void ExpectNoConversion(CMMWav& wav) {
  std::uint32_t made = 99;
  EXPECT_EQ(wav.Convert(2, &made), 0);
  EXPECT_EQ(made, 0u);
  EXPECT_EQ(wav.Convert(), 0u);
  EXPECT_EQ(wav.GetConvertBuf(), nullptr);
}

class ConversionTest : public WavTest {
 protected:
  /// A file with exactly this format record, sensible or not, and that many bytes of the pattern.
  std::string MakeSource(const WAVEFORMATEX& format, std::size_t bytes) {
    Bytes record(sizeof format);
    std::memcpy(record.data(), &format, sizeof format);
    const std::string path = folder_.File("source" + std::to_string(++files_) + ".wav");
    Store(path, Riff({Chunk("fmt ", record), Chunk("data", Pattern(bytes))}));
    return path;
  }

 private:
  int files_ = 0;
};

/// With a combo box for the rows of the conversion drivers.
class Drivers : public ConversionTest {
 protected:
  ~Drivers() override { DropComboBox(combo_); }

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

  const HWND combo_ = NewComboBox();
  CMMWav wav_;
};
