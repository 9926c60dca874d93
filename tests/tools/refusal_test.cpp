// What the programs refuse: each gives the reason and its exit code, and leaves all files as they were.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/tools/Program.h"

namespace {

using testing::StartsWith;

struct Case {
  Command command;
  int code;
  const char* text;
  std::uintmax_t limit = 0;  ///< of the files' size in bytes
};

class Refusal : public Programs {
 protected:
  Refusal() {
    MakeSource({"-r", "22050", "-c", "2", "-b", "16"});
    Succeed({"sox", source_, "-b", "24", File("wide.wav")});
    Succeed({"sox", source_, File("cut.w64")});
    fs::resize_file(File("cut.w64"), 50'000);
    const std::string sound = FileText(source_);
    WriteFileText(File("cut.wav"), sound.substr(0, sound.size() - 5000));
    WriteFileText(File("trailing.wav"), sound + "more");
    WriteFileText(File("old.wav"), "precious");
    const std::string size(4, 'w');  // 2 GB
    WriteFileText(File("long.wav"), sound.substr(0, 40) + size + sound.substr(44));
    fs::create_directory(File("folder"));
    WriteFileText(File("asound.conf"),
                  "pcm.!default { type pulse server \"unix:" + File("nobody") + "\" }\n");
  }
  /// Runs them in the folder, with a sound server that is not there.
  void Expect(const std::string& program, const std::vector<Case>& cases) {
    const auto before = Files();
    for (const Case& each : cases) {
      const Outcome outcome = RunProgram(Joined({program}, each.command), [&] {
        if (chdir(folder_.Name().c_str()) != 0) _exit(127);
        setenv("ALSA_CONFIG_PATH", "asound.conf", 1);
        dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
        if (each.limit != 0) LimitFiles(each.limit);
      });
      EXPECT_EQ(outcome.code, each.code) << each.text;
      EXPECT_THAT(outcome.err,
                  AllOf(StartsWith(fs::path(program).filename().string() + ": "), HasSubstr(each.text)));
      EXPECT_EQ(outcome.out, "") << each.text;
      EXPECT_EQ(Files(), before) << each.text;
    }
    EXPECT_EQ(FileText(File("old.wav")), "precious");
  }
};

TEST_F(Refusal, OfConvert) {
  Expect(CMM_CONVERT,
         {{{}, 2, "source is required"},
          {{"source.wav"}, 2, "target is required"},
          {{"source.wav", "new.wav", "more"}, 2, "more"},
          {{"source.wav", "new.wav", "--nothing"}, 2, "--nothing"},
          {{"source.wav", "new.wav", "--rate", "7"}, 2, "--rate: Value 7 not in range 100 to 768000"},
          {{"source.wav", "new.wav", "-r", "many"}, 2, "--rate: Value many not in range"},
          {{"source.wav", "new.wav", "-r", "8000", "-r", "9000"}, 2, "--rate"},
          {{"source.wav", "new.wav", "--channels", "3"}, 2, "--channels: 3 not in {1,2}"},
          {{"source.wav", "new.wav", "--bits", "24"}, 2, "--bits: 24 not in {8,16}"},
          {{"source.wav", "new.wav", "--stages", "3"}, 2, "--stages: 3 not in {1,2}"},
          {{"source.wav", "new.wav", "--quality", "best"}, 2, "--quality: best not in"},
          {{"source.wav", "new.wav", "--quality", "high", "--stages", "1"}, 2, "excludes"},
          {{"folder", "new.wav"}, 1, "folder: it is a folder"},
          {{"-", "new.wav"}, 1, "standard-input: too short to be a WAV file"},
          {{"source.wav", "no/new.wav"}, 1, "there is no folder"},
          {{"source.wav", "old.wav"}, 1, "exists already; --force overwrites it"},
          {{"source.wav", "/dev/null", "--force"}, 1, "no file that can be overwritten"},
          {{"source.wav", std::string(300, 'x')}, 1, "the name is too long"},
          {{"source.wav", "old.wav", "--force", "--rate", "48000"}, 1, "takes no more data", 100'000},
          {{"cut.wav", "old.wav", "--force"}, 1, "cut short"},
          {{"cut.w64", "new.wav"}, 1, "cut short"},
          {{"long.wav", "new.wav", "--rate", "768000"}, 1, "4 GiB"}});
}

TEST_F(Refusal, OfMirror) {
  Expect(CMM_MIRROR, {{{"source.wav", "new.wav", "--gain", "99"}, 2, "'99' is no number from -96 to 48"},
                      {{"source.wav", "new.wav", "--gain", "nan"}, 2, "'nan' is no number from -96 to 48"},
                      {{"source.wav"}, 2, "target is required"},
                      {{"-", "new.wav"}, 1, "- is no file"},
                      {{"source.wav", "-"}, 1, "- is no file"},
                      {{"source.wav", "source.wav"}, 1, "exists already"},
                      {{"missing.wav", "new.wav"}, 1, "missing.wav: it cannot be opened"},
                      {{"wide.wav", "new.wav"}, 1, "it is not PCM"},
                      {{"trailing.wav", "new.wav"}, 1, "do not reach to the end"},
                      {{"trailing.wav", "new.wav", "--strict"}, 1, "its RIFF size is not that of the file"},
                      {{"source.wav", "old.wav", "--force"}, 1, "the disk is full", 100'000}});
}

TEST_F(Refusal, OfHarmonize) {
  std::vector<Case> cases{
      {{"source.wav", "new.wav", "--pitch", "old.wav"}, 1, "old.wav exists already; --force"},
      {{"source.wav", "new.wav", "--force", "--pitch", "source.wav"}, 1, "cannot be in one file"}};
  for (const char* voices : {"", "+4,", "four", "+-4", "nan", "25", "-2401c", "1,2,3,4"}) {
    cases.push_back({{"source.wav", "new.wav", "--voices", voices}, 2, "--voices"});
  }
  for (const char* levels : {"", "13", "0,-61", "1,2", "x"}) {
    cases.push_back({{"source.wav", "new.wav", "--level", levels}, 2, "--level"});
  }
  cases.push_back({{"source.wav", "new.wav", "--level", "nan"}, 2, "nan"});
  cases.push_back({{"source.wav", "new.wav", "--mix", "nan"}, 2, "nan"});
  Expect(CMM_HARMONIZE, cases);
}

TEST_F(Refusal, OfRepair) {
  Expect(CMM_REPAIR, {{{}, 2, "file is required"},
                      {{"cut.wav", "--format", "44100/2"}, 2, "--format: takes rate, channels and bits"},
                      {{"cut.wav", "--format", "44100/2/12"}, 2, "--format"},
                      {{"cut.wav", "source.wav", "--output", "new.wav"}, 2, "--output: takes one file"},
                      {{"cut.wav", "--output", "old.wav"}, 1, "old.wav exists already"},
                      {{"folder", "--output", "new.wav"}, 1, "folder is a folder"},
                      {{"-"}, 1, "- is no file"},
                      {{"missing.wav"}, 1, "missing.wav: there is no such file"}});
}

TEST_F(Refusal, OfOptionsOfRecord) {
  Expect(CMM_RECORD, {{{}, 2, "file is required"},
                      {{"new.wav", "--duration", "1:60"}, 2, "'1:60' is no time"},
                      {{"new.wav", "--duration", "1:2:3:4"}, 2, "'1:2:3:4' is no time"},
                      {{"new.wav", "--sync", "0"}, 2, "'0' is no number from 0.1 to 3600"},
                      {{"new.wav", "--rate", "7"}, 2, "--rate"},
                      {{"new.wav", "--channels", "0"}, 2, "--channels"},
                      {{"new.wav", "--bits", "12"}, 2, "--bits"},
                      {{"new.wav", "--duration", "nan"}, 2, "--duration"},
                      {{"new.wav", "--duration", "24348"}, 2, "from 0 to 24347"}});
}

TEST_F(Refusal, OfRecord) {
  Expect(CMM_RECORD,
         {{{"old.wav", "--device", "signal"}, 1, "exists already"},
          // The library takes a backslash as a separator: the same file by another name.
          {{folder_.Name() + "\\old.wav", "--device", "signal"}, 1, "exists already"},
          {{"folder", "--device", "signal"}, 1, "is a folder"},
          {{"-", "--device", "signal"}, 1, "- is no file"},
          {{"new.wav", "--device", "no such device"}, 1, "no capture device is called 'no such device'"},
          {{"new.wav", "--duration", "1"}, 1, "DSERR_NODRIVER (0x88780078)"}});
}

TEST_F(Refusal, OfPlayAndInfo) {
  Expect(CMM_PLAY, {{{}, 2, "file is required"},
                    {{"missing.wav"}, 1, "missing.wav: there is no such file"},
                    {{"source.wav"}, 1, "there is no sound device"},
                    {{"old.wav"}, 1, "too short to be a WAV file"}});
  Expect(CMM_INFO, {{{}, 2, "file is required"},
                    {{"-"}, 1, "standard input: too short"},
                    {{"asound.conf"}, 1, "not a RIFF file"},
                    {{"folder"}, 1, "it is a folder"},
                    {{"missing.wav"}, 1, "there is no such file"}});
}

}  // namespace
