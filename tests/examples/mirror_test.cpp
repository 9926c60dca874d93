// cmm-mirror, run as a program: against sox, and what it leaves behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>

#include "tests/examples/Program.h"

namespace {

using testing::HasSubstr;
using Arguments = std::vector<std::string>;

class MirrorProgram : public testing::Test {
 protected:
  Outcome Run(Arguments arguments, const std::function<void()>& beforeStart = {}) {
    arguments.insert(arguments.begin(), CMM_MIRROR);
    return RunProgram(arguments, beforeStart);
  }
  std::string Tone(const std::string& bits) {
    const std::string file = folder_.File("tone" + bits + ".wav");
    Sox({"-n", "-r", "22050", "-c", "2", "-b", bits, file, "synth", "3", "sine", "440", "gain", "-1"});
    return file;
  }
  std::string Raw(const std::string& file, const std::string& gain) {
    Sox({file, "-b", "16", folder_.File("raw.raw"), "gain", gain});
    return FileText(folder_.File("raw.raw"));
  }
  static void Sox(Arguments arguments) {
    arguments.insert(arguments.begin(), {"sox", "-D"});
    EXPECT_EQ(RunProgram(arguments).code, 0);
  }

  TempFolder folder_;
  const std::string target_ = folder_.File("target.wav");
};

TEST_F(MirrorProgram, ChangesTheLevelAsSoxDoes) {
  for (const auto& [bits, gain, step] :
       {std::tuple{"8", "-6", 256}, {"16", "-6", 1}, {"16", "6", 1}, {"8", "0", 0}}) {
    const std::string source = Tone(bits);
    const std::string expected = Raw(source, gain);
    for (const std::string reader : {"--strict", "--force"}) {
      const Outcome outcome = Run({source, target_, "--gain", gain, reader, "--force"});
      ASSERT_EQ(outcome.code, 0) << outcome.err;
      EXPECT_EQ(FileText(target_).substr(0, 44), FileText(source).substr(0, 44));
      const std::string made = Raw(target_, "0");
      ASSERT_EQ(made.size(), expected.size());
      const auto sample = [](const std::string& raw, std::size_t i) {
        return static_cast<std::uint8_t>(raw[i]) + 256 * static_cast<std::int8_t>(raw[i + 1]);
      };
      int most = 0;
      for (std::size_t i = 0; i < made.size(); i += 2) {
        most = std::max(most, std::abs(sample(made, i) - sample(expected, i)));
      }
      EXPECT_LE(most, step) << bits << " bits, " << gain << " dB";  // rounded, by both
    }
  }
}

TEST_F(MirrorProgram, SaysWhyNotAndLeavesNothing) {
  const std::string good = Tone("16");
  const std::string before = FileText(good);
  const std::string behind = folder_.File("behind.wav");
  WriteFileText(behind, before + "more");
  const struct {
    Arguments arguments;
    int code;
    const char* text;
  } kCases[] = {{{good}, 2, "target is required"},
                {{good, target_, "--gain", "99"}, 2, "--gain"},
                {{good, target_ + "/x"}, 1, "there is no folder"},
                {{good, good}, 1, "exists already"},
                {{"nosuch.wav", target_}, 1, "nosuch.wav: it cannot be opened"},
                {{Tone("24"), target_}, 1, "it is not PCM"},
                {{behind, target_}, 1, "do not reach to the end"},
                {{behind, target_, "--strict"}, 1, "its RIFF size is not that of the file"},
                {{good, target_}, 1, "the disk is full"}};
  for (const auto& c : kCases) {
    const Outcome outcome = Run(c.arguments, [] {
      const rlimit limit = {100000, 100000};
      setrlimit(RLIMIT_FSIZE, &limit);
    });
    EXPECT_EQ(outcome.code, c.code);
    EXPECT_THAT(outcome.err, HasSubstr(c.text));
  }
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder_.Path()), {}), 3);
  EXPECT_EQ(FileText(good), before);
  EXPECT_EQ(Run({good, good, "--gain", "-3", "--force"}).code, 0);
  EXPECT_NE(FileText(good), before);
}

}  // namespace
