// cmm-info, run as a program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <utility>

#include "tests/examples/Program.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
namespace fs = std::filesystem;

std::string Le(std::uint32_t value, int bytes) {
  std::string text;
  for (; bytes > 0; --bytes, value >>= 8) text += static_cast<char>(value & 0xFF);
  return text;
}

std::string Chunk(const std::string& id, const std::string& data) {
  return id + Le(static_cast<std::uint32_t>(data.size()), 4) + data;
}

std::string PcmFormat(std::uint32_t channels, std::uint32_t rate, std::uint32_t bits) {
  const std::uint32_t block = channels * bits / 8;
  return Chunk("fmt ",
               Le(1, 2) + Le(channels, 2) + Le(rate, 4) + Le(rate * block, 4) + Le(block, 2) + Le(bits, 2));
}

std::string Riff(const std::string& chunks, const std::string& form = "WAVE") {
  return Chunk("RIFF", form + chunks);
}

const std::string kSine = "ffmpeg -loglevel error -f lavfi -i sine=frequency=440:sample_rate=22050:duration=";

class Info : public testing::Test {
 protected:
  Outcome Of(const std::string& bytes) {
    WriteFileText(folder_.File("x.wav"), bytes);
    return OfFile("x.wav");
  }
  Outcome OfFile(const std::string& name) { return RunProgram({CMM_INFO, folder_.File(name)}); }

  TempFolder folder_;
};

TEST_F(Info, SaysWhatAFileHolds) {
  // 65.25 seconds of 8000 Hz stereo in 16 bits
  const Outcome outcome = Of(Riff(PcmFormat(2, 8000, 16) + Chunk("data", std::string(2088000, '\0'))));
  EXPECT_EQ(outcome.code, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out, folder_.File("x.wav") +
                             "\n"
                             "  format    PCM (tag 1)\n"
                             "  channels  2\n"
                             "  rate      8000 Hz\n"
                             "  bits      16\n"
                             "  frames    522000\n"
                             "  duration  01:05.25\n"
                             "  size      2088044 bytes declared, 2088044 on disk\n"
                             "  end       the file ends where its data ends\n");
}

TEST_F(Info, SaysHowTheFileEnds) {
  const std::string data = Chunk("data", std::string(100, 'x'));
  const std::string whole = Riff(PcmFormat(1, 8000, 8) + data + Chunk("LIST", "INFO"));
  EXPECT_THAT(Of(whole).out, HasSubstr("something follows the data"));
  const std::string plain = Riff(PcmFormat(1, 8000, 8) + data);
  EXPECT_THAT(Of(plain.substr(0, plain.size() - 20)).out, HasSubstr("CUT SHORT"));
}

TEST_F(Info, CountsFramesOfLargeFiles) {
  // 600 MB declared and present as a hole: the bits of the data no longer fit 32 bits
  const std::uint32_t bytes = 600'000'000;
  const std::string format = PcmFormat(2, 48000, 16);
  WriteFileText(folder_.File("x.wav"), "RIFF" + Le(bytes + 36, 4) + "WAVE" + format + "data" + Le(bytes, 4));
  fs::resize_file(folder_.File("x.wav"), bytes + 44);
  EXPECT_THAT(OfFile("x.wav").out, HasSubstr("frames    150000000\n"));
}

// FFmpeg's ADPCM has a byte rate that is not that of its blocks; sox counts with the "fact" chunk how much of
// the last block is sound.
TEST_F(Info, CountsAsOthersDo) {
  const std::string file = folder_.File("coded.wav");
  for (const std::string& make :
       {kSine + "1.01 -c:a adpcm_ms " + file, kSine + "1.01 -c:a adpcm_ima_wav " + file,
        "sox -n -r 8000 -c 2 -e ima-adpcm " + file + " synth 1.5 sine 440",
        "sox -n -r 8000 -e gsm " + file + " synth 1.5 sine 440"}) {
    SCOPED_TRACE(make);
    fs::remove(file);
    ASSERT_EQ(RunProgram({"sh", "-c", make}).code, 0);
    const std::string out = RunProgram({CMM_INFO, file}).out;
    std::istringstream told(
        RunProgram({"ffprobe", "-loglevel", "error", "-show_entries", "stream=duration_ts,duration", "-of",
                    "default=noprint_wrappers=1:nokey=1", file})
            .out);
    std::string frames;
    double seconds = 0;
    told >> frames >> seconds;
    EXPECT_THAT(out, HasSubstr("frames    " + frames + "\n"));
    char duration[40];
    std::snprintf(duration, sizeof duration, "duration  00:%05.2f\n", seconds);
    EXPECT_THAT(out, HasSubstr(duration));
  }
}

TEST_F(Info, TakesOpenSizesFromTheFile) {
  ASSERT_EQ(RunProgram({"sh", "-c", kSine + "2 -f wav - >" + folder_.File("open.wav")}).code, 0);
  EXPECT_THAT(OfFile("open.wav").out, AllOf(HasSubstr("frames    44100\n"), HasSubstr("not declared, "),
                                            HasSubstr("duration  00:02.00\n")));
}

TEST_F(Info, RoundsTimes) {
  for (const auto& [frames, time] :
       {std::pair{59'999u, "01:00.00"}, {1'999u, "00:02.00"}, {1'994u, "00:01.99"}}) {
    EXPECT_THAT(Of(Riff(PcmFormat(1, 1000, 8) + Chunk("data", std::string(frames, 'x')))).out,
                HasSubstr(std::string("duration  ") + time + "\n"));
  }
}

TEST_F(Info, SaysWhyAFileCannotBeRead) {
  const std::string format = PcmFormat(1, 8000, 8);
  struct {
    const char* bytes_are;
    std::string bytes;
    const char* expected;
  } const kCases[] = {
      {"empty", "", "too short to be a WAV file"},
      {"text", "this is a letter, not a recording", "not a RIFF file"},
      {"another form", Riff("hdrlsomething", "AVI "), "not of form WAVE"},
      {"unfinished", "RIFF" + Le(0, 4) + "WAVE" + format + "data" + Le(0, 4) + std::string(400, 'x'),
       "never finished"},
      {"without data", Riff(format), "format or data chunk is missing"},
  };
  for (const auto& c : kCases) {
    const Outcome outcome = Of(c.bytes);
    EXPECT_EQ(outcome.code, 1) << c.bytes_are;
    EXPECT_EQ(outcome.out, "") << c.bytes_are;
    EXPECT_THAT(outcome.err, HasSubstr(c.expected)) << c.bytes_are;
  }
  fs::create_directory(folder_.File("folder"));
  EXPECT_THAT(OfFile("folder").err, HasSubstr("it is a folder"));
  EXPECT_THAT(OfFile("nothing").err, HasSubstr("there is no such file"));
}

TEST_F(Info, SaysThatPermissionIsMissing) {
  if (geteuid() == 0) GTEST_SKIP() << "root may read everything";
  WriteFileText(folder_.File("x.wav"), "RIFF");
  fs::permissions(folder_.File("x.wav"), fs::perms::none);
  EXPECT_THAT(OfFile("x.wav").err, HasSubstr("no permission"));
}

TEST_F(Info, GoesOnAfterABadFile) {
  WriteFileText(folder_.File("good.wav"), Riff(PcmFormat(1, 8000, 8) + Chunk("data", "1234")));
  const Outcome outcome = RunProgram({CMM_INFO, folder_.File("missing.wav"), folder_.File("good.wav")});
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(outcome.out, HasSubstr("good.wav"));
  EXPECT_EQ(RunProgram({CMM_INFO}).code, 2);
}

}  // namespace
