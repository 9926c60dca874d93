// cmm-repair, and what the other programs say of a file that it can save.
#include "tests/support/Formats.h"
#include "tests/tools/Program.h"

namespace {

using namespace std::chrono_literals;

class RepairTool : public Programs {
 protected:
  /// A file of 1000 frames, 8000 Hz, 2 channels, 16 bits, whose sizes are still 0.
  test::Bytes MakeUnfinished(const std::string& name) const {
    Succeed({"sox", "-D", "-R", "-n", "-r", "8000", "-c", "2", "-b", "16", name, "synth", "0.125", "sine",
             "440"});
    test::Bytes bytes = test::Load(name);
    test::SetNumber(bytes, kRiffSize, 0);
    test::SetNumber(bytes, kDataSize, 0);
    test::Store(name, bytes);
    return bytes;
  }
  static constexpr std::size_t kRiffSize = 4, kDataSize = 40;
};

TEST_F(RepairTool, SavesAKilledRecording) {
  Program recorder(
      {CMM_RECORD, target_, "--device", "signal", "--rate", "8000", "--channels", "1", "--bits", "16"});
  recorder.WaitForBytes(target_, 20000);
  recorder.Send(SIGKILL);
  recorder.Wait();
  for (const Command& program : {Command{CMM_INFO, target_},
                                 {CMM_CONVERT, target_, File("o.wav")},
                                 {CMM_MIRROR, target_, File("o.wav")}}) {
    const Outcome outcome = RunProgram(program);
    EXPECT_EQ(outcome.code, 1);
    EXPECT_THAT(outcome.err, HasSubstr("cmm-repair")) << program[0];
  }
  fs::last_write_time(target_, fs::file_time_type::clock::now());
  EXPECT_THAT(RunProgram({CMM_REPAIR, File("")}).err, HasSubstr("may still be growing"));
  EXPECT_THAT(Succeed({CMM_REPAIR, target_}), HasSubstr("repaired, "));
  EXPECT_THAT(Succeed({CMM_INFO, "--check", target_}), HasSubstr(target_ + ": nothing\n"));
  EXPECT_GE(SamplesOf(target_).size() * 2 + 64, fs::file_size(target_));
}

TEST_F(RepairTool, TakesTheUnfinishedRecordingsOfAFolder) {
  const std::string first = File("a.wav"), second = File("b.WAV"), complete = File("c.wav");
  MakeUnfinished(first);
  MakeUnfinished(second);
  Succeed({"sox", "-n", complete, "synth", "0.1", "sine", "440"});
  WriteFileText(File("d.wav"), "no sound at all");
  for (const std::string& name : {first, second, complete}) {
    fs::last_write_time(name, fs::file_time_type::clock::now() - 1h);
  }
  const auto before = fs::last_write_time(complete);
  const std::string said = Succeed({CMM_REPAIR, File("")});
  EXPECT_THAT(said,
              AllOf(HasSubstr("a.wav: repaired, 1000 frames"), HasSubstr("b.WAV: repaired, 1000 frames")));
  EXPECT_EQ(fs::last_write_time(complete), before);
  EXPECT_EQ(SamplesOf(second).size(), 2000U);
  EXPECT_THAT(Succeed({CMM_REPAIR, first, complete}), HasSubstr("c.wav: nothing to repair"));
  EXPECT_EQ(fs::last_write_time(complete), before);
}

TEST_F(RepairTool, LeavesTheFileAloneWhenAskedTo) {
  const test::Bytes unfinished = MakeUnfinished(source_);
  EXPECT_THAT(Succeed({CMM_REPAIR, "--dry-run", source_}), HasSubstr("would be repaired, 1000 frames"));
  Succeed({CMM_REPAIR, source_, "--output", target_});
  EXPECT_EQ(test::Load(source_), unfinished);
  EXPECT_EQ(SamplesOf(target_).size(), 2000U);
  EXPECT_THAT(RunProgram({CMM_REPAIR, source_, "--output", target_}).err, HasSubstr("--force"));
}

TEST_F(RepairTool, SaysWhatItCannotRepair) {
  test::Bytes lost = MakeUnfinished(source_);
  std::fill(lost.begin() + 12, lost.begin() + 16, std::uint8_t{0});  // "fmt "
  std::fill(lost.begin() + 20, lost.begin() + 36, std::uint8_t{0});  // what it says
  test::Store(source_, lost);
  const Outcome refused = RunProgram({CMM_REPAIR, source_});
  EXPECT_EQ(refused.code, 1);
  EXPECT_THAT(refused.err, HasSubstr("--format 44100/2/16"));
  EXPECT_EQ(test::Load(source_), lost);
  EXPECT_THAT(RunProgram({CMM_REPAIR, source_, "--format", "8000/2"}).err,
              HasSubstr("rate, channels and bits"));
  EXPECT_THAT(RunProgram({CMM_REPAIR, File("missing.wav")}).err, HasSubstr("no such file"));
  WriteFileText(target_, "no sound at all, only a letter of some length, which is no WAV file");
  EXPECT_EQ(RunProgram({CMM_REPAIR, target_}).code, 1);
}

TEST_F(RepairTool, TellsProgramsWhatIsWrong) {
  MakeUnfinished(source_);
  const Outcome outcome = RunProgram({CMM_INFO, "--json", source_});
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(outcome.out,
              AllOf(HasSubstr("[\n  {\"file\": \"" + source_ + "\", "),
                    HasSubstr(R"({"code": "data-size-placeholder", "severity": ")"),
                    HasSubstr(R"("offset": 40, "found": 0, "expected": 4000, "chunk": "data", "text": ")")));
  Succeed({CMM_REPAIR, source_});
  EXPECT_EQ(
      Succeed({CMM_INFO, "--json", source_}),
      "[\n  {\"file\": \"" + source_ +
          "\", \"format\": {\"tag\": 1, \"channels\": 2, \"rate\": 8000, \"bits\": 16, \"blockAlign\": 4, "
          "\"byteRate\": 32000}, \"frames\": 1000, \"seconds\": 0.125000, \"findings\": []}\n]\n");
}

TEST_F(RepairTool, IsNotNeededForSizesOfAPipe) {
  MakeSource({"-r", "8000", "-c", "1", "-b", "16"}, "1.7");
  Succeed({"sh", "-c", "ffmpeg -loglevel error -i " + source_ + " -f wav - >" + File("pipe.wav")});
  Succeed({CMM_CONVERT, File("pipe.wav"), target_});
  EXPECT_EQ(SamplesOf(target_), SamplesOf(source_));
}

}  // namespace
