// Where the programs write: what keeps them from it, and what stands there before.
#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "tests/examples/Program.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
namespace fs = std::filesystem;
using Command = std::vector<std::string>;

constexpr unsigned kNobody = 65534;
constexpr int kNoRight = 77;  // exit code of a test's own preparation

// Root has every right, so it becomes somebody else.
void LoseRights() {
  if (geteuid() == 0 && (setgroups(0, nullptr) != 0 || setgid(kNobody) != 0 || setuid(kNobody) != 0)) {
    _exit(kNoRight);
  }
}

class Output : public testing::Test {
 protected:
  void SetUp() override {
    StoreSound(source_, 10);
    fs::create_directory(folder_.File("there"));
  }
  static void StoreSound(const std::string& file, std::size_t seconds) {
    const WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, 44100, 88200, 2, 16, 0};
    test::StoreWav(file, std::vector{format}, std::vector<std::int16_t>(44100 * seconds), 0);
  }
  /// Every program that makes a file, and what they say when something is in the way.
  void ExpectRefusal(const std::string& target, const std::string& reason,
                     const std::function<void()>& beforeStart) {
    for (const Command& command : {Command{CMM_CONVERT, source_, target},
                                   {CMM_MIRROR, source_, target},
                                   {CMM_HARMONIZE, source_, target},
                                   {CMM_RECORD, target, "--device", "signal", "--duration", "5"}}) {
      SCOPED_TRACE(command[0]);
      const Outcome outcome = RunProgram(command, beforeStart);
      if (outcome.code == kNoRight) GTEST_SKIP() << "this needs more rights";
      EXPECT_EQ(outcome.code, 1);
      EXPECT_THAT(outcome.err, AllOf(HasSubstr(target), HasSubstr(reason)));
      EXPECT_EQ(outcome.out, "") << "known before the work";
    }
  }
  void WaitForPart() const {
    for (bool found = false; !found; std::this_thread::sleep_for(std::chrono::milliseconds(1))) {
      for (const auto& entry : fs::directory_iterator(folder_.Path())) {
        found = found || entry.path().extension() == ".part";
      }
    }
  }

  TempFolder folder_;
  const std::string source_ = folder_.File("source.wav");
  const std::string target_ = folder_.File("target.wav");
  const std::string table_ = folder_.File("pitch.csv");
};

TEST_F(Output, TellsWhatIsInTheWayBeforeTheWork) {
  const std::string there = folder_.File("there");
  const std::string target = there + "/made.wav";
  const auto mount = [&there](unsigned long flags) {
    if (unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", there.c_str(), "tmpfs", flags, "size=64k") != 0) {
      _exit(kNoRight);
    }
  };
  fs::permissions(
      there, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::others_read | fs::perms::others_exec);
  ExpectRefusal(target, "no right to make files in " + there, LoseRights);
  ExpectRefusal(there + "/" + std::string(300, 'x'), "the name is too long", [] {});
  ExpectRefusal(target, "MB left", [&] { mount(0); });
  ExpectRefusal(target, "its disk is read-only", [&] { mount(MS_RDONLY); });
  WriteFileText(target_, "precious");
  fs::permissions(target_, fs::perms::owner_read);
  EXPECT_THAT(RunProgram({CMM_RECORD, target_, "--force", "--device", "signal"}, LoseRights).err,
              HasSubstr("no right to write to it"));
  EXPECT_EQ(FileText(target_), "precious");
}

TEST_F(Output, KeepsModeAndOwnerOfWhatItReplaces) {
  for (const Command& command :
       {Command{CMM_CONVERT, source_, target_, "--force"},
        {CMM_MIRROR, source_, target_, "--force"},
        {CMM_HARMONIZE, source_, target_, "--force"},
        {CMM_RECORD, target_, "--force", "--device", "signal", "--duration", "0.1"}}) {
    SCOPED_TRACE(command[0]);
    WriteFileText(target_, "private");
    if (geteuid() == 0) {
      ASSERT_EQ(chown(target_.c_str(), kNobody, kNobody), 0);
    }
    ASSERT_EQ(chmod(target_.c_str(), 0640), 0);
    struct stat before, after;
    ASSERT_EQ(stat(target_.c_str(), &before), 0);
    ASSERT_EQ(RunProgram(command).code, 0);
    ASSERT_EQ(stat(target_.c_str(), &after), 0);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_EQ(FileText(target_).substr(0, 4), "RIFF");
  }
  // Nor can it be read while it is being made.
  StoreSound(source_, 300);
  Program program({CMM_HARMONIZE, source_, target_, "--force"}, [] { umask(0); });
  WaitForPart();
  program.Send(SIGSTOP);
  for (const auto& entry : fs::directory_iterator(folder_.Path())) {
    if (entry.path().extension() == ".part") {
      EXPECT_EQ(entry.status().permissions(), fs::perms(0600));
    }
  }
}

TEST_F(Output, GivesTheTableItsNameBehindTheSound) {
  StoreSound(source_, 60);
  Program program({CMM_HARMONIZE, source_, target_, "--pitch", table_});
  WaitForPart();
  program.Send(SIGSTOP);
  WriteFileText(table_, "precious");  // by somebody else
  program.Send(SIGCONT);
  EXPECT_THAT(program.Wait().err, HasSubstr(table_ + " exists already"));
  EXPECT_EQ(FileText(table_), "precious");
  EXPECT_TRUE(fs::exists(target_));
}

#ifdef CMM_SHORTAGE
TEST_F(Output, ReplacesNothingByWhatTheDiskHasNotTaken) {
  WriteFileText(target_, "precious");
  for (const Command& command : {Command{CMM_CONVERT, source_, target_, "--force"},
                                 {CMM_MIRROR, source_, target_, "--force"},
                                 {CMM_HARMONIZE, source_, target_, "--force", "--pitch", table_}}) {
    const Outcome outcome = RunProgram(command, [] {
      setenv("LD_PRELOAD", CMM_SHORTAGE, 1);
      setenv("CMM_BAD_DISK", "1", 1);
    });
    EXPECT_EQ(outcome.code, 1) << command[0];
    EXPECT_THAT(outcome.err, HasSubstr(target_ + " cannot be written: Input/output error"));
    EXPECT_EQ(FileText(target_), "precious");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder_.Path()), {}), 3) << "nothing half is left";
  }
}
#endif

}  // namespace
