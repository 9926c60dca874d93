// What programs of other people make of the files, and the other way round. They are part of the test's
// needs: one that is missing fails it.
#include <cstdio>

#include "tests/wavfile/wav_test.h"

namespace {

// What a command prints; the test fails when the command does.
std::string Output(const std::string& command) {
  FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
  std::string text;
  for (int c; (c = std::fgetc(pipe)) != EOF;) text += static_cast<char>(c);
  EXPECT_EQ(pclose(pipe), 0) << command << ": " << text;
  return text;
}

using Outside = WavTest;

TEST_F(Outside, OthersReadWhatWeWrite) {
  struct {
    std::size_t channels, rate, bits, bytes;
  } const kCases[] = {
      {1, 8000, 8, 1001}, {2, 44100, 16, 176400}, {6, 48000, 24, 18 * 777}, {2, 96000, 32, 8 * 4001}};
  for (const auto& c : kCases) {
    const Bytes data = Pattern(c.bytes);
    const auto format = Pcm(static_cast<int>(c.channels), static_cast<int>(c.rate), static_cast<int>(c.bits));
    const std::string path = Make(format, data);
    const std::size_t frames = c.bytes * 8 / (c.channels * c.bits);
    for (const auto& [question, answer] :
         {std::pair{"c", c.channels}, {"r", c.rate}, {"b", c.bits}, {"s", frames}}) {
      EXPECT_EQ(Output("soxi -" + std::string(question) + " " + path), std::to_string(answer) + "\n");
    }
    EXPECT_EQ(Output("sox " + path + " " + folder_.File("a.raw")), "");
    EXPECT_EQ(Load(folder_.File("a.raw")), data);
    const std::string info = Output("sndfile-info " + path);
    EXPECT_NE(info.find("Frames      : " + std::to_string(frames) + "\n"), std::string::npos) << info;
    // Its mark for what a header gets wrong. It grumbles at any data of odd length, pad byte or not.
    EXPECT_TRUE(c.bytes % 2 != 0 || info.find("***") == std::string::npos) << info;
  }
}

TEST_F(Outside, WeReadWhatOthersWrite) {
  const std::string ours = Make(Pcm(2, 8000, 16), Pattern(40000));
  const std::string theirs = folder_.File("theirs.wav");
  struct Kind {
    const char* options;
    std::uint16_t tag;
    std::uint32_t frames;
  };
  // The extensible form, the laws with an empty extra part, and the two ADPCM codes with a filled one.
  for (const Kind& kind :
       {Kind{"", 1, 10000}, Kind{"-b 24", 0xFFFE, 10000}, Kind{"-e a-law", 6, 10000},
        Kind{"-e mu-law", 7, 10000}, Kind{"-e ms-adpcm", 2, 0}, Kind{"-e ima-adpcm", 0x11, 0}}) {
    Output("sox " + ours + " " + kind.options + " " + theirs);
    CMMWav wav;
    ASSERT_EQ(wav.Open(theirs.c_str()), 1) << kind.options;
    EXPECT_EQ(wav.GetFormat(), kind.tag);
    EXPECT_EQ(wav.GetChannels(), 2u);
    EXPECT_EQ(wav.GetFSize(), std::filesystem::file_size(theirs));
    EXPECT_TRUE(kind.frames == 0 || wav.GetSampleSize() == kind.frames);
    EXPECT_NEAR(wav.GetPlayTime(), 1.25, 0.1);
    EXPECT_TRUE(kind.tag != 1 || Read(wav, 40000) == Pattern(40000));
  }
}

}  // namespace
