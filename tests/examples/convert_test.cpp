// cmm-convert, run as a program: against programs that nobody here wrote, and what it leaves behind.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "resample/AudioLinearFilter.h"
#include "tests/examples/Program.h"
#include "wavfile/CMMWav.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
namespace fs = std::filesystem;
using Samples = std::vector<std::int16_t>;

class Convert : public testing::Test {
 protected:
  Outcome RunConvert(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), CMM_CONVERT);
    return RunProgram(arguments);
  }
  void Succeed(const std::vector<std::string>& command) {
    const Outcome outcome = RunProgram(command);
    ASSERT_EQ(outcome.code, 0) << command[0] << ": " << outcome.err;
  }
  /// Two tones and noise, so that every sample size has something to do.
  std::string MakeSource(const std::string& rate, const std::string& channels) {
    const std::string file = folder_.File("source.wav");
    Succeed({"sox",   "-D",  "-R",   "-n",  "-r",    rate,         "-c",   channels, "-b",   "16", file,
             "synth", "2.3", "sine", "440", "synth", "whitenoise", "amod", "3",      "gain", "-3"});
    return file;
  }
  /// A WAV file as others read it.
  Samples BySox(const std::string& file) {
    return Raw({"sox", "-D", file, "-t", "raw", "-e", "signed-integer", "-b", "16"});
  }
  Samples ByFfmpeg(const std::string& file) { return Raw({"ffmpeg", "-i", file, "-f", "s16le"}); }
  Samples Raw(std::vector<std::string> decoder) {
    const std::string raw = folder_.File("samples.raw");
    decoder.push_back(raw);
    Succeed(decoder);
    const std::string bytes = FileText(raw);
    fs::remove(raw);
    Samples samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
  }
  std::set<std::string> Files() {
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder_.Path())) names.insert(entry.path().filename());
    return names;
  }
  /// Far more silence than can be converted in a moment, as a hole in the disk.
  std::string MakeLongSource() {
    const std::string file = MakeSource("192000", "2");
    std::string bytes = FileText(file);
    const std::uint32_t data = 2'000'000'000;
    const std::uint32_t riff = data + 36;
    std::memcpy(bytes.data() + 4, &riff, 4);
    std::memcpy(bytes.data() + 40, &data, 4);
    WriteFileText(file, bytes);
    fs::resize_file(file, data + 44);
    return file;
  }

  TempFolder folder_;
  const std::string target_ = folder_.File("target.wav");
};

TEST_F(Convert, DecodesWhatOthersHaveEncodedAsTheyDo) {
  struct {
    const char* encoding;
    bool byFfmpeg;  // decoded for comparison: sox rounds the predictions of MS ADPCM down
  } const kCases[] = {{"mu-law", false}, {"ima-adpcm", false}, {"ms-adpcm", true}};
  const std::string source = MakeSource("22050", "2");
  const std::string coded = folder_.File("coded.wav");
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.encoding);
    Succeed({"sox", "-D", source, "-e", c.encoding, coded});
    const Outcome outcome = RunConvert({coded, target_, "--force"});
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    const Samples expected = c.byFfmpeg ? ByFfmpeg(coded) : BySox(coded);
    Samples made = BySox(target_);
    // The last block of ADPCM is filled up; how much of it counts stands where the library does not look.
    ASSERT_GE(made.size(), expected.size());
    EXPECT_LT(made.size() - expected.size(), 4200u);
    made.resize(expected.size());
    EXPECT_EQ(made, expected);
    fs::remove(coded);
  }
}

TEST_F(Convert, DropsNoFrameAtAnySeam) {
  for (const auto& [from, to] :
       {std::pair{44100u, 48000u}, {48000u, 44100u}, {44100u, 22050u}, {8000u, 96000u}}) {
    const std::string source = MakeSource(std::to_string(from), "2");
    const Samples before = BySox(source);
    const auto frames = static_cast<std::uint32_t>(before.size() / 2);
    Samples expected((std::uint64_t{frames} * to / from + 2) * 2);
    std::uint32_t count = 0;
    AudioLinearFilter16(before.data(), frames, from, expected.data(), &count, to, 0, 1, 2);
    expected.resize(std::size_t{count} * 2);
    for (const std::string stages : {"2", "1"}) {
      SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to) + ", stages: " + stages);
      ASSERT_EQ(
          RunConvert({source, target_, "--rate", std::to_string(to), "--stages", stages, "--force"}).code, 0);
      const Samples made = BySox(target_);
      EXPECT_EQ(made.size(), expected.size());
      // A driver rounds where the filter truncates.
      if (stages == "2") {
        EXPECT_EQ(made, expected);
      }
    }
  }
}

TEST_F(Convert, DecodesAndChangesTheRateAtOnce) {
  const std::string source = MakeSource("8000", "1");
  const std::string coded = folder_.File("coded.wav");
  const std::string decoded = folder_.File("decoded.wav");
  const std::string expected = folder_.File("expected.wav");
  Succeed({"sox", source, "-e", "mu-law", coded});
  const auto change = [this](const std::string& from, const std::string& to) {
    return RunConvert({from, to, "--rate", "44100", "--channels", "2", "--bits", "8"});
  };
  EXPECT_THAT(change(coded, target_).out, HasSubstr("44100 Hz, 2 channel(s), 8 bits, 00:02.30"));
  EXPECT_EQ(RunConvert({coded, decoded}).code, 0);
  EXPECT_EQ(change(decoded, expected).code, 0);
  EXPECT_EQ(FileText(target_), FileText(expected));
  EXPECT_EQ(Files().size(), 5u);  // nothing between them has stayed
}

