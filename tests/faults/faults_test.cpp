// Each call into the system and each allocation of a job fails once: either the failure is reported or the
// output is complete, and nothing aborts, crashes or hangs.
//
// Each run is a process of its own, so that initialisation done once in a process happens in each.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "capture/CMMWAVCapture.h"
#include "capture/CaptureReport.h"
#include "platform/posix/layer.h"
#include "tests/support/Allocations.h"
#include "tests/support/Formats.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/files.h"
#include "units/MMWavUnit.h"
#include "units/WavUnit.h"
#include "wavfile/CMMWav.h"

namespace {

// The jobs, as a host does them. They allocate nothing themselves and call the system only through the
// library, so that every failure is inside the library. Each returns whether it has succeeded, by its calls'
// results alone.

struct Job {
  std::string source;  // a finished WAV file
  std::string folder;  // for the output
  std::string output;
  pid_t process;
};

std::uint8_t piece[3000];

bool Record(const Job& job) {
  CMMWAVCapture recorder;
  const HANDLE thread =
      recorder.Create(Format(8000, 1, 16), "out.wav", job.folder.c_str(), &platform::kSignalDevice);
  if (thread == nullptr) return false;
  bool fine = recorder.StartREC() == 1;
  // Half a second of sound, as long as that may take on a machine under load.
  for (int looks = 0; fine && looks < 60; ++looks) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const cmm::CaptureReport report = cmm::GetCaptureReport();
    if (report.framesInFile >= 4000 || report.end != cmm::CaptureEnd::kRunning) break;
  }
  fine = fine && recorder.StopREC() == 1 && recorder.fileClose() == 1;
  fine = recorder.Exit() == 1 && fine;
  return CloseHandle(thread) && fine;
}

bool ConvertInTwoStages(const Job& job) {
  const WAVEFORMATEX wanted = Format(11025, 1, 16);
  CMMWav source, target;
  std::uint8_t* output = nullptr;
  bool fine = source.Open(job.source.c_str()) == 1 && source.BeginConvert(0, wanted, &output, nullptr) != 0 &&
              target.Open(wanted, "out.wav", job.folder.c_str()) == 1;
  while (fine && source.GetNowSampleSize() < source.GetSampleSize()) {
    std::uint32_t made = 0, taken = 0;
    fine =
        source.Convert(sizeof piece, &made) == 1 && target.Write(made, output, &taken) == 1 && taken == made;
  }
  return fine && target.Close() == 1 && source.Close() == 1;
}

template <class Unit, auto kAppend>
bool Mirror(const Job& job) {
  Unit unit;
  if (unit.OpenWFile(job.source.c_str()) != 0 || unit.CreateMirrorFile(job.output.c_str()) != 0) return false;
  for (std::uint32_t left = unit.PcmDataSize(); left > 0;) {
    const std::uint32_t bytes = left < sizeof piece ? left : sizeof piece;
    if (unit.ReadPcmData(piece, bytes) != 0 || (unit.*kAppend)(piece, bytes) != 0) return false;
    left -= bytes;
  }
  return unit.CloseMFile() == 0 && unit.CloseWFile() == 0;
}

struct Fault {
  enum Kind { kNone, kCall, kAllocation, kAllAllocations } kind = kNone;
  long nth = 0;  // 1: the first
};

constinit std::atomic<long> calls{0};
Fault fault;

int FailTheCall(const char* name, int) {
  if (++calls != fault.nth) return 0;
  if (std::strcmp(name, "pthread_setspecific") == 0) return ENOMEM;
  return std::strncmp(name, "pthread_", 8) == 0 ? EAGAIN : EIO;
}

struct Subject {
  const char* name;
  bool (*run)(const Job&);
  bool endsByTheClock = false;
};

class Faults : public testing::TestWithParam<Subject> {
 protected:
  // Exit codes of a child, different from those of a crash.
  enum Outcome : int { kComplete = 40, kReported, kWithoutFault, kWithoutFaultButFailed };

