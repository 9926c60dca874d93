// cmm-record, run as a program, with the built-in device: what a user sees, and the files that result.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <string>

#include "tests/examples/Program.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
namespace fs = std::filesystem;

/// What an outside program makes of a file: soxi's answer to -r, -c, -b or -s.
long Soxi(const std::string& question, const fs::path& file) {
  const Outcome outcome = RunProgram({"soxi", question, file});
  EXPECT_EQ(outcome.code, 0) << outcome.err;
  return std::atol(outcome.out.c_str());
}

double RmsBySox(const fs::path& file) {
  const std::string name = "RMS     amplitude:";
  const std::string text = RunProgram({"sox", file, "-n", "stat"}).err;
  const std::size_t at = text.find(name);
  EXPECT_NE(at, std::string::npos) << text;
  return at == std::string::npos ? 0.0 : std::atof(text.c_str() + at + name.size());
}

std::string Trimmed(const std::string& line) {
  return line.substr(line.find_first_not_of(' '));
}

class Record : public testing::Test {
 protected:
  std::vector<std::string> Command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), CMM_RECORD);
    return arguments;
  }
  Outcome RunRecord(std::vector<std::string> arguments) { return RunProgram(Command(std::move(arguments))); }

  TempFolder folder_;
  const fs::path file_ = folder_.File("take.wav");
};

TEST_F(Record, WritesFilesThatOthersRead) {
  struct {
    long rate, channels, bits;
  } const kFormats[] = {{44100, 2, 16}, {8000, 1, 8}, {48000, 1, 16}, {22000, 2, 8}};
  for (const auto& f : kFormats) {
    SCOPED_TRACE(f.rate);
    const Outcome outcome = RunRecord({file_, "--device", "signal", "--duration", "0.75", "--force", "--rate",
                                       std::to_string(f.rate), "--channels", std::to_string(f.channels),
                                       "--bits", std::to_string(f.bits)});
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("Wrote " + file_.string()));
    EXPECT_EQ(Soxi("-r", file_), f.rate);
    EXPECT_EQ(Soxi("-c", file_), f.channels);
    EXPECT_EQ(Soxi("-b", file_), f.bits);
    // Whole segments, at least as long as asked for; a machine under load may be late to stop.
    const long frames = Soxi("-s", file_);
    EXPECT_GE(frames, f.rate * 3 / 4);
    EXPECT_LE(frames, f.rate * 10);
    EXPECT_EQ(frames % (f.rate / 4), 0);
    EXPECT_EQ(fs::file_size(file_), static_cast<std::uintmax_t>(56 + frames * f.channels * f.bits / 8));
    EXPECT_GT(RmsBySox(file_), 0.01);
  }
}

