// The diagnosis: each check looks at one thing of the map. The order of the checks is that of a repair's
// writes: what tells where the sound begins first, then its size, then the RIFF size.
#include "wavfile/check_findings.h"

#include "wavfile/check_format.h"

namespace cmm::check {

namespace {

constexpr std::uint64_t kPlainHeader =
    44;  // bytes: RIFF, a "fmt " chunk of 16 bytes and the header of "data"

class Checks {
 public:
  Checks(Reader& file, const WAVEFORMATEX* given, Diagnosis& diagnosis)
      : file_(file), d_(diagnosis), map_(diagnosis.map) {
    if (given != nullptr) given_ = PcmFormat(*given);
  }

  void Run() {
    if (!CheckContainer()) return;
    map_ = FindChunks(file_);
    if (map_.Find(kData) == nullptr) TakeLostHeader();
    if (map_.startLost && map_.chunks.empty()) return ReportNoWav();
    for (const Chunk& chunk : map_.chunks) CheckChunk(chunk);
    if (map_.tooMany) Report("chunks-too-many", FourCc("RIFF"), map_.End(), 0, 0, Cure::kNone);
    CheckFormats();
    CheckData();
    CheckFact();
    CheckRiff();
  }

 private:
  void Report(const char* code, std::uint32_t chunk, std::uint64_t offset, std::uint64_t found,
              std::uint64_t expected, Cure cure) {
    Add(d_.findings, code, chunk, offset, found, expected, cure);
  }
  void Soften(WavSeverity severity) { d_.findings.back().told.severity = severity; }

  // False for a file of another kind, of which nothing else is told.
  bool CheckContainer() {
    constexpr std::uint32_t kOthers[] = {FourCc("FORM"), FourCc("OggS"), FourCc("fLaC"), FourCc("riff"),
                                         FourCc("caff"), FourCc(".snd"), FourCc("wvpk"), FourCc("MThd")};
    const std::uint32_t first = file_.Number(0), form = file_.Number(8);
    const char* other = nullptr;
    if (first == FourCc("RIFX")) other = "container-rifx";
    if (std::find(std::begin(kOthers), std::end(kOthers), first) != std::end(kOthers))
      other = "container-other";
    const bool ours = first == kRiff || first == kRf64;
    const bool otherForm =
        ours && form != kWave && IsText(form) && !LooksLikeFormat(file_, ChunkAt(file_, 12));
    if (other != nullptr) Report(other, first, 0, first, kRiff, Cure::kNone);
    if (otherForm) Report("form-not-wave", kRiff, 8, form, kWave, Cure::kNone);
    if (file_.IsTooLarge()) Report("file-too-large", kRiff, 4, file_.Number(4), 0, Cure::kNone);
    return other == nullptr && !otherForm && !file_.IsTooLarge();
  }

  // The caller's format replaces a header of zeros: the sound begins where it does in a plain file. Part of
  // the header may be there, from a repair that did not come to its end. What has no sound has no chunks.
  void TakeLostHeader() {
    if (given_.block != 0 && file_.Size() > kPlainHeader) {
      const std::uint64_t bytes = file_.Size() - kPlainHeader, size = bytes - bytes % given_.block;
      const std::vector<std::uint32_t> plain = PlainHeader(static_cast<std::uint32_t>(size));
      bool lost = true;
      for (std::uint32_t at = 0; at < kPlainHeader; at += 2) {
        const std::uint32_t number = file_.Number(at, 2);
        lost = lost && (number == 0 || number == (plain[at / 4] >> (at % 4 * 8) & 0xFFFF));
      }
      if (lost) {
        map_.start = 12;
        map_.chunks = {ChunkAt(file_, 12), ChunkAt(file_, 36)};
        map_.chunks[0].id = kFormat;
        map_.chunks[0].size = kSmallestFormat;
        map_.chunks[1].id = kData;
        map_.chunks[1].size = size;
        FindPad(file_, map_.chunks[1]);
      }
    }
    if (map_.startLost && map_.Find(kData) == nullptr) map_.chunks.clear();
  }

  std::vector<std::uint32_t> PlainHeader(std::uint32_t size) const {
    const std::uint32_t riffSize = static_cast<std::uint32_t>(kPlainHeader) - 8 + size + size % 2;
    return {kRiff,
            riffSize,
            kWave,
            kFormat,
            kSmallestFormat,
            given_.tag | given_.channels << 16,
            given_.rate,
            given_.byteRate,
            given_.block | given_.bits << 16,
            kData,
            size};
  }

  void ReportNoWav() {
    Report("fmt-missing", kFormat, map_.start, 0, 0, Cure::kNone);
    Report("data-missing", kData, map_.start, 0, 0, Cure::kNone);
    Report("not-riff", kRiff, 0, map_.first, kRiff, Cure::kNone);
  }

