// cmm-record, run as a program with the built-in device: its output, and the files that it writes.
#include <cmath>
#include <cstdlib>

#include "tests/tools/Program.h"

namespace {

class Record : public Programs {
 protected:
  /// What another program reads in the file: soxi's answer to -r, -c, -b or -s.
  long Soxi(const std::string& question) const {
    return std::atol(Succeed({"soxi", question, target_}).c_str());
  }
  const Command record_{CMM_RECORD, target_, "--force", "--device", "signal"};
};

TEST_F(Record, WritesFilesThatOthersRead) {
  const long formats[][3] = {{44100, 2, 16}, {8000, 1, 8}, {11025, 1, 8}, {22000, 2, 8}};
  for (const auto& [rate, channels, bits] : formats) {
    const Command format{"--rate",     std::to_string(rate),
                         "--channels", std::to_string(channels),
                         "--bits",     std::to_string(bits),
                         "--duration", "0:00.3337",
                         "--sync",     "0.1"};
    EXPECT_THAT(Succeed(Joined(record_, format)), HasSubstr("Wrote " + target_));
    EXPECT_EQ((std::tuple{Soxi("-r"), Soxi("-c"), Soxi("-b")}), (std::tuple{rate, channels, bits}));
    const long frames = std::lround(0.3337 * static_cast<double>(rate)), bytes = frames * channels * bits / 8;
    EXPECT_EQ(Soxi("-s"), frames);
    EXPECT_EQ(fs::file_size(target_), static_cast<std::uintmax_t>(56 + bytes + bytes % 2));
    EXPECT_THAT(Succeed({CMM_INFO, "--check", target_}), HasSubstr(": nothing\n"));
  }
}

TEST_F(Record, FinishesTheFileOnASignal) {
  for (const int signal : {SIGINT, SIGTERM}) {
    fs::remove(target_);
    Program program(record_);
    program.WaitForBytes(target_, 57);  // a recording that runs
    program.Send(signal);
    const Outcome outcome = program.Wait();
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("Wrote "));
    EXPECT_GE(Soxi("-s"), 11025);
    EXPECT_THAT(Succeed({CMM_INFO, target_}), HasSubstr("the file ends where its data ends"));
  }
}

TEST_F(Record, FindsDevicesByTheirListedNames) {
  const std::string name = "Built-in signal", guid = "{8CF73C9E-D548-473A-9156-C5730E1EF8F7}";
  EXPECT_THAT(Succeed({CMM_RECORD, "--list"}), HasSubstr("  " + name + "\n    " + guid + "\n"));
  for (const std::string& wanted : {name, name.substr(1), guid}) {
    Succeed({CMM_RECORD, target_, "--device", wanted, "--force", "-d", "0.1"});
  }
}

TEST_F(Record, TellsThatTheDiskIsFull) {
  const Outcome outcome = RunProgram(record_, [] { LimitFiles(150'000); });
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("the recording ended at"), HasSubstr("largest size")));
  EXPECT_THAT(Succeed({CMM_INFO, target_}), HasSubstr("size      150000 bytes declared, 150000 on disk"));
}

}  // namespace