TEST_F(Record, FinishesTheFileOnASignal) {
  for (const int signal : {SIGINT, SIGTERM}) {
    fs::remove(file_);
    Program program(Command({file_, "--device", "signal"}));
    program.WaitForBytes(file_, 100'000);  // a recording that runs
    program.Send(signal);
    const Outcome outcome = program.Wait();
    EXPECT_EQ(outcome.code, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("Wrote "));
    EXPECT_GE(Soxi("-s", file_), 22050);
    EXPECT_THAT(RunProgram({CMM_INFO, file_}).out, HasSubstr("the file ends where its data ends"));
  }
}

TEST_F(Record, RefusesWrongOptions) {
  struct {
    std::vector<std::string> arguments;
    const char* expected;
  } const kCases[] = {
      {{}, "file is required"},
      {{file_, "--rate", "7"}, "--rate"},
      {{file_, "--channels", "0"}, "--channels"},
      {{file_, "--bits", "12"}, "--bits"},
      {{file_, "--duration", "nan"}, "--duration"},
      {{file_, "--duration", "24348"}, "from 0 to 24347"},
      {{file_, "--speed", "3"}, "--speed"},
  };
  for (const auto& c : kCases) {
    const Outcome outcome = RunRecord(c.arguments);
    EXPECT_EQ(outcome.code, 2) << c.expected;
    EXPECT_THAT(outcome.err, HasSubstr(c.expected));
  }
  EXPECT_FALSE(fs::exists(file_));
}

TEST_F(Record, SaysWhatIsWrongWithTheFile) {
  WriteFileText(file_, "precious");
  EXPECT_THAT(RunRecord({file_, "--device", "signal"}).err,
              AllOf(HasSubstr("exists already"), HasSubstr("--force")));
  // The library takes a backslash as a separator: the same file by another name.
  EXPECT_THAT(RunRecord({folder_.Path().string() + "\\take.wav", "--device", "signal"}).err,
              HasSubstr("exists already"));
  EXPECT_EQ(FileText(file_), "precious");
  EXPECT_THAT(RunRecord({folder_.Path(), "--device", "signal"}).err, HasSubstr("is a folder"));
  EXPECT_THAT(RunRecord({folder_.File("no/take.wav"), "--device", "signal"}).err,
              HasSubstr("there is no folder"));
  const std::string longName(300, 'x');
  EXPECT_THAT(RunRecord({folder_.File(longName), "--device", "signal"}).err,
              HasSubstr("the name is too long"));

  const Outcome forced = RunRecord({file_, "--device", "signal", "--force", "--duration", "0.1"});
  EXPECT_EQ(forced.code, 0) << forced.err;
  EXPECT_EQ(FileText(file_).substr(0, 4), "RIFF");
}

TEST_F(Record, FindsDevicesByTheirListedNames) {
  const Outcome list = RunRecord({"--list"});
  ASSERT_EQ(list.code, 0);
  // The built-in device is the one that is sure to be there; two lines of its own: name and GUID.
  std::istringstream lines(list.out);
  std::string name, guid;
  while (std::getline(lines, name) && name.find("ignal") == std::string::npos) {
  }
  ASSERT_TRUE(std::getline(lines, guid)) << list.out;
  name = Trimmed(name);
  for (const std::string& wanted : {name, name.substr(1), Trimmed(guid)}) {
    const Outcome outcome = RunRecord({file_, "--device", wanted, "--force", "--duration", "0.1"});
    EXPECT_EQ(outcome.code, 0) << wanted << ": " << outcome.err;
  }
  const Outcome unknown = RunRecord({folder_.File("other.wav"), "--device", "no such device"});
  EXPECT_EQ(unknown.code, 1);
  EXPECT_THAT(unknown.err, HasSubstr("no capture device is called 'no such device'"));
}

// ALSA's default device with no sound server behind it, whatever this machine has.
TEST_F(Record, NamesTheFailureOfADevice) {
  const std::string config = folder_.File("asound.conf");
  WriteFileText(config, "pcm.!default { type pulse server \"unix:" + folder_.File("nobody") + "\" }\n");
  const Outcome outcome =
      RunProgram(Command({file_, "--duration", "1"}), [&] { setenv("ALSA_CONFIG_PATH", config.c_str(), 1); });
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("DSERR_NODRIVER (0x88780078)"), HasSubstr("--list")));
  EXPECT_EQ(outcome.out, "");
  EXPECT_FALSE(fs::exists(file_));
}

TEST_F(Record, TellsThatTheDiskIsFull) {
  const Outcome outcome = RunProgram(Command({file_, "--device", "signal"}), [] {
    std::signal(SIGXFSZ, SIG_IGN);  // a write beyond the limit then fails as on a full disk
    const rlimit limit{150'000, 150'000};
    setrlimit(RLIMIT_FSIZE, &limit);
  });
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("the recording ended at"), HasSubstr("largest size")));
  EXPECT_THAT(RunProgram({CMM_INFO, file_}).out,
              HasSubstr("size      150000 bytes declared, 150000 on disk"));
  EXPECT_GT(Soxi("-s", file_), 30'000);
}

TEST_F(Record, SaysThatAFileHoldsNoSound) {
  int ends[2];  // for its words: the limit is for files, whatever is in them
  ASSERT_EQ(pipe(ends), 0);
  const Outcome outcome = RunProgram(Command({file_, "--device", "signal"}), [&] {
    const rlimit limit{56, 56};  // the header
    setrlimit(RLIMIT_FSIZE, &limit);
    dup2(ends[1], STDERR_FILENO);
  });
  char said[1000] = {};
  EXPECT_GT(read(ends[0], said, sizeof said - 1), 0);
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(std::string(said),
              AllOf(HasSubstr("holds no sound"), testing::Not(HasSubstr("is in the file"))));
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
