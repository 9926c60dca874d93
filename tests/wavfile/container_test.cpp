// The file itself: its bytes when written, and what a reader accepts and refuses.
#include "tests/wavfile/wav_test.h"

namespace {

using Container = WavTest;

TEST_F(Container, OneSecondOfStereoHasThisHeader) {
  const unsigned char header[] = {0x52, 0x49, 0x46, 0x46, 0x40, 0xB1, 0x02, 0x00, 0x57, 0x41, 0x56, 0x45,
                                  0x66, 0x6D, 0x74, 0x20, 0x10, 0x00, 0x00, 0x00, 0x01, 0x00, 0x02, 0x00,
                                  0x44, 0xAC, 0x00, 0x00, 0x10, 0xB1, 0x02, 0x00, 0x04, 0x00, 0x10, 0x00,
                                  0x66, 0x61, 0x63, 0x74, 0x04, 0x00, 0x00, 0x00, 0x44, 0xAC, 0x00, 0x00,
                                  0x64, 0x61, 0x74, 0x61, 0x10, 0xB1, 0x02, 0x00};
  const Bytes data = Pattern(176400);
  EXPECT_EQ(Load(Make(Pcm(2, 44100, 16), data)), Join({Bytes(std::begin(header), std::end(header)), data}));
}

TEST_F(Container, WhileWritingTheSizesArePlaceholders) {
  const std::string path = folder_.File("a.wav");
  {
    CMMWav wav;
    ASSERT_EQ(wav.Open(Pcm(2, 44100, 16), path.c_str()), 1);
    Write(wav, Pattern(200000));
    const Bytes unfinished = Load(path);
    EXPECT_EQ(Number(unfinished, 4) + Number(unfinished, 52), 0u);
    EXPECT_EQ(Number(unfinished, 44), 0xFFFFFFFFu);
    EXPECT_EQ(CMMWav().Open(path.c_str()), 0);
  }
  EXPECT_EQ(Number(Load(path), 44), 50000u);  // the destructor has finished it
}

TEST_F(Container, ReadsChunksInAnyOrderAndRefusesWhatIsNoWaveFile) {
  constexpr int kRefused = -1;
  const Bytes pcm = FormatChunk(16), samples = Pattern(30000), data = Chunk("data", samples);
  const Bytes other = Chunk("LIST", Pattern(7));
  const struct {
    int extraSize;
    Bytes file;
  } kFiles[] = {
      {0, Riff({pcm, data})},
      {0, Riff({data, pcm})},
      {0, Riff({Chunk("odd ", Pattern(3)), pcm, other, data, Chunk("end ", {})})},
      {0, Join({Riff({With(FormatChunk(18), 24, 7, 2), data}), Pattern(100)})},  // that of PCM has no meaning
      {2, Riff({With(FormatChunk(20, 0x11), 24, 2, 2), data})},
      // None in the chunk: the next bytes are taken for it, and the next chunk is found all the same.
      {'d' | 'a' << 8, Riff({FormatChunk(16, 2), data})},
      {kRefused, Riff({FormatChunk(14), data})},
      {kRefused, Riff({pcm})},
      {kRefused, Riff({data})},
      {kRefused, Riff({pcm, data}, "AVI ")},
      {kRefused, Join({other, Riff({pcm, data})})},
      {kRefused, Riff({FormatChunk(17, 2)})},
  };
  for (const auto& each : kFiles) {
    SCOPED_TRACE(&each - kFiles);
    const int opens = each.extraSize == kRefused ? 0 : 1;
    WAVEFORMATEX format;
    ASSERT_EQ(Opens(wav_, each.file), opens == 1);
    EXPECT_EQ(wav_.GetFileInfo(&format), opens);
    EXPECT_TRUE(opens == 0 || (format.cbSize == each.extraSize && Read(wav_, 40000) == samples));
    EXPECT_EQ(wav_.Close(0), opens);
  }
}

}  // namespace
