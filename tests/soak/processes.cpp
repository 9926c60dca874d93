// A process that is stopped, and a sound server that is stopped or dies.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <vector>

#include "tests/soak/Take.h"
#include "tests/support/SoundServer.h"
#include "tests/support/files.h"

namespace {

using Clock = std::chrono::steady_clock;

double Since(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// A recording process of its own.
class Recorder {
 public:
  Recorder(const std::string& file, const std::string& device, double seconds) : report_(file + ".report") {
    const std::string time = std::to_string(seconds);
    process_ = fork();
    if (process_ != 0) return;
    if (std::freopen(report_.c_str(), "w", stdout) == nullptr) _exit(127);
    execl("/proc/self/exe", "capture_soak", "record", file.c_str(), device.c_str(), time.c_str(), nullptr);
    _exit(127);
  }
  void StopFor(int milliseconds) {
    kill(process_, SIGSTOP);
    Sleep(static_cast<DWORD>(milliseconds));
    kill(process_, SIGCONT);
  }
  struct Result {
    int code = -1;
    unsigned long long delivered = 0, inFile = 0, lost = 0;
    double seconds = 0;
  };
  Result Wait() {
    Result result;
    int status = 0;
    waitpid(process_, &status, 0);
    result.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
    std::ifstream(report_) >> result.delivered >> result.inFile >> result.lost >> result.seconds;
    return result;
  }

 private:
  const std::string report_;
  pid_t process_;
};

constexpr int kCounted = 40;  // seconds of the sound that counts

/// A sound whose frames count, from 1, so that silence is none of it.
void PlayCounted(SoundServer& server) {
  std::vector<std::uint32_t> frames(kCounted * soak::kRate);
  for (std::size_t i = 0; i < frames.size(); ++i) frames[i] = static_cast<std::uint32_t>(i + 1);
  test::StoreWav(server.Path("counted.wav"), std::vector{Pcm(44100, 2, 16)}, frames,
                 static_cast<std::uint32_t>(frames.size()));
  ASSERT_TRUE(server.Play(server.Path("counted.wav")));
  Sleep(300);
}

struct Heard {
  std::uint64_t frames = 0;
  std::vector<std::uint32_t> gaps;  // the frames ahead of them
};
Heard Listen(const std::string& path, std::size_t headerBytes) {
  const test::Bytes file = test::Load(path);
  Heard heard;
  std::uint32_t last = 0;
  for (std::size_t at = headerBytes; at + 4 <= file.size(); at += 4) {
    std::uint32_t frame = 0;
    std::memcpy(&frame, &file[at], 4);
    if (frame == 0) continue;
    if (last != 0 && frame != last + 1) heard.gaps.push_back(last);
    last = frame;
    ++heard.frames;
  }
  return heard;
}

/// Another program that records the same, as long as the object lives.
class Witness {
 public:
  explicit Witness(const std::string& file) {
    process_ = fork();
    if (process_ != 0) return;
    execlp("arecord", "arecord", "-q", "-D", "default", "-f", "cd", file.c_str(), nullptr);
    _exit(127);
  }
  void End() {
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
  }

 private:
  pid_t process_;
};

class StoppedProcess : public testing::TestWithParam<int> {};

TEST_P(StoppedProcess, LosesNothing) {
  TempFolder folder;
  const double seconds = GetParam() / 1000.0 + 1.5;
  for (const std::string device : {"counting", "signal"}) {
    SCOPED_TRACE(device);
    const std::string file = folder.File(device + ".wav");
    Recorder recorder(file, device, seconds);
    Sleep(700);
    recorder.StopFor(GetParam());
    const Recorder::Result result = recorder.Wait();
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.lost, 0u);
    EXPECT_GE(result.seconds, seconds);
    EXPECT_GE(static_cast<double>(result.inFile + soak::kSegment), result.seconds * soak::kRate - 2000);
    if (device == "signal") continue;
    const test::Counted counted = test::CountFrames(file);
    EXPECT_TRUE(counted.whole);
    EXPECT_EQ(counted.gaps, 0u) << "missing " << counted.missing;
    EXPECT_EQ(counted.frames, result.inFile);
    EXPECT_GE(counted.frames + soak::kSegment, result.delivered);
  }
}
INSTANTIATE_TEST_SUITE_P(For, StoppedProcess, testing::Values(800, 1200, 2000, 4000, 5000, 10000, 20000));

class ServerTest : public testing::TestWithParam<int> {
 protected:
  void SetUp() override { ASSERT_TRUE(server_.IsRunning()) << server_.Problem(); }
  TempFolder folder_;
  SoundServer server_;
};

class StoppedClient : public ServerTest {};
TEST_P(StoppedClient, LosesNothingOfTheServersSound) {
  PlayCounted(server_);
  const std::string file = folder_.File("take.wav");
  Recorder recorder(file, "default", GetParam() / 1000.0 + 2.5);
  Sleep(1200);
  recorder.StopFor(GetParam());
  const Recorder::Result result = recorder.Wait();
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.lost, 0u);
  const Heard heard = Listen(file, kHeaderBytes);
  EXPECT_TRUE(heard.gaps.empty()) << heard.gaps.size();
  EXPECT_GE(static_cast<double>(heard.frames), (GetParam() / 1000.0 + 0.2) * soak::kRate);
}
INSTANTIATE_TEST_SUITE_P(For, StoppedClient, testing::Values(800, 2000, 5000, 20000));

