// cmm-convert, run as a program and compared with other projects' programs.
#include <algorithm>

#include "resample/AudioLinearFilter.h"
#include "tests/tools/Program.h"
#include "tools/progress.h"

namespace {

class Convert : public Programs {};

TEST_F(Convert, DecodesAndChangesTheRateAtOnce) {
  const std::string coded = File("coded.wav"), decoded = File("decoded.wav");
  MakeSource({"-r", "22050", "-c", "2", "-b", "16"});
  Succeed({"sox", "-D", source_, "-e", "mu-law", coded});
  Succeed({CMM_CONVERT, coded, decoded});
  EXPECT_EQ(SamplesOf(decoded), SamplesOf(coded));
  const auto before = Files();
  const auto convert = [this](const std::string& source) {
    const std::string said =
        Succeed({CMM_CONVERT, source, target_, "--rate", "44100", "--channels", "1", "--bits", "8"});
    EXPECT_THAT(said, HasSubstr("44100 Hz, 1 channel, 8 bits, 00:02.30"));
    const std::string made = FileText(target_);
    fs::remove(target_);
    return made;
  };
  EXPECT_EQ(convert(coded), convert(decoded));
  EXPECT_EQ(Files(), before) << "nothing between them stays";
}

TEST_F(Convert, DropsNoFrameAtAnySeam) {
  for (const auto& [from, to] : {std::pair{44100u, 48000u}, {48000u, 44100u}, {8000u, 96000u}}) {
    const auto before = SamplesOf(MakeSource({"-r", std::to_string(from), "-c", "2", "-b", "16"}));
    const auto frames = static_cast<std::uint32_t>(before.size() / 2);
    std::vector<std::int16_t> expected((std::uint64_t{frames} * to / from + 2) * 2);
    std::uint32_t count = 0;
    AudioLinearFilter16(before.data(), frames, from, expected.data(), &count, to, 0, 1, 2);
    expected.resize(std::size_t{count} * 2);
    Succeed({CMM_CONVERT, source_, target_, "--rate", std::to_string(to), "--force"});
    EXPECT_EQ(SamplesOf(target_), expected) << from << " to " << to;
    Succeed({CMM_CONVERT, source_, target_, "--rate", std::to_string(to), "--stages", "1", "--force"});
    EXPECT_EQ(SamplesOf(target_).size(), expected.size()) << "a driver rounds where the filter truncates";
  }
}

TEST_F(Convert, TakesOutWhatTheNewRateCannotCarryWhenAsked) {
  if (RunProgram({CMM_CONVERT, "--version"}).out.find("soxr") == std::string::npos)
    GTEST_SKIP() << "built without";
  Succeed({"sox", "-n", "-r", "44100", "-c", "2", "-b", "16", source_, "synth", "2", "sine", "6000", "gain",
           "-1"});
  const auto peak = [this](const std::string& quality, const std::string& bits) {
    Succeed({CMM_CONVERT, source_, target_, "-f", "--rate", "8000", "--quality", quality, "--bits", bits});
    std::vector<std::int16_t> samples = SamplesOf(target_);
    EXPECT_EQ(samples.size(), 32000u);
    std::vector<int> inner(samples.begin() + 1600,
                           samples.end() - 1600);  // the tone begins and ends with a click
    return std::max(*std::max_element(inner.begin(), inner.end()),
                    -*std::min_element(inner.begin(), inner.end()));
  };
  EXPECT_GT(peak("linear", "16"), 28000);
  EXPECT_LE(peak("high", "16"), 1) << "90 dB down";
  EXPECT_EQ(peak("high", "8"), 0);
}

TEST_F(Convert, GoesFromStandardInputToStandardOutput) {
  MakeSource({"-r", "22050", "-c", "2", "-b", "16"});
  Succeed({CMM_CONVERT, source_, File("by-file.wav"), "--rate", "8000"});
  const std::string pipe = "sox \"$1\" -t wav - | \"$0\" - - --rate 8000";
  Succeed({"sh", "-c", pipe + " | cmp - \"$2\"", CMM_CONVERT, source_, File("by-file.wav")});
  EXPECT_THAT(Succeed({"sh", "-c", pipe + " | \"$2\" -", CMM_CONVERT, source_, CMM_INFO}),
              AllOf(HasSubstr("standard input\n"), HasSubstr("8000 Hz")));
  Succeed({"sh", "-c", "\"$0\" - - < \"$1\" > \"$2\"", CMM_HARMONIZE, source_, target_});
  EXPECT_EQ(SamplesOf(target_).size(), 101429u);
}

TEST_F(Convert, KeepsALinkAndListsTheDrivers) {
  MakeSource({"-r", "8000", "-c", "1", "-b", "16"});
  fs::create_symlink("source.wav", File("link.wav"));
  Succeed({CMM_CONVERT, source_, File("link.wav"), "--rate", "16000", "--force"});
  EXPECT_TRUE(fs::is_symlink(File("link.wav")));
  EXPECT_EQ(SamplesOf(source_).size(), 18400u * 2 - 1);
  EXPECT_THAT(Succeed({CMM_CONVERT, "--list-drivers"}), AllOf(HasSubstr("A-law"), HasSubstr("MS ADPCM")));
}

TEST_F(Convert, StopsCleanly) {
  MakeSource({"-r", "192000", "-c", "2", "-b", "16"}, "60");
  Program program({CMM_CONVERT, source_, target_, "--rate", "768000", "--bits", "8"});
  program.WaitUntil([this] { return Files().size() > 1; });
  program.Send(SIGTERM);
  EXPECT_EQ(program.Wait().code, 1);
  EXPECT_EQ(Files(), std::set<std::string>{"source.wav"});
}

TEST_F(Convert, LeavesWhenKilledWhatTheNextRunReplaces) {
  MakeSource({"-r", "192000", "-c", "2", "-b", "16"}, "20");
  const auto convert = [this](const std::string& target) {
    return Command{CMM_CONVERT, source_, target, "--rate", "768000"};
  };
  {
    const std::string part = target_ + ".part";
    Program killed(convert(target_));
    killed.WaitForBytes(part, 1);
    killed.Send(SIGSTOP);
    const Outcome second = RunProgram(convert(target_));
    EXPECT_EQ(second.code, 1);
    EXPECT_THAT(second.err, HasSubstr("another program writes it now, in " + part));
  }
  EXPECT_EQ(Files(), (std::set<std::string>{"source.wav", "target.wav.part"}));
  Succeed(convert(target_));
  EXPECT_EQ(Files(), (std::set<std::string>{"source.wav", "target.wav"}));
  Succeed(convert(File("other.wav")));
  EXPECT_TRUE(FileText(target_) == FileText(File("other.wav")));
}

TEST(Progress, TellsTheTimeThatIsLeft) {
  EXPECT_EQ(ProgressText(0.4, 60.0), "[############..................]  40%  01:30 left");
  EXPECT_THAT(ProgressText(1.1, 1.0), HasSubstr("] 100%  00:00 left"));
}

}  // namespace
