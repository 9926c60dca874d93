// Damaged files: what the checker says about each, and what a repair makes of it.
#include <chrono>
#include <cstring>
#include <filesystem>
#include <random>

#include "tests/wavfile/wav_test.h"
#include "wavfile/WavCheck.h"
#include "wavfile/check_codes.h"

namespace {

using cmm::WavFinding;
using cmm::WavSeverity;

using Found = std::vector<WavFinding>;

void Keep(void* found, const WavFinding& finding) {
  static_cast<Found*>(found)->push_back(finding);
}

// "code@offset", joined by blanks; a '-' in front of a harmless one.
std::string Told(const Found& found) {
  std::string all;
  for (const WavFinding& finding : found) {
    all += std::string(all.empty() ? "" : " ") + (finding.severity == WavSeverity::kHarmless ? "-" : "") +
           finding.code + "@" + std::to_string(finding.offset);
  }
  return all;
}

bool IsHarmless(const Found& found) {
  return std::all_of(found.begin(), found.end(),
                     [](const WavFinding& f) { return f.severity == WavSeverity::kHarmless; });
}

Bytes Text(const std::string& text) {
  return Bytes(text.begin(), text.end());
}

Bytes Header(std::uint32_t tag, std::uint32_t channels, std::uint32_t rate, std::uint32_t block,
             std::uint32_t bits, const Bytes& extra = {}) {
  Bytes data = With(With(Bytes(16), 0, tag | channels << 16), 4, rate);
  return Chunk("fmt ", Join({With(With(data, 8, rate * block), 12, block | bits << 16), extra}));
}

const Bytes kFormat = Header(1, 2, 44100, 4, 16);
const Bytes kSound = Pattern(4000);
const Bytes kData = Chunk("data", kSound);
const Bytes kList = Chunk("LIST", With(Text("INFOISFT....abcd"), 12, 4));

Bytes Cut(Bytes file, std::size_t size) {
  file.resize(size);
  return file;
}

// IMA ADPCM: blocks of 256 bytes, 505 frames each.
Bytes Adpcm(std::uint32_t blocks, std::uint32_t frames) {
  Bytes format = Header(17, 1, 8000, 256, 4, Bytes{2, 0, static_cast<char>(0xF9), 1});
  SetNumber(format, 16, 8000 * 256 / 505);
  const Bytes fact = frames != 0 ? Chunk("fact", With(Bytes(4), 0, frames)) : Bytes();
  return Riff({format, fact, Chunk("data", Bytes(256 * blocks))});
}

Bytes Extensible() {
  Bytes extra = With(With(With(Bytes(24), 0, 22 | 16 << 16), 4, 3), 8, 1);
  const unsigned char rest[] = {0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
  std::memcpy(extra.data() + 12, rest, sizeof rest);
  return Riff({Header(0xFFFE, 2, 44100, 4, 16, extra), kData});
}

class WavCheck : public WavTest {
 protected:
  Found Check(const std::string& path) {
    Found found;
    const std::int32_t count = cmm::CheckWavFile(path.c_str(), Keep, &found);
    EXPECT_EQ(count, static_cast<std::int32_t>(found.size()));
    return found;
  }
  Found Check(const Bytes& file) {
    Store(path_, file);
    return Check(path_);
  }
  std::int32_t Repair(const cmm::WavRepair& how = {}) {
    changes_.clear();
    return cmm::RepairWavFile(path_.c_str(), how, Keep, &changes_, &frames_);
  }
  // The frames that CMMWav reads; -1 when it does not open the file or not read all.
  long FramesRead(const std::string& path) {
    CMMWav wav;
    if (wav.Open(path.c_str()) != 1) return -1;
    WAVEFORMATEX format = {};
    wav.GetFileInfo(&format);
    Bytes block(std::size_t{64} * format.nBlockAlign);
    long bytes = 0;
    std::uint32_t delivered = 0;
    do {
      if (wav.Read(static_cast<std::uint32_t>(block.size()), block.data(), &delivered) != 1) return -1;
      bytes += static_cast<long>(delivered);
    } while (delivered > 0);
    return bytes / format.nBlockAlign;
  }

  const std::string path_ = folder_.File("damaged.wav");
  const std::string copy_ = folder_.File("copy.wav");
  Found changes_;
  std::uint64_t frames_ = 0;
};

struct Case {
  const char* name;
  Bytes file;
  std::string told;
  std::int32_t result;  // of a repair in place
  std::uint64_t frames = 1000;
  std::int32_t copied = -2;  // the result of a repaired copy, where it is another
};

std::vector<Case> Cases() {
  const Bytes good = Riff({kFormat, kData});  // RIFF 12, "fmt " 24, "data" 8: the sound begins at 44
  const Bytes late = Riff({kData, kFormat});
  const Bytes half = Join({With(good, 40, 1920), Bytes()});
  const std::string unfinished = "data-size-placeholder@40 riff-size-placeholder@4";
  Bytes flaws = Pattern(4000);  // samples that look like chunks
  std::memcpy(flaws.data() + 1000, "LIST\x10\0\0\0data\0\0\0\0", 16);
  std::memcpy(flaws.data(), "data\x10\0\0\0", 8);
  const Bytes fake = Riff({kFormat, Chunk("data", flaws)});
  const Bytes fllr = Riff({Chunk("JUNK", Bytes(28)), kFormat, Chunk("FLLR", Bytes(4008)), kData});
  const Bytes bext = Riff({Chunk("bext", Bytes(602)), Chunk("iXML", Text("<BWFXML/>")), kFormat, kData});
  const Bytes listed = Riff({kFormat, kData, kList});
  const Bytes rf64 = [&] {
    Bytes file = With(With(Riff({Chunk("ds64", Bytes(28)), kFormat, kData}), 4, 0xFFFFFFFF), 76, 0xFFFFFFFF);
    std::memcpy(file.data(), "RF64", 4);
    return file;
  }();
  const Bytes odd = Riff({Header(1, 1, 8000, 1, 8), Chunk("data", Pattern(999))});
  const auto join = [](const Bytes& one, const Bytes& other) { return Join({one, other}); };
  return {
      {"good", good, "", 2},
      {"good, with chunks around", Riff({kList, kFormat, kData, kList, Chunk("abcd", Bytes(6))}), "", 2},
      {"0/0", With(With(good, 4, 0), 40, 0), unfinished, 1},
      {"36/0", With(With(good, 4, 36), 40, 0), unfinished, 1},
      {"8/0", With(With(good, 4, 8), 40, 0), unfinished, 1},
      {"no sound yet", Cut(With(With(good, 4, 0), 40, 0), 44), "riff-size-placeholder@4", 1, 0},
      {"4088/0", With(With(fllr, 4, 4088), 4092, 0), "data-size-placeholder@4092 riff-size-placeholder@4", 1},
      {"0xFFFFFFFF", With(With(good, 4, 0xFFFFFFFF), 40, 0xFFFFFFFF), unfinished, 1},
      {"0x7FFFF000", With(With(good, 4, 0x7FFFF024), 40, 0x7FFFF000), unfinished, 1},
      {"chunks in the sound, 0/0", With(With(fake, 4, 0), 40, 0), unfinished, 1},
      {"chunks in the sound, 0xFFFFFFFF", With(With(fake, 4, ~0u), 40, ~0u), unfinished, 1},
      {"bext and iXML", With(With(bext, 4, 0), bext.size() - 4004, 0),
       "data-size-placeholder@668 riff-size-placeholder@4", 1},
      {"LIST behind unknown sound", With(With(listed, 4, ~0u), 40, ~0u), unfinished, 1},
      {"RIFF size 0, LIST at the end", With(listed, 4, 0), "riff-size-placeholder@4", 1},
      {"half of the sound", With(With(good, 4, 36 + 2000), 40, 2000), "data-size-stale@40 riff-size-stale@4",
       1},
      {"first 12 bytes zero", With(With(With(good, 0, 0), 4, 0), 8, 0),
       "riff-size-placeholder@4 form-not-wave@8 not-riff@0", 1},
      {"first 12 bytes gone", Bytes(good.begin() + 12, good.end()), "not-riff@0", 0, 1000, 1},
      {"RF64 never filled in", rf64,
       "data-size-placeholder@76 container-rf64@12 -riff-size-placeholder@4 container-rf64@0", 1},
      {"cut in half", Cut(good, 2044), "data-size-wrong@40 cut-short@4", 1, 500},
      {"cut within a frame", Cut(good, 2042), "data-size-wrong@40 -bytes-after-end@2040 cut-short@4", 1, 499},
      {"cut within fmt", Cut(good, 30), "chunk-overruns@16 data-missing@36 cut-short@4", 0, 0},
      {"cut within LIST", Cut(listed, 4056), "chunk-overruns@4048 cut-short@4", 1},
      {"odd data, no pad byte", Cut(odd, odd.size() - 1), "-chunk-no-pad@40", 2, 999},
      {"zeros behind the end", join(good, Bytes(5000)), "-bytes-after-end@4044", 2},
      {"an ID3 tail", join(good, Text("TAG" + std::string(125, 'x'))), "-bytes-after-end@4044", 2},
      {"block align 0", With(good, 32, 0, 2), "block-align-wrong@32", 1},
      {"block align wrong", With(good, 32, 6, 2), "block-align-wrong@32", 1},
      {"byte rate wrong", With(good, 28, 44100), "byte-rate-wrong@28", 1},
      {"rate wrong", With(good, 24, 44), "rate-wrong@24", 1},
      {"channels 0", With(good, 22, 0, 2), "channels-zero@22", 1},
      {"rate 0", With(good, 24, 0), "rate-zero@24", 1},
      {"bits 0", With(good, 34, 0, 2), "bits-wrong@34", 1},
      {"bits or channels", With(good, 34, 8, 2), "channels-wrong@22 bits-wrong@34", 0, 0},
      {"block and byte rate 0", With(With(good, 28, 0), 32, 0, 2), "byte-rate-wrong@28 block-align-wrong@32",
       1},
      {"unknown tag", With(good, 20, 0x4242, 2), "tag-unknown@20", 1},
      {"tag of a float", With(good, 20, 3, 2), "tag-wrong@20", 1},
      {"fmt size 0", With(good, 16, 0), "chunk-size-wrong@16", 1},
      {"fmt size huge", With(good, 16, 0xFFFFFFF0), "chunk-overruns@16", 1},
      {"fmt name lost", With(good, 12, 0x20746D67), "fmt-missing@12", 1},
      {"data name lost", With(good, 36, 0), "data-missing@36", 1},
      {"data size 0xFFFFFFF0", With(good, 40, 0xFFFFFFF0), "data-size-placeholder@40", 1},
      {"form lost", With(good, 8, 0), "form-not-wave@8", 1},
      {"two data chunks", Riff({kFormat, kData, kData}), "data-twice@4044", 0, 2000, 1},
      {"an empty second data chunk", Riff({kFormat, kData, Chunk("data", {})}), "data-twice@4044", 1},
      {"two fmt chunks", Riff({kFormat, kFormat, kData}), "fmt-twice@36", 1},
      {"data before fmt", late, "fmt-late@4020", 0, 1000, 1},
      {"LIST without pad byte", Riff({Cut(Chunk("LIST", Bytes(13)), 21), kFormat, kData}),
       "chunk-no-pad@16 -bytes-after-end@4065", 0, 1000, 1},
      {"RIFF size one too large", With(good, 4, 4037), "riff-size-wrong@4", 1},
      {"RIFF size one too small", With(good, 4, 4035), "riff-size-wrong@4", 1},
      {"name that is no text",
       Riff({kFormat, Chunk("\1\2\3\4", Bytes(6)), kData, Chunk("\1\2\3\4", Bytes(6))}),
       "chunk-name-odd@36 -chunk-name-odd@4058", 1},
      {"extensible", Extensible(), "", 2},
      {"extensible, extra size wrong", With(Extensible(), 36, 300, 2), "extra-size-wrong@36", 1},
      {"extensible, subformat unknown", With(Extensible(), 44, 77), "tag-unknown@44", 1},
      {"ADPCM", Adpcm(4, 2020), "", 2, 2020},
      {"ADPCM, fact missing", Adpcm(4, 0), "-fact-missing@1072", 2, 2020},
      {"ADPCM, fact wrong", Adpcm(4, 77777), "fact-wrong@48", 1, 2020},
      {"ADPCM, block align 0", With(Adpcm(4, 2020), 32, 0, 2), "block-align-wrong@32", 1, 2020},
      {"RIFX", With(good, 0, 0x58464952), "container-rifx@0", 0, 0},
      {"AIFF", With(good, 0, 0x4D524F46), "container-other@0", 0, 0},
      {"AVI", Riff({kList}, "AVI "), "form-not-wave@8", 0, 0},
      {"text", Text(std::string(3000, 'x')), "fmt-missing@12 data-missing@12 not-riff@0", 0, 0},
      {"nothing", {}, "fmt-missing@12 data-missing@12 not-riff@0", 0, 0},
  };
}

// For tests/wavfile/read-repaired: the files that other programs are to read, their frames in the names.
void KeepForReaders(const Case& c, const std::string& path) {
  const char* const folder = std::getenv("CMM_REPAIRED");
  if (folder == nullptr || c.frames == 0) return;
  static int count = 0;
  std::filesystem::copy_file(
      path, std::string(folder) + "/" + std::to_string(++count) + "-" + std::to_string(c.frames) + ".wav");
}

TEST_F(WavCheck, NamesEachDefectAndRepairsItInPlaceOrByACopy) {
  for (const Case& c : Cases()) {
    SCOPED_TRACE(c.name);
    const Found found = Check(c.file);
    EXPECT_EQ(Told(found), c.told);
    const std::int32_t copied = c.copied == -2 ? c.result : c.copied;
    std::filesystem::remove(copy_);
    EXPECT_EQ(Repair({copy_.c_str()}), copied);
    EXPECT_EQ(frames_, c.frames);
    EXPECT_EQ(std::filesystem::exists(copy_), copied == 1);
    EXPECT_EQ(Load(path_), c.file);
    if (copied == 1) {
      EXPECT_TRUE(IsHarmless(Check(copy_))) << Told(Check(copy_));
      EXPECT_EQ(FramesRead(copy_), static_cast<long>(c.frames == 2020 ? 4 : c.frames));
    }
    EXPECT_EQ(Repair({nullptr, nullptr, true}), c.result);
    EXPECT_EQ(Load(path_), c.file) << "a dry run writes nothing";
    EXPECT_EQ(Repair(), c.result);
    KeepForReaders(c, copied == 1 ? copy_ : path_);
    if (c.result != 1) {
      EXPECT_EQ(Load(path_), c.file);
      continue;
    }
    EXPECT_EQ(frames_, c.frames);
    KeepForReaders(c, path_);
    EXPECT_TRUE(IsHarmless(Check(path_))) << Told(Check(path_));
    EXPECT_EQ(Load(path_).size(), c.file.size());
    EXPECT_EQ(Repair(), 2);
    EXPECT_EQ(frames_, c.frames);
  }
}

int FieldBytes(const std::string& code) {
  for (const char* const two : {"channels-", "block-", "bits-", "tag-", "extra-"}) {
    if (code.rfind(two, 0) == 0) return 2;
  }
  return 4;
}

TEST_F(WavCheck, ARepairThatIsCutOffAnywhereIsFinishedByASecondOne) {
  for (const Case& c : Cases()) {
    if (c.result != 1) continue;
    SCOPED_TRACE(c.name);
    Store(path_, c.file);
    ASSERT_EQ(Repair(), 1);
    const Bytes repaired = Load(path_);
    const Found changes = changes_;
    Bytes partial = c.file;
    for (std::size_t done = 0; done < changes.size(); ++done) {
      Store(path_, partial);
      EXPECT_EQ(Repair(), 1) << "after " << done;
      EXPECT_TRUE(Load(path_) == repaired) << "after " << done;
      const auto at = static_cast<std::ptrdiff_t>(changes[done].offset);
      std::copy_n(repaired.begin() + at, FieldBytes(changes[done].code), partial.begin() + at);
    }
  }
}

TEST_F(WavCheck, OneFieldChangedAtRandomIsReported) {
  const Bytes good = Riff({kFormat, Chunk("fact", With(Bytes(4), 0, 1000)), kData, kList});
  struct Field {
    std::size_t offset, size;
  };
  constexpr Field kFields[] = {{0, 4},  {4, 4},  {8, 4},  {12, 4}, {16, 4},   {20, 2},
                               {22, 2}, {24, 4}, {28, 4}, {32, 2}, {34, 2},   {36, 4},
                               {40, 4}, {44, 4}, {48, 4}, {52, 4}, {4056, 4}, {4060, 4}};
  Store(path_, good);
  const auto patch = [&](const Field& field, std::uint32_t value) {
    std::fstream file(path_, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(field.offset));
    file.write(reinterpret_cast<const char*>(&value), static_cast<std::streamsize>(field.size));
  };
  std::mt19937 random(1);
  for (int i = 0; i < 10000; ++i) {
    const Field field = kFields[random() % std::size(kFields)];
    // Small numbers, and small changes, besides any.
    const std::uint32_t was = Number(good, field.offset) & (field.size == 2 ? 0xFFFF : ~0u);
    const auto next = [&] { return static_cast<std::uint32_t>(random()); };
    const std::uint32_t kinds[] = {next(), next() % 100, was + next() % 9 - 4, was ^ 1u << next() % 32};
    const std::uint32_t now = kinds[next() % 4] & (field.size == 2 ? 0xFFFF : ~0u);
    if (now == was) continue;
    patch(field, now);
    const Found found = Check(path_);
    const bool reported = std::any_of(found.begin(), found.end(),
                                      [&](const WavFinding& f) { return f.offset == field.offset; });
    // Some changes make another file that is as good: a new name for a chunk, a larger format chunk.
    const std::string what = std::to_string(field.offset) + ": " + std::to_string(now) + ": " + Told(found);
    EXPECT_TRUE(reported || IsHarmless(found)) << what;
    const bool ambiguous = what.find("channels-wrong") != std::string::npos;
    // (An odd size of 16-bit sound leaves one byte over.)
    EXPECT_TRUE(Repair({nullptr, nullptr, true}) == 0 ? ambiguous : frames_ >= 999) << what << frames_;
    patch(field, was);
  }
}

TEST_F(WavCheck, TheCallersFormatIsTakenWhereTheFileHasNone) {
  const WAVEFORMATEX format = Pcm(2, 44100, 16);
  const Bytes good = Riff({kFormat, kData});
  Bytes zeros = good;
  std::fill_n(zeros.begin(), 44, 0);
  Store(path_, zeros);
  EXPECT_EQ(Repair(), 0);
  EXPECT_EQ(Repair({nullptr, &format}), 1);
  EXPECT_EQ(frames_, 1000u);
  EXPECT_EQ(Load(path_), good);
  for (std::size_t kept = 0; kept < 44; kept += 2) {  // a repair that was cut off, in any order
    std::copy_n(good.begin() + static_cast<std::ptrdiff_t>(kept), 2,
                zeros.begin() + static_cast<std::ptrdiff_t>(kept));
    Store(path_, zeros);
    EXPECT_EQ(Repair({nullptr, &format}), kept < 40 ? 1 : 2);
    EXPECT_EQ(Load(path_), good) << kept;
  }

  Store(path_, Riff({kData}));
  EXPECT_EQ(Repair({nullptr, &format}), 0) << "there is no room for it";
  EXPECT_EQ(Repair({copy_.c_str(), &format}), 1);
  EXPECT_EQ(Load(copy_), good);
  const WAVEFORMATEX bad = Pcm(2, 44100, 13);
  EXPECT_EQ(Repair({copy_.c_str(), &bad}), 0);

  Store(path_, With(good, 34, 8, 2));  // bits or channels
  EXPECT_EQ(Repair({nullptr, &format}), 1);
  EXPECT_EQ(Load(path_), good);
  const WAVEFORMATEX other = Pcm(1, 8000, 8);
  Store(path_, With(good, 4, 0));
  EXPECT_EQ(Repair({nullptr, &other}), 1);
  EXPECT_EQ(Load(path_), good) << "the file's own format stays";
}

TEST_F(WavCheck, AWholeFileIsNotWrittenTo) {
  Store(path_, Riff({kFormat, kData}));
  const auto time = std::filesystem::last_write_time(path_) - std::chrono::hours(1);
  std::filesystem::last_write_time(path_, time);
  std::filesystem::permissions(path_, std::filesystem::perms::owner_read);
  EXPECT_EQ(Repair(), 2);
  EXPECT_EQ(std::filesystem::last_write_time(path_), time);
  std::filesystem::permissions(path_, std::filesystem::perms::owner_all);
}

TEST_F(WavCheck, WhatCannotBeOpenedOrWrittenGivesMinusOne) {
  EXPECT_EQ(cmm::CheckWavFile(folder_.File("none.wav").c_str(), nullptr, nullptr), -1);
  EXPECT_EQ(cmm::CheckWavFile(nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(Repair(), -1);
  Bytes file = With(Riff({kFormat, kData}), 4, 0);
  Store(path_, file);
  EXPECT_EQ(cmm::CheckWavFile(path_.c_str(), nullptr, nullptr), 1);
  EXPECT_EQ(Repair({path_.c_str()}), -1) << "a copy onto the file itself";
  EXPECT_EQ(Repair({folder_.File("none/copy.wav").c_str()}), -1);
  EXPECT_EQ(Load(path_), file);
  CMMWav recording;
  ASSERT_EQ(recording.Open(Pcm(1, 8000, 16), path_.c_str()), 1);
  Write(recording, Pattern(200000));
  EXPECT_EQ(Told(Check(path_)).substr(0, 21), "data-size-placeholder") << "a recording can be looked at";
  EXPECT_EQ(Repair(), -1) << "but not repaired";
}

TEST_F(WavCheck, AnyNumberOfChunksIsPassedInBoundedTime) {
  Bytes tiny;
  for (int i = 0; i < 10000; ++i) tiny.insert(tiny.end(), kList.begin(), kList.end());
  const Found found = Check(Riff({kFormat, tiny, kData}));
  EXPECT_EQ(Told(found), "-chunks-too-many@" + std::to_string(12 + 24 + 1023 * 24) + " data-missing@" +
                             std::to_string(12 + 24 + 1023 * 24));
  EXPECT_EQ(Repair(), 0);
}

TEST(WavCheckCodes, EachHasATextAndOneName) {
  for (const cmm::check::Code& code : cmm::check::kCodes) {
    EXPECT_STREQ(cmm::CodeText(code.name), code.text);
    EXPECT_GT(std::strlen(code.text), 10u);
  }
  EXPECT_EQ(cmm::CodeText("no-such-code"), nullptr);
  EXPECT_EQ(cmm::CodeText(nullptr), nullptr);
}

}  // namespace
