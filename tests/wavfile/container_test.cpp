// The file itself: its bytes when written, and what a reader accepts and refuses.
#include <algorithm>

#include "tests/wavfile/wav_test.h"

namespace {

using Container = WavTest;

// A format chunk for 16-bit stereo of some tag, cut or filled up to a size.
Bytes Format(std::uint32_t tag, std::size_t size) {
  Bytes data(std::max<std::size_t>(size, 16), 7);
  SetNumber(data, 0, tag | 2 << 16);
  SetNumber(data, 4, 44100);
  SetNumber(data, 8, 176400);
  SetNumber(data, 12, 4 | 16 << 16);
  data.resize(size);
  return Chunk("fmt ", data);
}

TEST_F(Container, OneSecondOfStereoHasThisHeader) {
  const unsigned char header[] = {0x52, 0x49, 0x46, 0x46, 0x40, 0xB1, 0x02, 0x00, 0x57, 0x41, 0x56, 0x45,
                                  0x66, 0x6D, 0x74, 0x20, 0x10, 0x00, 0x00, 0x00, 0x01, 0x00, 0x02, 0x00,
                                  0x44, 0xAC, 0x00, 0x00, 0x10, 0xB1, 0x02, 0x00, 0x04, 0x00, 0x10, 0x00,
                                  0x66, 0x61, 0x63, 0x74, 0x04, 0x00, 0x00, 0x00, 0x44, 0xAC, 0x00, 0x00,
                                  0x64, 0x61, 0x74, 0x61, 0x10, 0xB1, 0x02, 0x00};
  const Bytes data = Pattern(176400);
  EXPECT_EQ(Load(Make(Pcm(2, 44100, 16), data)), Join({Bytes(std::begin(header), std::end(header)), data}));
}

TEST_F(Container, ShortFilesAndOddOnesArePaddedAndCounted) {
  const Bytes empty = Load(Make(Pcm(2, 44100, 16), {}));
  ASSERT_EQ(empty.size(), 56u);
  EXPECT_EQ(Number(empty, 4), 48u);
  EXPECT_EQ(Number(empty, 44), 0u);
  EXPECT_EQ(Number(empty, 52), 0u);

  const std::string path = folder_.File("a.wav");  // written over: cut to zero length first
  const Bytes odd = Load(Make(Pcm(1, 8000, 8), {1, 2, 3}));
  ASSERT_EQ(odd.size(), 60u);
  EXPECT_EQ(Number(odd, 4), 52u);
  EXPECT_EQ(Number(odd, 44), 3u);
  EXPECT_EQ(Number(odd, 52), 3u);
  EXPECT_EQ(odd[59], 0);
  CMMWav wav;
  ASSERT_EQ(wav.Open(path.c_str()), 1);
  EXPECT_EQ(wav.GetFSize(), 60u);
  EXPECT_EQ(wav.ChkFileSize(), 0);  // the pad byte lies behind the data
}

TEST_F(Container, WhileWritingThePlaceholdersStand) {
  const std::string path = folder_.File("a.wav");
  {
    CMMWav wav;
    ASSERT_EQ(wav.Open(Pcm(2, 44100, 16), path.c_str()), 1);
    Write(wav, Pattern(200000));
    const Bytes unfinished = Load(path);
    ASSERT_GT(unfinished.size(), 56u);
    EXPECT_EQ(Number(unfinished, 4), 0u);
    EXPECT_EQ(Number(unfinished, 44), 0xFFFFFFFFu);
    EXPECT_EQ(Number(unfinished, 52), 0u);
    CMMWav reader;
    EXPECT_EQ(reader.Open(path.c_str()), 0);
    EXPECT_EQ(wav.GetFSize(), 8u);
  }
  EXPECT_EQ(Number(Load(path), 44), 50000u);  // the destructor has finished it
}

TEST_F(Container, FrameCountMayBeGivenAndTheRestIsComputed) {
  WAVEFORMATEX format = Pcm(3, 8000, 12);
  format.cbSize = 22;
  CMMWav wav;
  ASSERT_EQ(wav.Open(format, folder_.File("a.wav").c_str()), 1);
  ASSERT_EQ(wav.GetFileInfo(&format), 1);
  EXPECT_EQ(format.wFormatTag, 1);
  EXPECT_EQ(format.nBlockAlign, 3);
  EXPECT_EQ(format.nAvgBytesPerSec, 24000u);
  EXPECT_EQ(format.cbSize, 22);
  EXPECT_EQ(wav.Close(5), 1);
  EXPECT_EQ(Number(Load(folder_.File("a.wav")), 44), 5u);
}

TEST_F(Container, ReadsChunksInAnyOrderAndStepsOverOthers) {
  const Bytes data = Pattern(12);
  const Bytes pcm = Format(1, 16);
  for (const Bytes& file : {Riff({pcm, Chunk("data", data)}), Riff({Chunk("data", data), pcm}),
                            Riff({Chunk("odd ", Pattern(3)), pcm, Chunk("LIST", Pattern(7)),
                                  Chunk("data", data), Chunk("end ", {})}),
                            Join({Riff({Format(1, 18), Chunk("data", data)}), Pattern(100)})}) {
    CMMWav wav;
    ASSERT_TRUE(Opens(wav, file));
    WAVEFORMATEX format;
    wav.GetFileInfo(&format);
    EXPECT_EQ(format.cbSize, 0);  // whatever a PCM file has there
    EXPECT_EQ(Read(wav, 100), data);
  }
}

TEST_F(Container, RefusesWhatIsNoWaveFile) {
  const Bytes pcm = Format(1, 16);
  const Bytes data = Chunk("data", Pattern(8));
  const std::vector<Bytes> refused = {{},
                                      Riff({Format(1, 14), data}),
                                      Riff({pcm}),
                                      Riff({data}),
                                      Riff({pcm, data}, "AVI "),
                                      Join({Chunk("junk", {}), Riff({pcm, data})}),
                                      Riff({Chunk("LIST", Join({{'w', 'a', 'v', 'l'}, pcm, data}))}),
                                      Riff({Format(2, 17)})};
  for (std::size_t i = 0; i < refused.size(); ++i) {
    CMMWav wav;
    EXPECT_FALSE(Opens(wav, refused[i])) << i;
    EXPECT_EQ(wav.GetFileName(), nullptr);
    EXPECT_EQ(wav.GetSampleSize() + wav.GetChannels() + wav.GetFSize(), 0u);
    EXPECT_EQ(wav.Close(0), 0);
  }
}

TEST_F(Container, OtherFormatsKeepTheirExtraBytes) {
  Bytes format = Format(0x11, 20);
  SetNumber(format, 8 + 16, 2, 2);
  SetNumber(format, 8 + 18, 505, 2);
  CMMWav wav;
  ASSERT_TRUE(Opens(wav, Riff({format, Chunk("data", Pattern(8))})));
  WAVEFORMATEX read;
  wav.GetFileInfo(&read);
  EXPECT_EQ(read.cbSize, 2);
  EXPECT_EQ(wav.GetFormat(), 0x11);
  EXPECT_EQ(Read(wav, 8), Pattern(8));
  wav.Close();

  // No extra size in the chunk: what follows it is taken for one, and the next chunk is found all the same.
  ASSERT_TRUE(Opens(wav, Riff({Format(2, 16), Chunk("data", Bytes(30000, 1))})));
  wav.GetFileInfo(&read);
  EXPECT_EQ(read.cbSize, 'd' | 'a' << 8);
  EXPECT_EQ(wav.GetPlayTime(), 30000 / 176400.0);
}

// Every field of a sound file set to awkward values, and the file cut at every byte: an open object must then
// be sound, and nothing may crash.
TEST_F(Container, DamagedFilesOpenCleanlyOrNotAtAll) {
  const Bytes sound =
      Riff({Chunk("LIST", Pattern(6)), Format(1, 16), Chunk("fact", Bytes(4)), Chunk("data", Pattern(64))});
  const auto check = [this](const Bytes& file) {
    CMMWav wav;
    if (!Opens(wav, file)) {
      EXPECT_EQ(wav.GetFileName(), nullptr);
      return 0;
    }
    Bytes block(1 << 16);
    std::uint32_t delivered = 99;
    for (int i = 0; i < 20 && wav.Read(wav.GetTimeToByte(0.001), block.data(), &delivered) == 1; ++i) {
      EXPECT_LE(delivered, file.size());
    }
    wav.SampleFind(wav.GetSampleSize());
    wav.TimeFind(wav.GetPlayTime() / 2);
    wav.Read(4, block.data(), &delivered);
    EXPECT_EQ(wav.Close(), 1);
    return 1;
  };
  ASSERT_EQ(check(sound), 1);
  int opened = 0;
  for (std::size_t cut = 0; cut < sound.size(); ++cut) {
    opened += check(Bytes(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(cut)));
  }
  EXPECT_EQ(opened, 64);  // once the header of the data chunk is there; its size is taken as it stands
  for (std::size_t at = 0; at < sound.size() - 64; at += 2) {
    for (const std::uint32_t value :
         {0u, 1u, 4u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu, 0x61746164u}) {
      for (const std::size_t count : {2u, 4u}) {
        Bytes damaged = sound;
        SetNumber(damaged, at, value, count);
        check(damaged);
      }
    }
  }
}

}  // namespace
