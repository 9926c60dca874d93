// Each call into the system and each allocation of a job fails once: either the failure is reported or the
// output is complete, and nothing aborts, crashes or hangs.
//
// Each run is a process of its own, so that initialisation done once in a process happens in each.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <vector>

#include "tests/faults/jobs.h"
#include "tests/support/Allocations.h"
#include "tests/support/Formats.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/files.h"

namespace {

struct Job {
  jobs::Files files;
  pid_t process;
};

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
  bool (*run)(const jobs::Files&);
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
    const Job job{{folder_.File("source.wav"), folder + "/out.wav"}, fork()};
    if (job.process != 0) return job;
    alarm(25);  // a controller's calls have limits of 1 to 5 seconds
    const bool ofMemory = fault.kind >= Fault::kAllocation;
    if (fault.kind == Fault::kCall) test::HookSystemCalls(FailTheCall);
    if (ofMemory) test::FailAllocation(fault.nth, fault.kind == Fault::kAllAllocations);
    const bool fine = GetParam().run(job.files);
    test::HookSystemCalls(nullptr);
    const bool met = ofMemory ? test::AllocateAgain() : fault.kind == Fault::kCall && calls >= fault.nth;
    _exit((met ? kComplete : kWithoutFault) + (fine ? 0 : 1));
  }

  /// @return its outcome; 0, with a failure of the test, when it ended otherwise
  static int Await(const Job& job) {
    int status = 0;
    waitpid(job.process, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) >= kComplete) return WEXITSTATUS(status);
    ADD_FAILURE() << "fault of kind " << fault.kind << ", " << job.files.target << ": status " << status;
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
  expected_ = test::Load(unharmed.files.target);
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
        if (outcome == kComplete || outcome == kWithoutFault) ExpectComplete(test::Load(child.files.target));
      }
    }
    EXPECT_GT(reported, 3);
  }
}
INSTANTIATE_TEST_SUITE_P(
    Of, Faults,
    testing::Values(Subject{"Record", jobs::RecordSignal, true}, Subject{"Convert", jobs::Convert<2>},
                    Subject{"WavUnit", jobs::Mirror<WavUnit, &WavUnit::WriteMirrorBuf>},
                    Subject{"MMWavUnit", jobs::Mirror<MMWavUnit, &MMWavUnit::WriteMirrorSubBuf>}),
    [](const auto& subject) { return subject.param.name; });

}  // namespace