TEST_F(Convert, OverwritesOnlyWhenTold) {
  const std::string source = MakeSource("8000", "1");
  WriteFileText(target_, "precious");
  const Outcome outcome = RunConvert({source, target_});
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("exists already"), HasSubstr("--force")));
  EXPECT_EQ(FileText(target_), "precious");
  EXPECT_EQ(RunConvert({source, target_, "--force"}).code, 0);
  EXPECT_EQ(BySox(target_), BySox(source));
  // A link stays one, and a file may be converted into itself.
  fs::create_symlink("source.wav", folder_.File("link.wav"));
  EXPECT_EQ(RunConvert({source, folder_.File("link.wav"), "--rate", "16000", "--force"}).code, 0);
  EXPECT_TRUE(fs::is_symlink(folder_.File("link.wav")));
  EXPECT_EQ(BySox(source).size(), 18400u * 2 - 1);
  EXPECT_THAT(RunConvert({source, "/dev/null", "--force"}).err, HasSubstr("no file that can be overwritten"));
}

TEST_F(Convert, LeavesNothingHalfBehindWhenItFails) {
  const std::string source = MakeSource("44100", "2");
  WriteFileText(target_, "precious");
  const auto expectFailure = [this](const Outcome& outcome, const char* expected) {
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.err, HasSubstr(expected));
    EXPECT_EQ(FileText(target_), "precious");
    EXPECT_EQ(Files(), (std::set<std::string>{"source.wav", "target.wav"}));
  };
  // The disk is full, or as good as.
  expectFailure(RunProgram({CMM_CONVERT, source, target_, "--force", "--rate", "48000"},
                           [] {
                             const rlimit limit{100'000, 100'000};
                             setrlimit(RLIMIT_FSIZE, &limit);
                           }),
                "takes no more data");
  // The source is cut short behind its first second.
  fs::resize_file(source, 200'000);
  expectFailure(RunConvert({source, target_, "--force"}), "cut short");
  WriteFileText(source, "this is a letter, not a recording");
  expectFailure(RunConvert({source, target_, "--force"}), "not a RIFF file");
  EXPECT_THAT(RunConvert({folder_.File("missing.wav"), target_}).err, HasSubstr("there is no such file"));
}

TEST_F(Convert, ShowsItsProgressOnATerminalAndStopsCleanly) {
  const std::string source = MakeLongSource();
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
  ASSERT_GE(terminal, 0);
  ASSERT_EQ(grantpt(terminal), 0);
  ASSERT_EQ(unlockpt(terminal), 0);
  const std::string screen = ptsname(terminal);
  Program program({CMM_CONVERT, source, target_, "--rate", "8000", "--channels", "1", "--bits", "8"},
                  [&] { dup2(open(screen.c_str(), O_RDWR | O_NOCTTY), STDERR_FILENO); });
  while (program.Running() && Files().size() < 2) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  // Held up, so that it takes long on the fastest machine.
  program.Send(SIGSTOP);
  std::this_thread::sleep_for(std::chrono::milliseconds(600));
  program.Send(SIGCONT);
  std::string shown;
  while (program.Running() && shown.find("left") == std::string::npos) {
    char text[1000];
    const ssize_t count = read(terminal, text, sizeof text);
    if (count > 0) shown.append(text, static_cast<std::size_t>(count));
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  program.Send(SIGTERM);
  EXPECT_EQ(program.Wait().code, 1);
  close(terminal);
  EXPECT_THAT(shown, AllOf(HasSubstr("["), HasSubstr("%"), HasSubstr("left")));
  EXPECT_EQ(Files(), std::set<std::string>{"source.wav"});
}

TEST_F(Convert, SaysWhatItCannotDo) {
  const std::string source = MakeSource("8000", "1");
  struct {
    std::vector<std::string> arguments;
    int code;
    const char* expected;
  } const kCases[] = {
      {{}, 2, "source is required"},
      {{source}, 2, "target is required"},
      {{source, target_, "--rate", "7"}, 2, "--rate"},
      {{source, target_, "--channels", "3"}, 2, "--channels"},
      {{source, target_, "--bits", "24"}, 2, "--bits"},
      {{source, target_, "--stages", "3"}, 2, "--stages"},
      {{source, folder_.File("no/target.wav")}, 1, "there is no folder"},
  };
  for (const auto& c : kCases) {
    const Outcome outcome = RunConvert(c.arguments);
    EXPECT_EQ(outcome.code, c.code) << c.expected;
    EXPECT_THAT(outcome.err, HasSubstr(c.expected));
  }
  const std::string wide = folder_.File("wide.wav");
  Succeed({"sox", source, "-b", "24", wide});
  EXPECT_THAT(RunConvert({wide, target_}).err,
              AllOf(HasSubstr("no conversion driver"), HasSubstr("24 bits")));
  EXPECT_THAT(RunConvert({MakeLongSource(), target_, "--rate", "768000"}).err, HasSubstr("4 GiB"));
  EXPECT_EQ(Files(), (std::set<std::string>{"source.wav", "wide.wav"}));
}

TEST_F(Convert, ListsTheDrivers) {
  const Outcome outcome = RunConvert({"--list-drivers"});
  EXPECT_EQ(outcome.code, 0);
  for (const char* name : {"PCM", "A-law", "mu-law", "IMA ADPCM", "MS ADPCM"}) {
    EXPECT_THAT(outcome.out, HasSubstr(name));
  }
}

}  // namespace