// A server that was stopped goes on as it likes, with a gap of its own now and then: another recorder hears
// the same.
class StoppedServer : public ServerTest {};
TEST_P(StoppedServer, LosesNothingOfWhatItGives) {
  PlayCounted(server_);
  const std::string file = folder_.File("take.wav");
  Witness witness(folder_.File("witness.wav"));
  Recorder recorder(file, "default", GetParam() / 1000.0 + 4.0);
  Sleep(1200);
  server_.Freeze();
  Sleep(static_cast<DWORD>(GetParam()));
  server_.Thaw();
  const Recorder::Result result = recorder.Wait();
  witness.End();
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.lost, 0u);
  const Heard heard = Listen(file, kHeaderBytes);
  EXPECT_EQ(heard.gaps, Listen(folder_.File("witness.wav"), 44).gaps);
  EXPECT_GE(static_cast<double>(heard.frames), 1.5 * soak::kRate);
}
INSTANTIATE_TEST_SUITE_P(For, StoppedServer, testing::Values(500, 1000, 2000, 3000, 5000));

class DeadServer : public ServerTest {};
TEST_P(DeadServer, EndsARecordingWithAllItsSegments) {
  PlayCounted(server_);
  const std::string file = folder_.File("take.wav");
  CMMWAVCapture capture;
  const HANDLE thread = capture.Create(Pcm(44100, 2, 16), file.c_str(), nullptr, nullptr);
  ASSERT_EQ(capture.StartREC(), 1);
  Sleep(static_cast<DWORD>(GetParam()));
  const auto killed = Clock::now();
  server_.Kill();
  ASSERT_TRUE(Eventually([&] { return StateOf(capture) == kStateNone; }, 5000));
  EXPECT_LT(Since(killed), 0.7);
  EXPECT_EQ(cmm::GetCaptureReport().end, cmm::CaptureEnd::kDeviceLost);
  EXPECT_EQ(cmm::GetCaptureReport().deviceResult, DSERR_NODRIVER);
  EXPECT_TRUE(test::CountFrames(file).whole);
  const Heard heard = Listen(file, kHeaderBytes);
  EXPECT_TRUE(heard.gaps.empty());
  // The server hands its sound over in pieces of up to two seconds.
  EXPECT_GE(static_cast<double>(heard.frames), (GetParam() / 1000.0 - 2.3) * soak::kRate);
  capture.Exit();
  CloseHandle(thread);
}
INSTANTIATE_TEST_SUITE_P(After, DeadServer, testing::Values(1100, 3300));

}  // namespace

int soak::RecordForParent(char** arguments) {
  const std::string file = arguments[0];
  const std::string device = arguments[1];
  const double seconds = std::atof(arguments[2]);
  test::CountingDevice counting;
  const GUID* id = device == "signal"     ? &platform::kSignalDevice
                   : device == "counting" ? &counting.id
                                          : nullptr;
  CMMWAVCapture capture;
  const HANDLE thread = capture.Create(Pcm(kRate, 2, 16), file.c_str(), nullptr, id);
  const auto begin = Clock::now();
  if (capture.StartREC() != 1) return 2;
  while (Since(begin) < seconds && StateOf(capture) == kStateCapturing) Sleep(10);
  const double passed = Since(begin);
  if (capture.StopREC() != 1 || capture.fileClose() != 1) return 3;
  const cmm::CaptureReport report = cmm::GetCaptureReport();
  std::printf("%llu %llu %llu %f\n", static_cast<unsigned long long>(counting.delivered.load()),
              static_cast<unsigned long long>(report.framesInFile),
              static_cast<unsigned long long>(report.lostFrames), passed);
  std::fflush(stdout);
  const bool ended = capture.Exit() == 1;
  CloseHandle(thread);
  return ended ? 0 : 4;
}
