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
#include <functional>
#include <vector>

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

constexpr Fault kFaults[] = {
    {Fault::kCall, 1, EIO},
    {Fault::kCall, 1, ENOSPC},
#ifndef CMM_OWN_MEMORY
    {Fault::kAllocation, 1},
    {Fault::kAllAllocations, 1},
#endif
};

constinit std::atomic<long> calls{0};
Fault fault;

int FailTheCall(const char* name, int) {
  if (++calls != fault.nth) return 0;
  if (std::strcmp(name, "pthread_setspecific") == 0) return ENOMEM;
  return std::strncmp(name, "pthread_", 8) == 0 ? EAGAIN : fault.error;
}

// Exit codes of a child, none of which another end of it has.
enum Outcome : int { kComplete = 40, kTold, kWithoutFault, kWithoutFaultAndTold };

// In the child.
[[noreturn]] void RunInChild(Subject subject, const Job& job) {
  alarm(kLongestRun);
  if (fault.kind == Fault::kCall) test::HookSystemCalls(FailTheCall);
#ifndef CMM_OWN_MEMORY
  if (fault.kind >= Fault::kAllocation) test::FailAllocation(fault.nth, fault.kind == Fault::kAllAllocations);
#endif
  const bool fine = subject(job);
  test::HookSystemCalls(nullptr);
  bool met = fault.kind == Fault::kCall && calls >= fault.nth;
#ifndef CMM_OWN_MEMORY
  if (fault.kind >= Fault::kAllocation) met = test::AllocateAgain();
#endif
  _exit((met ? kComplete : kWithoutFault) + (fine ? 0 : 1));
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

  struct Child {
    Job job;
    pid_t process;
    std::string Output() const { return job.folder + "/" + kOutput; }
  };

  Child Start(Subject subject, long number) {
    const std::string folder = folder_.File(std::to_string(number));
    std::filesystem::create_directory(folder);
    Child child = {{folder_.File("source.wav"), folder}, -1};
    test::Store(child.Output(), test::Bytes(99));  // to be cut, too
    child.process = fork();
    if (child.process == 0) RunInChild(subject, child.job);
    return child;
  }

  /// @return its outcome; -1, with a failure of the test, when it has not come to its end
  static int Await(const Child& child) {
    int status = 0;
    waitpid(child.process, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) >= kComplete) return WEXITSTATUS(status);
    ADD_FAILURE() << "ended with status " << status;
    return -1;
  }

  test::Bytes WithoutFault(Subject subject) {
    fault = {};
    const Child child = Start(subject, 0);
    EXPECT_EQ(Await(child), kWithoutFault);
    return test::Load(child.Output());
  }

  /// @param isComplete looks at what came out
  void Sweep(Subject subject, const Fault& first, const std::function<bool(const test::Bytes&)>& isComplete) {
    constexpr long kAtOnce = 24;  // children, which mostly sleep
    long met = 0, told = 0;
    for (fault = first; met == fault.nth - 1;) {
      std::vector<Child> children;
      for (; children.size() < kAtOnce; ++fault.nth) children.push_back(Start(subject, fault.nth));
      for (std::size_t i = 0; i < children.size(); ++i) {
        const int outcome = Await(children[i]);
        SCOPED_TRACE("fault " + std::to_string(met + 1) + " of kind " + std::to_string(first.kind));
        if (outcome < kWithoutFault) ++met;
        if (outcome == kTold) ++told;
        EXPECT_NE(outcome, kWithoutFaultAndTold);
        const bool fine = outcome == kComplete || outcome == kWithoutFault;
        EXPECT_TRUE(!fine || isComplete(test::Load(children[i].Output())));
      }
    }
    std::printf("%ld faults, %ld told\n", met, told);
    EXPECT_GT(told, 3);
  }

  /// For a job that always makes the same.
  void SweepTheSame(Subject subject) {
    const test::Bytes expected = WithoutFault(subject);
    ASSERT_GT(expected.size(), 20000u);
    for (const Fault& first : kFaults) {
      Sweep(subject, first, [&](const test::Bytes& file) { return file == expected; });
    }
  }

  const TempFolder folder_;
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

class RecordingFaults : public Faults, public testing::WithParamInterface<Fault> {};

TEST_P(RecordingFaults, AreToldOrDoNoHarm) {
  constexpr std::size_t kHeader = 56;
  constexpr std::size_t kLeast = kHeader + 2 * 4000;
  const test::Bytes sound = WithoutFault(Record);
  ASSERT_GE(sound.size(), kLeast);
  // How much half a second gives is up to the clock, but never what.
  Sweep(Record, GetParam(), [&](const test::Bytes& file) {
    const auto shared = static_cast<std::ptrdiff_t>(std::min(file.size(), sound.size()));
    return file.size() >= kLeast && test::Number(file, 4) == file.size() - 8 &&
           test::Number(file, kHeader - 4) == file.size() - kHeader &&
           std::equal(file.begin() + kHeader, file.begin() + shared, sound.begin() + kHeader);
  });
}
INSTANTIATE_TEST_SUITE_P(OfKind, RecordingFaults, testing::ValuesIn(kFaults));

}  // namespace