  void CheckChunk(const Chunk& chunk) {
    if (chunk.nameIs != chunk.id) {
      Report(chunk.id == kData ? "data-missing" : "fmt-missing", chunk.id, chunk.at, chunk.nameIs, chunk.id,
             Cure::kFourBytes);
    } else if (!IsText(chunk.id)) {
      Report("chunk-name-odd", chunk.id, chunk.at, chunk.id, kJunk, Cure::kFourBytes);
      // Some readers get no further; behind the sound it is nothing to them.
      const Chunk* const data = map_.Find(kData);
      if (data != nullptr && chunk.at > data->at) Soften(WavSeverity::kHarmless);
    }
    if (chunk.id != kData && chunk.size != chunk.stated) {
      const bool overruns = chunk.Payload() + chunk.stated > file_.Size();
      const bool fits = chunk.PayloadEnd() <= file_.Size();
      Report(overruns ? "chunk-overruns" : "chunk-size-wrong", chunk.id, chunk.at + 4, chunk.stated,
             chunk.size, fits ? Cure::kFourBytes : Cure::kNone);
    } else if (chunk.id != kData && chunk.PayloadEnd() > file_.Size()) {
      Report("chunk-overruns", chunk.id, chunk.at + 4, chunk.stated, file_.Size() - chunk.Payload(),
             Cure::kNone);
    }
    if (chunk.size % 2 != 0 && !chunk.padded && chunk.PayloadEnd() <= file_.Size()) {
      const bool last = chunk.End() == map_.End();
      Report("chunk-no-pad", chunk.id, chunk.at + 4, chunk.size, chunk.size,
             last ? Cure::kNone : Cure::kCopy);
      if (last) Soften(WavSeverity::kHarmless);
    }
  }

  void CheckFormats() {
    const Chunk* const format = map_.Find(kFormat);
    const Chunk* const data = map_.Find(kData);
    const Format* const given = given_.block != 0 ? &given_ : nullptr;
    if (format == nullptr) {
      const bool cured = given != nullptr && data != nullptr;
      Report("fmt-missing", kFormat, map_.start, 0, 0, cured ? Cure::kCopy : Cure::kNone);
      d_.formatGiven = cured;
      if (cured) format_ = given_;
      return;
    }
    if (format->PayloadEnd() > file_.Size()) return;
    format_ = CheckFormat(file_, *format, given, d_.findings);
    d_.formatGiven = given != nullptr && format->size < kSmallestFormat;
    if (data != nullptr && format > data) Report("fmt-late", kFormat, format->at, format->at, 0, Cure::kCopy);
    for (const Chunk* more = map_.Find(kFormat, format); more != nullptr; more = map_.Find(kFormat, more)) {
      Report("fmt-twice", kFormat, more->at, kFormat, kJunk,
             Same(*format, *more) ? Cure::kFourBytes : Cure::kNone);
    }
  }

  bool Same(const Chunk& one, const Chunk& other) {
    constexpr std::uint64_t kCompared = 40;
    bool same = one.size == other.size;
    for (std::uint64_t at = 0; same && at < std::min(one.size, kCompared); at += 2)
      same = file_.Number(one.Payload() + at, 2) == file_.Number(other.Payload() + at, 2);
    return same;
  }

  void CheckData() {
    const Chunk* const data = map_.Find(kData);
    if (data == nullptr) return Report("data-missing", kData, map_.End(), 0, 0, Cure::kNone);
    if (data->size != data->stated && !(map_.first == kRf64 && data->stated == 0xFFFFFFFF && HasSizes64())) {
      const bool overruns = data->stated > file_.Size() - data->Payload();
      const std::uint64_t riffEnd = map_.riffSize + 8ull;
      const bool placeholder = overruns ? IsPlaceholder(data->stated) : data->stated == 0;
      const bool stale = !overruns && riffEnd < file_.Size();
      Report(placeholder ? "data-size-placeholder"
             : stale     ? "data-size-stale"
                         : "data-size-wrong",
             kData, data->at + 4, data->stated, data->size, Cure::kFourBytes);
    } else if (data->size != data->stated) {
      Report("data-size-placeholder", kData, data->at + 4, data->stated, data->size, Cure::kFourBytes);
      Soften(WavSeverity::kHarmless);
    }
    const std::uint64_t rest = format_.block != 0 ? data->size % format_.block : 0;
    if (format_.framesPerBlock != 0 && rest != 0) {
      Report("data-partial-block", kData, data->at + 4, data->size, data->size - rest, Cure::kNone);
    }
    std::uint64_t all = data->size;
    for (const Chunk* more = map_.Find(kData, data); more != nullptr; more = map_.Find(kData, more)) {
      const bool joins = format_.block != 0 && data->size % format_.block == 0;
      Report("data-twice", kData, more->at, kData, kJunk,
             more->size == 0 ? Cure::kFourBytes
             : joins         ? Cure::kCopy
                             : Cure::kNone);
      all += more->size;
    }
    if (format_.block != 0) d_.frames = all / format_.block * format_.framesPerBlock;
  }

