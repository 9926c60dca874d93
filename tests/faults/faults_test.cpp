// Each call into the system and each allocation of a job fails once: a failure is told, or what comes out is
// complete, and nothing aborts, crashes or hangs.
//
// Each run is a process of its own, so that all that is done once in a process is done in each.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "tests/faults/subjects.h"
#include "tests/support/Allocations.h"
#include "tests/support/Formats.h"
#include "tests/support/SystemCalls.h"
#include "tests/support/files.h"
#include "wavfile/CMMWav.h"

namespace {

constexpr unsigned kLongestRun = 25;  // seconds; a controller's calls have limits of 1 to 5 seconds

struct Fault {
  enum Kind { kNone, kCall, kAllocation, kAllAllocations } kind = kNone;
  long nth = 0;   // 1: the first
  int error = 0;  // of a call
};

constinit std::atomic<long> calls{0};
constinit std::atomic<const char*> failedCall{nullptr};
Fault fault;

int FailTheCall(const char* name, int) {
  if (++calls != fault.nth) return 0;
  failedCall = name;
  if (std::strcmp(name, "pthread_setspecific") == 0) return ENOMEM;
  return std::strncmp(name, "pthread_", 8) == 0 ? EAGAIN : fault.error;
}

enum Outcome : int { kComplete, kTold, kWithoutFault, kWithoutFaultAndTold };

// In the child.
[[noreturn]] void RunInChild(Subject subject, const Job& job) {
  alarm(kLongestRun);
  if (fault.kind == Fault::kCall) test::HookSystemCalls(FailTheCall);
#ifndef CMM_OWN_MEMORY
  if (fault.kind >= Fault::kAllocation) test::FailAllocation(fault.nth, fault.kind == Fault::kAllAllocations);
#endif
  const bool fine = subject(job);
  test::HookSystemCalls(nullptr);
  bool met = failedCall != nullptr;
#ifndef CMM_OWN_MEMORY
  if (fault.kind >= Fault::kAllocation) met = test::AllocateAgain();
#endif
  if (met && fault.kind == Fault::kCall) std::fprintf(stderr, "%s ", failedCall.load());
  std::fflush(stderr);
  _exit((met ? 0 : kWithoutFault) + (fine ? kComplete : kTold));
}

class Faults : public testing::Test {
 protected:
  Faults() {
    CMMWav wav;
    wav.Open(Format(8000, 1, 16), "source.wav", folder_.Name().c_str());
    std::uint32_t taken = 0;
    const test::Bytes data = test::Pattern(20000);
    wav.Write(static_cast<std::uint32_t>(data.size()), data.data(), &taken);
    EXPECT_EQ(wav.Close(), 1);
  }

  /// @return the child's outcome; -1, with a failure of the test, when it has not come to its end
  int RunOnce(Subject subject) {
    test::Store(output_, test::Bytes(99));  // to be cut, too
    const pid_t child = fork();
    if (child == 0) RunInChild(subject, job_);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    ADD_FAILURE() << "ended by signal " << WTERMSIG(status);
    return -1;
  }

  /// @param isComplete looks at what came out
  template <class IsComplete>
  void Sweep(Subject subject, Fault::Kind kind, int error, IsComplete isComplete) {
    int told = 0;
    for (fault = {kind, 1, error};; ++fault.nth) {
      SCOPED_TRACE("fault " + std::to_string(fault.nth) + ", kind " + std::to_string(kind) + ", error " +
                   std::to_string(error));
      const int outcome = RunOnce(subject);
      if (outcome == kTold) ++told;
      EXPECT_TRUE((outcome != kComplete && outcome != kWithoutFault) || isComplete());
      EXPECT_NE(outcome, kWithoutFaultAndTold);
      if (outcome >= kWithoutFault) break;
    }
    std::printf("%ld faults, %d told\n", fault.nth - 1, told);
    EXPECT_GT(told, 3);
  }

  template <class IsComplete>
  void SweepAll(Subject subject, IsComplete isComplete) {
    Sweep(subject, Fault::kCall, EIO, isComplete);
    Sweep(subject, Fault::kCall, ENOSPC, isComplete);
#ifndef CMM_OWN_MEMORY
    Sweep(subject, Fault::kAllocation, 0, isComplete);
    Sweep(subject, Fault::kAllAllocations, 0, isComplete);
#endif
  }

  /// For a job that always makes the same.
  void SweepTheSame(Subject subject) {
    fault = {};
    ASSERT_EQ(RunOnce(subject), kWithoutFault);
    const test::Bytes expected = test::Load(output_);
    ASSERT_GT(expected.size(), 20000u);
    SweepAll(subject, [&] { return test::Load(output_) == expected; });
  }

  const TempFolder folder_;
  const Job job_ = {folder_.File("source.wav"), folder_.Name()};
  const std::string output_ = folder_.File(kOutput);
};

TEST_F(Faults, OfAStrictMirror) {
  SweepTheSame(MirrorStrictly);
}
TEST_F(Faults, OfASearchingMirror) {
  SweepTheSame(MirrorSearching);
}
TEST_F(Faults, OfAConversionInTwoStages) {
  SweepTheSame(ConvertInTwoStages);
}

TEST_F(Faults, OfARecording) {
  constexpr std::size_t kHeader = 56;
  fault = {};
  ASSERT_EQ(RunOnce(Record), kWithoutFault);
  const test::Bytes sound = test::Load(output_);
  ASSERT_GE(sound.size(), kHeader + 2 * 4000);
  // How much a run of half a second takes is up to the clock, but never what it is.
  const auto isComplete = [&] {
    const test::Bytes file = test::Load(output_);
    const std::size_t shared = std::min(file.size(), sound.size());
    return file.size() >= kHeader + 2 * 4000 && test::Number(file, 4) == file.size() - 8 &&
           test::Number(file, kHeader - 4) == file.size() - kHeader &&
           std::equal(file.begin() + kHeader, file.begin() + static_cast<std::ptrdiff_t>(shared),
                      sound.begin() + kHeader);
  };
  SweepAll(Record, isComplete);
}

}  // namespace
