#pragma once
// What the tests of conversion and of its drivers have in common.

#include <cstring>

#include "tests/support/Formats.h"
#include "tests/support/Private.h"
#include "tests/wavfile/wav_test.h"

PRIVATE_FIELD(ConvertKind, CMMWav, std::uint32_t, convertKind)
PRIVATE_FIELD(Stream, CMMWav, HACMSTREAM, acmStream)

constexpr WORD kPrivateTag = 0x7E57;  // no driver but a test's takes it
constexpr std::int32_t kOneStage = 1;
constexpr std::int32_t kTwoStages = 0;

class ConversionTest : public WavTest {
 protected:
  /// Opens a file with exactly these format fields, sensible or not, and that many bytes of the pattern.
  void Open(const WAVEFORMATEX& format, std::size_t bytes) {
    Bytes fields(sizeof format);
    std::memcpy(fields.data(), &format, sizeof format);
    wav_.Close();
    ASSERT_TRUE(Opens(wav_, Riff({Chunk("fmt ", fields), Chunk("data", Pattern(bytes))})));
  }
  std::uint32_t Begin(std::int32_t stages, const WAVEFORMATEX& target, HACMDRIVER driver = nullptr) {
    output_ = nullptr;
    return wav_.BeginConvert(stages, target, &output_, driver);
  }
  /// Converts that much of the file. @return bytes of output
  std::uint32_t Made(std::uint32_t bytes, std::int32_t result = 1) {
    std::uint32_t made = 99;
    EXPECT_EQ(wav_.Convert(bytes, &made), result);
    return made;
  }
  void ExpectNoConversion() {
    EXPECT_EQ(Made(2, 0) + wav_.Convert() + wav_.GetConvertSize(), 0u);
    EXPECT_EQ(wav_.GetConvertBuf(), nullptr);
  }

  std::uint8_t* output_ = nullptr;
};