  Faults() {
    test::StoreWav(folder_.File("source.wav"), std::vector{Format(8000, 1, 16)}, test::Pattern(20000), 0);
  }

  Job Start() {
    const std::string folder = folder_.File(std::to_string(fault.nth));
    std::filesystem::create_directory(folder);
    test::Store(folder + "/out.wav", test::Bytes(99));  // to be overwritten
    const Job job{folder_.File("source.wav"), folder, folder + "/out.wav", fork()};
    if (job.process != 0) return job;
    alarm(25);  // a controller's calls have limits of 1 to 5 seconds
    const bool ofMemory = fault.kind >= Fault::kAllocation;
    if (fault.kind == Fault::kCall) test::HookSystemCalls(FailTheCall);
    if (ofMemory) test::FailAllocation(fault.nth, fault.kind == Fault::kAllAllocations);
    const bool fine = GetParam().run(job);
    test::HookSystemCalls(nullptr);
    const bool met = ofMemory ? test::AllocateAgain() : fault.kind == Fault::kCall && calls >= fault.nth;
    _exit((met ? kComplete : kWithoutFault) + (fine ? 0 : 1));
  }

  /// @return its outcome; 0, with a failure of the test, when it ended otherwise
  static int Await(const Job& job) {
    int status = 0;
    waitpid(job.process, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) >= kComplete) return WEXITSTATUS(status);
    ADD_FAILURE() << "fault of kind " << fault.kind << ", " << job.folder << ": status " << status;
    return 0;
  }

  /// How much sound half a second gives depends on the clock; its bytes do not.
  void ExpectComplete(test::Bytes file) const {
    test::Bytes expected = expected_;
    if (GetParam().endsByTheClock) {
      constexpr std::size_t kHeader = 56, kSure = 2 * 4000;
      EXPECT_EQ(test::Number(file, 4), file.size() - 8);
      EXPECT_EQ(test::Number(file, kHeader - 4), file.size() - kHeader);
      file = test::Part(file, kHeader, kSure);
      expected = test::Part(expected, kHeader, kSure);
    }
    EXPECT_TRUE(file == expected);
  }

  const TempFolder folder_;
  test::Bytes expected_;
};

TEST_P(Faults, AreReportedOrLeaveTheOutputComplete) {
  fault = {};
  const Job unharmed = Start();
  ASSERT_EQ(Await(unharmed), kWithoutFault);
  expected_ = test::Load(unharmed.output);
  ASSERT_GT(expected_.size(), 8000u);
  for (const auto kind : {Fault::kCall, Fault::kAllocation, Fault::kAllAllocations}) {
    if (kind != Fault::kCall && !test::kAllocationsFail) continue;
    long met = 0, reported = 0;
    for (fault = {kind, 1}; met == fault.nth - 1;) {
      std::vector<Job> children;  // many at once: they mostly sleep
      for (; children.size() < 24; ++fault.nth) children.push_back(Start());
      for (const Job& child : children) {
        const int outcome = Await(child);
        met += outcome < kWithoutFault ? 1 : 0;
        reported += outcome == kReported ? 1 : 0;
        EXPECT_NE(outcome, kWithoutFaultButFailed);
        if (outcome == kComplete || outcome == kWithoutFault) ExpectComplete(test::Load(child.output));
      }
    }
    EXPECT_GT(reported, 3);
  }
}
INSTANTIATE_TEST_SUITE_P(
    Of, Faults,
    testing::Values(Subject{"Record", Record, true}, Subject{"Convert", ConvertInTwoStages},
                    Subject{"WavUnit", Mirror<WavUnit, &WavUnit::WriteMirrorBuf>},
                    Subject{"MMWavUnit", Mirror<MMWavUnit, &MMWavUnit::WriteMirrorSubBuf>}),
    [](const auto& subject) { return subject.param.name; });

}  // namespace