  bool HasSizes64() {
    const Chunk& first = map_.chunks.front();
    return first.id == kDs64 && first.stated >= 16 && file_.Number(first.Payload() + 8) != 0;
  }

  // The count says how much of the last block of compressed sound counts.
  void CheckFact() {
    const Chunk* const fact = map_.Find(kFact);
    const bool exact = !format_.compressed;
    if (fact == nullptr) {
      if (format_.block != 0 && format_.compressed)
        Report("fact-missing", kFact, map_.End(), 0, d_.frames, Cure::kNone);
      return;
    }
    if (fact->size < 4) {
      Report("chunk-size-wrong", kFact, fact->at + 4, fact->stated, 4, Cure::kNone);
      return Soften(WavSeverity::kHarmless);
    }
    if (format_.block == 0 || format_.framesPerBlock == 0 || d_.frames > 0xFFFFFFFF ||
        map_.Find(kData) == nullptr)
      return;
    const std::uint32_t count = file_.Number(fact->Payload());
    const bool right =
        exact ? count == d_.frames : count <= d_.frames && count + format_.framesPerBlock > d_.frames;
    if (right) {
      d_.frames = count;
      return;
    }
    Report("fact-wrong", kFact, fact->Payload(), count, d_.frames, Cure::kFourBytes);
    // Nobody reads it there; and of compressed sound some writers count the frames of one channel's share.
    if (format_.tag == WAVE_FORMAT_PCM || format_.tag == kFloat || (!exact && count <= d_.frames))
      Soften(WavSeverity::kHarmless);
  }

  void CheckRiff() {
    const std::uint64_t all = file_.Size(), end = std::min(map_.End(), all), riffEnd = map_.riffSize + 8ull;
    const Chunk* const data = map_.Find(kData);
    if (map_.first == kRf64) {
      const Chunk& first = map_.chunks.empty() ? Chunk{} : map_.chunks.front();
      if (first.id == kDs64) Report("container-rf64", kDs64, first.at, kDs64, kJunk, Cure::kFourBytes);
    }
    if (data != nullptr && end < all) Report("bytes-after-end", kRiff, end, all - end, 0, Cure::kNone);
    const Cure cure = data == nullptr ? Cure::kNone : map_.start == 12 ? Cure::kFourBytes : Cure::kCopy;
    const bool paddedEnd =
        riffEnd == end + 1 && !map_.chunks.empty() && map_.chunks.back().size % 2 != 0 && end == all;
    const bool changed = data != nullptr && data->size != data->stated;
    if (map_.start == 12 && riffEnd != end && (changed || riffEnd != all) && !paddedEnd)
      ReportRiffSize(end, riffEnd, data, cure);
    if (map_.start == 12 && map_.form != kWave) Report("form-not-wave", kRiff, 8, map_.form, kWave, cure);
    if (map_.startLost) Report("not-riff", kRiff, 0, map_.first, kRiff, cure);
    if (map_.first == kRf64) Report("container-rf64", kRiff, 0, kRf64, kRiff, cure);
  }

  void ReportRiffSize(std::uint64_t end, std::uint64_t riffEnd, const Chunk* data, Cure cure) {
    const std::uint64_t all = file_.Size();
    const std::uint32_t size = map_.riffSize;
    const bool dataChanged = data != nullptr && data->size != data->stated;
    const bool unfinished = IsPlaceholder(size) && (size < 8 || riffEnd > all || dataChanged);
    const char* code = "riff-size-wrong";
    if (unfinished || (dataChanged && riffEnd <= data->Payload())) {
      code = "riff-size-placeholder";
    } else if (riffEnd > all && (dataChanged || data == nullptr || ChunkIsCut())) {
      code = "cut-short";
    } else if (riffEnd < all && dataChanged) {
      code = "riff-size-stale";
    }
    Report(code, kRiff, 4, size, end - 8, cure);
    // Readers that heed it do not get to the sound.
    if (data != nullptr && riffEnd < data->Payload()) Soften(WavSeverity::kUnreadable);
    const Chunk& last = map_.chunks.empty() ? Chunk{} : map_.chunks.back();
    if ((riffEnd + 1 == end && last.padded) || (map_.first == kRf64 && size == 0xFFFFFFFF))
      Soften(WavSeverity::kHarmless);
  }

  bool ChunkIsCut() const {
    return !map_.chunks.empty() && map_.chunks.back().stated > map_.chunks.back().size;
  }

  Reader& file_;
  Diagnosis& d_;
  Map& map_;
  Format given_;
  Format format_;
};

}  // namespace

bool Diagnosis::IsHarmless() const {
  return std::all_of(findings.begin(), findings.end(),
                     [](const Finding& f) { return f.told.severity == WavSeverity::kHarmless; });
}

Diagnosis Diagnose(Reader& file, const WAVEFORMATEX* given) {
  Diagnosis diagnosis;
  Checks(file, given, diagnosis).Run();
  return diagnosis;
}

}  // namespace cmm::check
