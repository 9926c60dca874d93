// cmm-info, run as a program.
#include <sstream>

#include "tests/support/Formats.h"
#include "tests/tools/Program.h"

namespace {

class Info : public Programs {
 protected:
  test::Bytes Wav(const WAVEFORMATEX& format, std::size_t bytes) {
    test::StoreWav(source_, std::vector{format}, test::Bytes(bytes), 0);
    return test::Load(source_);
  }
};

TEST_F(Info, SaysWhatAFileHolds) {
  Wav(Format(8000, 2, 16), 2088000);
  EXPECT_EQ(Succeed({CMM_INFO, source_}), source_ +
                                              "\n"
                                              "  format    PCM (tag 1)\n"
                                              "  channels  2\n"
                                              "  rate      8000 Hz\n"
                                              "  bits      16\n"
                                              "  frames    522000\n"
                                              "  duration  01:05.25\n"
                                              "  size      2088058 bytes declared, 2088058 on disk\n"
                                              "  end       the file ends where its data ends\n");
}

TEST_F(Info, TellsLengthsAndEndsOrWhyItCannot) {
  constexpr std::size_t kRiffSize = 4, kForm = 8, kData = 50, kDataSize = 54;
  const WAVEFORMATEX format = Format(1000, 1, 8);
  const test::Bytes sound = Wav(format, 100);
  const auto with = [&sound](std::initializer_list<std::pair<std::size_t, std::uint32_t>> numbers) {
    test::Bytes changed = sound;
    for (const auto& [at, number] : numbers) test::SetNumber(changed, at, number);
    return changed;
  };
  const std::pair<test::Bytes, const char*> kCases[] = {
      {Wav(format, 59'999), "duration  01:00.00\n"},
      {Wav(format, 1'999), "something follows the data"},  // a pad byte
      {with({{kRiffSize, 151}, {kDataSize, 101}}), "CUT SHORT"},
      // The bits of the data no longer fit 32 bits.
      {with({{kRiffSize, 600'000'050}, {kDataSize, 600'000'000}}), "frames    600000000\n"},
      {with({{kForm, 0}}), "not of form WAVE"},
      {with({{kRiffSize, 0}, {kDataSize, 0}}), "never finished"},
      {with({{kData, 0}}), "format or data chunk is missing"}};
  for (const auto& [bytes, text] : kCases) {
    test::Store(source_, bytes);
    const Outcome outcome = RunProgram({CMM_INFO, source_});
    EXPECT_THAT(outcome.code == 0 ? outcome.out : outcome.err, HasSubstr(text));
  }
  test::Store(source_, sound);
  const Outcome both = RunProgram({CMM_INFO, File("missing.wav"), source_});
  EXPECT_EQ(both.code, 1);
  EXPECT_THAT(both.out, HasSubstr("source.wav")) << "goes on after a bad file";
}

// FFmpeg's ADPCM has a byte rate that is not that of its blocks; sox counts with the "fact" chunk how much of
// the last block is sound; through a pipe sizes stay open.
TEST_F(Info, CountsAsOthersDo) {
  const std::string sine =
      "ffmpeg -loglevel error -f lavfi -i sine=frequency=440:sample_rate=22050:duration=";
  for (const std::string& make :
       {sine + "1.01 -c:a adpcm_ms -y " + source_, sine + "1.01 -c:a adpcm_ima_wav -y " + source_,
        "sox -n -r 8000 -c 2 -e ima-adpcm " + source_ + " synth 1.5 sine 440",
        "sox -n -r 8000 -e gsm " + source_ + " synth 1.5 sine 440", sine + "2 -f wav - >" + source_}) {
    SCOPED_TRACE(make);
    Succeed({"sh", "-c", make});
    std::istringstream told(
        Succeed({"ffprobe", "-loglevel", "error", "-show_entries", "stream=duration_ts,duration", "-of",
                 "default=noprint_wrappers=1:nokey=1", source_}));
    std::string frames;
    double seconds = 0;
    told >> frames >> seconds;
    char duration[40];
    std::snprintf(duration, sizeof duration, "duration  00:%05.2f\n", seconds);
    EXPECT_THAT(RunProgram({CMM_INFO, source_}).out,
                AllOf(HasSubstr("frames    " + frames + "\n"), HasSubstr(duration)));
  }
}

}  // namespace
