// Output files: what prevents writing them, and what happens to a file that exists; and short memory.
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cstring>

#include "tests/support/Allocations.h"
#include "tests/support/SystemCalls.h"
#include "tests/tools/Program.h"
#include "tools/disk_sync.h"
#include "tools/output_file.h"
#include "tools/tool.h"

namespace {

constexpr unsigned kNobody = 65534;

// Root has every right, so it becomes another user.
void LoseRights() {
  if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
    _exit(127);
  }
}
void CloseOutput() {
  close(STDOUT_FILENO);
}
void BreakOutput() {
  int ends[2];
  if (pipe(ends) != 0) _exit(127);
  dup2(ends[1], STDOUT_FILENO);
  close(ends[0]);
}

class Output : public Programs {
 protected:
  Output() { MakeSource({"-r", "44100", "-c", "1", "-b", "16"}, "0.1"); }
  /// Every program that writes a file.
  std::vector<Command> Makers(const std::string& target) const {
    return {{CMM_CONVERT, source_, target, "--force"},
            {CMM_MIRROR, source_, target, "--force"},
            {CMM_HARMONIZE, source_, target, "--force"},
            {CMM_RECORD, target, "--force", "--device", "signal", "--rate", "8000", "--duration", "0.2"}};
  }
};

TEST_F(Output, NeedsTheRightToWrite) {
  fs::create_directory(File("there"));
  fs::permissions(File("there"), fs::perms(0555));
  for (const Command& command : Makers(File("there/made.wav"))) {
    EXPECT_THAT(RunProgram(command, LoseRights).err, HasSubstr("no right to make files in ")) << command[0];
  }
  WriteFileText(target_, "precious");
  fs::permissions(target_, fs::perms::owner_read);
  EXPECT_THAT(RunProgram(Makers(target_)[3], LoseRights).err, HasSubstr("no right to write to it"));
}

TEST_F(Output, NeedsRoomBeforeTheWork) {
  const std::string there = File("there");
  fs::create_directory(there);
  MakeSource({"-r", "44100", "-c", "1", "-b", "16"}, "10");
  const std::string mount = "mount -t tmpfs -o size=64k none " + there + " && exec \"$@\"";
  const Command onSmallDisk{"unshare", "--mount", "sh", "-c", mount, "sh"};
  if (RunProgram(Joined(onSmallDisk, {"true"})).code != 0) GTEST_SKIP() << "this needs more rights";
  for (Command command : Makers(there + "/made.wav")) {
    if (command[0] == CMM_RECORD) command.back().assign(1, '5');
    const std::string said = RunProgram(Joined(onSmallDisk, command)).err;
    EXPECT_THAT(said, AllOf(HasSubstr(there), HasSubstr("MB left"))) << command[0];
  }
}

TEST_F(Output, KeepsModeAndOwnerOfWhatItReplaces) {
  const uid_t owner = geteuid() == 0 ? kNobody : geteuid();
  for (const Command& command : Makers(target_)) {
    WriteFileText(target_, "private");
    ASSERT_EQ(chown(target_.c_str(), owner, static_cast<gid_t>(-1)), 0);
    fs::permissions(target_, fs::perms(0640));
    Succeed(command);
    struct stat made;
    ASSERT_EQ(stat(target_.c_str(), &made), 0);
    EXPECT_EQ(std::pair(made.st_mode & 07777, made.st_uid), std::pair(0640u, owner)) << command[0];
    EXPECT_EQ(FileText(target_).substr(0, 4), "RIFF") << command[0];
  }
}

TEST_F(Output, ThatCannotBeWrittenIsToldAndTheWorkDoneAllTheSame) {
  for (const auto output : {CloseOutput, BreakOutput}) {
    for (const Command& command : Makers(target_)) {
      fs::remove(target_);
      const Outcome outcome = RunProgram(command, output);
      EXPECT_EQ(outcome.code, 1) << command[0];
      EXPECT_THAT(outcome.err, HasSubstr("standard output"));
      EXPECT_EQ(RunProgram({CMM_INFO, target_}).code, 0) << command[0];
      // No file has got the number of a closed output.
      EXPECT_EQ(FileText(target_).find("Recording to"), std::string::npos);
    }
  }
}

TEST_F(Output, IsPrivateWhileItIsMadeAndReplacesNothingBeforeItIsOnTheDisk) {
  WriteFileText(target_, "precious");
  PartialFile made(target_);
  EXPECT_EQ(fs::status(made.Name()).permissions(), fs::perms(0600));
  test::HookSystemCalls([](const char* name, int) { return std::strcmp(name, "fsync") == 0 ? EIO : 0; });
  EXPECT_THROW(made.Keep(true), Failure);
  test::HookSystemCalls(nullptr);
  EXPECT_EQ(FileText(target_), "precious");
}

// A name that others can guess may lead to a file of theirs.
TEST_F(Output, IsNotMadeThroughALink) {
  const std::string part = target_ + ".part", other = File("other");
  WriteFileText(other, "precious");
  for (const bool isSymbolic : {true, false}) {
    for (const Command& command : Makers(target_)) {
      if (command[0] == CMM_RECORD) continue;
      fs::remove(part);
      isSymbolic ? fs::create_symlink(other, part) : fs::create_hard_link(other, part);
      const Outcome outcome = RunProgram(command);
      EXPECT_THAT(outcome.err, HasSubstr(isSymbolic ? part + " is in the way" : "")) << command[0];
      EXPECT_EQ(FileText(other), "precious") << command[0];
    }
  }
}

std::atomic<int> forced{0};

TEST_F(Output, IsForcedToTheDiskAgainAndAgainAlsoAfterAFailureThatIsToldOnce) {
  WriteFileText(target_, "sound");
  test::HookSystemCalls([](const char* name, int) {
    if (std::strcmp(name, "fdatasync") != 0) return 0;
    return forced++ == 1 ? EIO : 0;
  });
  DiskSync sync(target_, 0.01);
  while (forced < 4) Sleep(1);
  sync.Finish();
  test::HookSystemCalls(nullptr);
  EXPECT_THAT(sync.NewFailure(), HasSubstr(target_ + " cannot be forced to the disk"));
  EXPECT_EQ(sync.NewFailure(), "");
}

[[noreturn]] void StartWithoutMemory(long nth) {
  const auto tool = [](int, char**) { const CLI::App app("Has options."); };
  test::FailAllocation(nth, true);
  _exit(RunTool("cmm-test", tool, 0, nullptr));
}

TEST(Memory, ThatIsShortIsTold) {
  if (!test::kAllocationsFail) GTEST_SKIP() << "a sanitizer has its own allocator";
  for (const long nth : {1, 5, 10}) {
    EXPECT_EXIT(StartWithoutMemory(nth), testing::ExitedWithCode(1), "cmm-test: memory is short");
  }
}

}  // namespace
