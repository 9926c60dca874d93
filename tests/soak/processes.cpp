// A process that is stopped, and a sound server that is stopped or dies.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tests/soak/Take.h"
#include "tests/support/SoundServer.h"
#include "tests/support/files.h"

int RecordForParent(char** arguments) {
  const double seconds = std::atof(arguments[2]);
  test::CountingDevice counting;
  CMMWAVCapture capture;
  const GUID* const id = std::strcmp(arguments[1], "counting") == 0 ? &counting.id : nullptr;
  CloseHandle(capture.Create(Format(soak::kRate, 2, 16), arguments[0], nullptr, id));
  if (capture.StartREC() != 1) return 2;
  for (const auto begin = Clock::now(); SecondsSince(begin) < seconds; Sleep(10)) continue;
  if (capture.StopREC() != 1 || capture.fileClose() != 1) return 3;
  if (cmm::GetCaptureReport().lostFrames != 0) return 4;
  return capture.Exit() == 1 ? 0 : 5;
}

namespace {

/// Another program.
class Process {
 public:
  explicit Process(std::vector<std::string> command) {
    process_ = fork();
    if (process_ != 0) return;
    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  void Send(int signal) { kill(process_, signal); }
  int Wait() {
    int status = 0;
    waitpid(process_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
  }

 private:
  pid_t process_;
};

/// A process that records; its exit code is 0 when it has lost nothing.
Process Recorder(const std::string& file, const std::string& device, double seconds) {
  return Process({"/proc/self/exe", "record", file, device, std::to_string(seconds)});
}

class StoppedProcess : public testing::TestWithParam<int> {};
TEST_P(StoppedProcess, LosesNothing) {
  TempFolder folder;
  const std::string file = folder.File("take.wav");
  const double seconds = GetParam() / 1000.0 + 1.5;
  Process recorder = Recorder(file, "counting", seconds);
  Sleep(700);
  recorder.Send(SIGSTOP);
  Sleep(static_cast<DWORD>(GetParam()));
  recorder.Send(SIGCONT);
  EXPECT_EQ(recorder.Wait(), 0);
  const test::Counted counted = test::CountFrames(file);
  EXPECT_TRUE(counted.complete);
  EXPECT_EQ(counted.gaps, 0u) << "missing " << counted.missing;
  EXPECT_GE(static_cast<double>(counted.frames + soak::kSegment), seconds * soak::kRate - 2000);
}
INSTANTIATE_TEST_SUITE_P(For, StoppedProcess, testing::Values(800, 1200, 2000, 5000, 10000, 20000));

/// With a server that plays a sound whose frames count, from 1, so that silence is none of it.
class ServerTest : public testing::TestWithParam<std::pair<bool, int>> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.IsRunning()) << server_.Problem();
    std::vector<std::uint32_t> frames(40 * soak::kRate);
    for (std::size_t i = 0; i < frames.size(); ++i) frames[i] = static_cast<std::uint32_t>(i + 1);
    test::StoreWav(server_.Path("counted.wav"), std::vector{Format(soak::kRate, 2, 16)}, frames,
                   static_cast<std::uint32_t>(frames.size()));
    ASSERT_TRUE(server_.Play(server_.Path("counted.wav")));
    Sleep(300);
  }
  /// The gaps that @p file has, by the frames before them; at least so many seconds of the sound are there.
  std::vector<std::uint32_t> GapsOf(const std::string& file, std::size_t headerBytes, double seconds) {
    const test::Bytes bytes = test::Load(file);
    std::vector<std::uint32_t> gaps;
    std::uint32_t last = 0;
    double frames = 0;
    for (std::size_t at = headerBytes; at + 4 <= bytes.size(); at += 4) {
      const std::uint32_t frame = test::Number(bytes, at);
      if (frame == 0) continue;
      if (last != 0 && frame != last + 1) gaps.push_back(last);
      last = frame;
      ++frames;
    }
    EXPECT_GE(frames, seconds * soak::kRate);
    return gaps;
  }

  TempFolder folder_;
  const std::string file_ = folder_.File("take.wav");
  SoundServer server_;
};

// A server that was stopped may go on with a gap of its own: another recorder has the same gap.
class Stopped : public ServerTest {};
TEST_P(Stopped, ServerOrClientLosesNothingOfWhatTheServerGives) {
  const auto& [server, milliseconds] = GetParam();
  const std::string heard = folder_.File("witness.wav");
  Process witness({"arecord", "-q", "-D", "default", "-f", "cd", heard});
  Process recorder = Recorder(file_, "default", milliseconds / 1000.0 + 4.0);
  Sleep(1200);
  server ? server_.Freeze() : recorder.Send(SIGSTOP);
  Sleep(static_cast<DWORD>(milliseconds));
  server ? server_.Thaw() : recorder.Send(SIGCONT);
  EXPECT_EQ(recorder.Wait(), 0);
  witness.Send(SIGTERM);
  witness.Wait();
  const auto gaps = GapsOf(file_, kHeaderBytes, server ? 1.5 : milliseconds / 1000.0 + 0.2);
  EXPECT_EQ(gaps, GapsOf(heard, 44, 1.5));
  EXPECT_TRUE(server || gaps.empty());
}
INSTANTIATE_TEST_SUITE_P(For, Stopped,
                         testing::Values(std::pair(false, 800), std::pair(false, 5000),
                                         std::pair(false, 20000), std::pair(true, 500), std::pair(true, 1000),
                                         std::pair(true, 2000), std::pair(true, 5000)));

class Dead : public ServerTest {};
TEST_P(Dead, ServerEndsARecordingWithAllItsSegments) {
  CMMWAVCapture capture;
  CloseHandle(capture.Create(Format(soak::kRate, 2, 16), file_.c_str(), nullptr, nullptr));
  ASSERT_EQ(capture.StartREC(), 1);
  Sleep(static_cast<DWORD>(GetParam().second));
  const auto killed = Clock::now();
  server_.Kill();
  ASSERT_TRUE(Eventually([&] { return StateOf(capture) == kStateNone; }, 5000));
  EXPECT_LT(SecondsSince(killed), 0.7);
  EXPECT_EQ(cmm::GetCaptureReport().end, cmm::CaptureEnd::kDeviceLost);
  EXPECT_EQ(cmm::GetCaptureReport().deviceResult, DSERR_NODRIVER);
  EXPECT_TRUE(test::CountFrames(file_).complete);
  // The server hands its sound over in pieces of up to two seconds.
  EXPECT_TRUE(GapsOf(file_, kHeaderBytes, GetParam().second / 1000.0 - 2.3).empty());
}
INSTANTIATE_TEST_SUITE_P(After, Dead, testing::Values(std::pair(true, 1100), std::pair(true, 3300)));

}  // namespace
