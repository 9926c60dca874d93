// Five numbers of a format are bound by two rules: the block is the channels times the bytes of one, and the
// byte rate is the sample rate times the block. So one wrong number can be told from the others.
#include "wavfile/check_format.h"

#include <iterator>

namespace cmm::check {

namespace {

// Beside those that the platform's headers name: G.726, GSM, MPEG, MP3, AAC, WMA, FLAC and their kin.
constexpr std::uint32_t kKnownTags[] = {WAVE_FORMAT_PCM,
                                        WAVE_FORMAT_ADPCM,
                                        kFloat,
                                        WAVE_FORMAT_ALAW,
                                        WAVE_FORMAT_MULAW,
                                        WAVE_FORMAT_DVI_ADPCM,
                                        kExtensible,
                                        0x10,
                                        0x14,
                                        0x20,
                                        0x22,
                                        0x31,
                                        0x40,
                                        0x42,
                                        0x45,
                                        0x50,
                                        0x55,
                                        0x61,
                                        0x62,
                                        0x64,
                                        0x65,
                                        0x92,
                                        0xFF,
                                        0x160,
                                        0x161,
                                        0x162,
                                        0x163,
                                        0x1600,
                                        0x1602,
                                        0x1610,
                                        0x2000,
                                        0x2001,
                                        0x566F,
                                        0x674F,
                                        0x6751,
                                        0x704F,
                                        0xA106,
                                        0xF1AC};
constexpr std::uint32_t kCommonRates[] = {8000,  11025, 12000, 16000, 22050,  24000, 32000,
                                          44100, 48000, 88200, 96000, 176400, 192000};

template <class Values>
bool IsIn(const Values& values, std::uint32_t value) {
  return std::find(std::begin(values), std::end(values), value) != std::end(values);
}

bool IsPlain(std::uint32_t tag) {
  return tag == WAVE_FORMAT_PCM || tag == kFloat || tag == WAVE_FORMAT_ALAW || tag == WAVE_FORMAT_MULAW;
}
bool IsAdpcm(std::uint32_t tag) {
  return tag == WAVE_FORMAT_ADPCM || tag == WAVE_FORMAT_DVI_ADPCM;
}

// The bits that the tag allows.
bool BitsAreRight(const Format& f) {
  switch (f.tag) {
    case WAVE_FORMAT_PCM:
      return f.bits >= 1 && f.bits <= 64;
    case kFloat:
      return f.bits == 32 || f.bits == 64;
    case WAVE_FORMAT_ALAW:
    case WAVE_FORMAT_MULAW:
      return f.bits == 8;
    default:
      return f.bits == 4;
  }
}

// Bytes of one channel in a block; 0 when they are not known.
std::uint64_t BytesOfChannel(const Format& f) {
  if (f.tag == WAVE_FORMAT_DVI_ADPCM) return f.framesPerBlock > 1 ? (f.framesPerBlock - 1) / 2 + 4 : 0;
  if (f.tag == WAVE_FORMAT_ADPCM) return f.framesPerBlock > 2 ? (f.framesPerBlock - 2) / 2 + 7 : 0;
  return (f.bits + 7) / 8;
}

// The frames that a block of ADPCM has room for, behind the numbers at its start; 1 in other formats.
std::uint64_t FramesPerBlock(const Format& f) {
  if (!f.compressed) return 1;
  const std::uint64_t bytes = f.channels != 0 ? f.block / f.channels : 0;
  if (f.tag == WAVE_FORMAT_DVI_ADPCM) return bytes > 4 ? (bytes - 4) * 2 + 1 : 0;
  return bytes > 7 ? (bytes - 7) * 2 + 2 : 0;
}

std::uint64_t ByteRate(const Format& f) {
  return f.framesPerBlock != 0 ? std::uint64_t{f.rate} * f.block / f.framesPerBlock : 0;
}

// Whether the numbers agree. Writers round the byte rate of compressed sound in their own ways.
bool Agree(const Format& f) {
  const std::uint64_t byteRate = ByteRate(f), bytes = BytesOfChannel(f);
  const std::uint64_t off = byteRate > f.byteRate ? byteRate - f.byteRate : f.byteRate - byteRate;
  return f.channels != 0 && f.rate != 0 && f.block != 0 && byteRate != 0 && BitsAreRight(f) &&
         bytes * f.channels == f.block && off <= (f.compressed ? byteRate / 32 + 1 : 0);
}

struct Field {
  std::uint32_t Format::*value;
  std::uint32_t offset;  // in the chunk's payload
  Cure cure;
  const char* zero;  // the code when it is 0
  const char* wrong;
};
// The byte rate is written before the block, so that what a crash leaves in between has one answer.
constexpr Field kByteRate = {&Format::byteRate, 8, Cure::kFourBytes, "byte-rate-wrong", "byte-rate-wrong"};
constexpr Field kBlock = {&Format::block, 12, Cure::kTwoBytes, "block-align-wrong", "block-align-wrong"};
constexpr Field kChannels = {&Format::channels, 2, Cure::kTwoBytes, "channels-zero", "channels-wrong"};
constexpr Field kRate = {&Format::rate, 4, Cure::kFourBytes, "rate-zero", "rate-wrong"};
constexpr Field kBits = {&Format::bits, 14, Cure::kTwoBytes, "bits-wrong", "bits-wrong"};
constexpr Field kFrames = {&Format::framesPerBlock, 18, Cure::kTwoBytes, "block-frames-wrong",
                           "block-frames-wrong"};
constexpr Field kFields[] = {kByteRate, kBlock, kChannels, kRate, kBits, kFrames};

// What the other fields say that this one is; 0 when they say nothing.
std::uint64_t FromOthers(const Format& f, const Field& field) {
  const std::uint64_t bytes = BytesOfChannel(f);
  if (field.value == &Format::byteRate) return ByteRate(f);
  if (field.value == &Format::block) return f.channels * bytes;
  if (field.value == &Format::channels) return bytes != 0 ? f.block / bytes : 0;
  if (field.value == &Format::bits)
    return f.compressed ? 4 : f.channels != 0 ? f.block / f.channels * 8ull : 0;
  if (field.value == &Format::framesPerBlock) return FramesPerBlock(f);
  const std::uint64_t rate = f.block != 0 ? std::uint64_t{f.byteRate} * f.framesPerBlock / f.block : 0;
  for (const std::uint32_t common : kCommonRates) {
    if (f.compressed && rate > common - common / 32 && rate < common + common / 32) return common;
  }
  return f.compressed ? 0 : rate;
}

class FormatCheck {
 public:
  FormatCheck(Reader& file, const Chunk& chunk, const Format* given, Findings& findings)
      : file_(file), chunk_(chunk), given_(given), findings_(findings) {}

  Format Run() {
    Load();
    if (chunk_.size < kSmallestFormat) {
      Add(findings_, "fmt-short", kFormat, chunk_.at + 4, chunk_.stated, kSmallestFormat, Cure::kCopy);
      if (given_ == nullptr) findings_.back().cure = Cure::kNone;
      return given_ != nullptr ? *given_ : Format{};
    }
    CheckTag();
    if (!resolved_) CheckNumbers();
    CheckExtra();
    return f_;
  }

 private:
  std::uint32_t Number(std::uint32_t offset, std::uint32_t bytes) {
    return offset + bytes <= chunk_.size ? file_.Number(chunk_.Payload() + offset, bytes) : 0;
  }

  void Load() {
    f_.tag = Number(0, 2);
    f_.extra = Number(16, 2);
    for (const Field& field : kFields)
      f_.*field.value = Number(field.offset, field.cure == Cure::kTwoBytes ? 2 : 4);
    tag_ = f_.tag;
    if (f_.tag == kExtensible && chunk_.size >= 40) f_.tag = Number(24, 2);
    f_.compressed = !IsPlain(f_.tag);
    if (!IsAdpcm(f_.tag)) f_.framesPerBlock = f_.compressed ? 0 : 1;
  }

  void Report(const Field& field, std::uint64_t expected, Cure cure) {
    const std::uint32_t found = f_.*field.value;
    Add(findings_, found == 0 ? field.zero : field.wrong, kFormat, chunk_.Payload() + field.offset, found,
        expected, cure);
    if (found == 0) findings_.back().told.severity = WavSeverity::kUnreadable;
    // Writers of compressed sound put in what they like here, and nobody reads it.
    const bool ignored = f_.compressed && field.value == &Format::byteRate;
    if (ignored && found != 0) findings_.back().told.severity = WavSeverity::kHarmless;
  }
  // Reports the field and takes the right value on.
  void Correct(const Field& field, std::uint64_t expected) {
    Report(field, expected, field.cure);
    f_.*field.value = static_cast<std::uint32_t>(expected);
  }

  // Samples of 16 or 24 bits in blocks that fit can be nothing but PCM.
  bool MustBePcm() const {
    Format pcm = f_;
    pcm.tag = WAVE_FORMAT_PCM;
    pcm.framesPerBlock = 1;
    pcm.compressed = false;
    return (f_.bits == 16 || f_.bits == 24) && Agree(pcm);
  }

  // Only PCM goes without an extra size, or with any number of bits.
  bool TagFits() const {
    if (IsAdpcm(f_.tag)) return Agree(f_);
    if (IsPlain(f_.tag)) return BitsAreRight(f_) || f_.tag == WAVE_FORMAT_PCM;
    return chunk_.size >= 18 || !MustBePcm();
  }

  void CheckTag() {
    if (tag_ == kExtensible && chunk_.size < 40) {
      if (MustBePcm()) return TakePcm("tag-wrong");
      Add(findings_, "fmt-short", kFormat, chunk_.at + 4, chunk_.stated, 40, Cure::kNone);
      return;
    }
    if (tag_ == kExtensible) return CheckSubformat();
    const bool known = IsIn(kKnownTags, f_.tag);
    if (known && TagFits()) return;
    if (MustBePcm()) return TakePcm(known ? "tag-wrong" : "tag-unknown");
    if (known) return;
    if (given_ != nullptr) return TakeGiven();
    Add(findings_, "tag-unknown", kFormat, chunk_.Payload(), f_.tag, 0, Cure::kNone);
  }

  void TakePcm(const char* code) {
    Add(findings_, code, kFormat, chunk_.Payload(), tag_, WAVE_FORMAT_PCM, Cure::kTwoBytes);
    tag_ = WAVE_FORMAT_PCM;
    SetPcm();
  }

  // The tag of an extensible format is the first two bytes of an identifier that ends alike for all. One that
  // is otherwise in several places is a vendor's own.
  void CheckSubformat() {
    constexpr std::uint32_t kRest[] = {0x0000, 0x0000, 0x0010, 0x0080, 0xAA00, 0x3800, 0x719B};
    const bool known = IsIn(kKnownTags, f_.tag);
    std::uint32_t others = 0, other = 0;
    for (std::uint32_t i = 0; i < std::size(kRest); ++i) {
      if (Number(26 + 2 * i, 2) == kRest[i]) continue;
      ++others;
      other = i;
    }
    if (known && others == 0) return;
    if (known && others == 1) return Subformat(26 + 2 * other, kRest[other], Cure::kTwoBytes);
    if (others == 0 && MustBePcm()) {
      Subformat(24, WAVE_FORMAT_PCM, Cure::kTwoBytes);
      SetPcm();
      return;
    }
    Subformat(24, 0, Cure::kNone);
    if (others > 1) findings_.back().told.severity = WavSeverity::kHarmless;
  }

  void Subformat(std::uint32_t offset, std::uint32_t expected, Cure cure) {
    Add(findings_, "tag-unknown", kFormat, chunk_.Payload() + offset, Number(offset, 2), expected, cure);
  }

  void SetPcm() {
    f_.tag = WAVE_FORMAT_PCM;
    f_.framesPerBlock = 1;
    f_.compressed = false;
    resolved_ = true;
  }

  void CheckNumbers() {
    if (f_.compressed && !IsAdpcm(f_.tag)) return CheckOther();
    if (Agree(f_)) return CheckBits();
    const Field* right[std::size(kFields)] = {};
    std::size_t count = 0;
    const auto are = [&](const Field& first, const Field& second) {
      return count == 2 && right[0]->value == first.value && right[1]->value == second.value;
    };
    for (const Field& field : kFields) {
      Format changed = f_;
      const std::uint64_t value = FromOthers(f_, field);
      if (value == 0 || value > (field.cure == Cure::kTwoBytes ? 0xFFFFu : 0xFFFFFFFFu)) continue;
      changed.*field.value = static_cast<std::uint32_t>(value);
      if (value != f_.*field.value && Agree(changed)) right[count++] = &field;
    }
    if (are(kByteRate, kRate)) {
      // The sample rate is the wrong one only when it is an odd one, and the other numbers give a common one.
      const auto rate = static_cast<std::uint32_t>(FromOthers(f_, kRate));
      if (IsIn(kCommonRates, rate) && !IsIn(kCommonRates, f_.rate)) right[0] = right[1];
      count = 1;
    } else if (are(kBlock, kFrames)) {
      // Writers choose a round size for the block, and the frames follow from it.
      if (f_.block % 64 == 0) right[0] = right[1];
      count = 1;
    }
    if (count == 1) return Correct(*right[0], FromOthers(f_, *right[0]));
    if (count == 0 && TakeDerived()) return;
    if (given_ != nullptr) return TakeGiven();
    for (std::size_t i = 0; i < count; ++i) Report(*right[i], FromOthers(f_, *right[i]), Cure::kNone);
    if (count == 0) ReportAll();
    f_.block = 0;
  }

  // Block and byte rate follow from the others: these are believed when both are wrong.
  bool TakeDerived() {
    Format changed = f_;
    const std::uint64_t block = FromOthers(f_, kBlock);
    if (block == 0 || block > 0xFFFF || f_.channels > 256 || (!f_.compressed && f_.bits % 8 != 0))
      return false;
    changed.block = static_cast<std::uint32_t>(block);
    const std::uint64_t byteRate = ByteRate(changed);
    changed.byteRate = static_cast<std::uint32_t>(byteRate);
    if (byteRate > 0xFFFFFFFF || !Agree(changed)) return false;
    if (f_.byteRate != byteRate) Correct(kByteRate, byteRate);
    if (f_.block != block) Correct(kBlock, block);
    return true;
  }

  void ReportAll() {
    bool any = false;
    for (const Field& field : kFields) {
      if (f_.*field.value != 0 && (field.value != &Format::bits || BitsAreRight(f_))) continue;
      Report(field, 0, Cure::kNone);
      any = true;
    }
    if (!any) Report(kBlock, FromOthers(f_, kBlock), Cure::kNone);
  }

  // A format that has no rules here: what everybody divides by must not be 0.
  void CheckOther() {
    if (tag_ == kExtensible && chunk_.size < 40) return;
    bool zero = false;
    for (const Field& field : {kBlock, kChannels, kRate}) zero = zero || f_.*field.value == 0;
    if (zero && given_ != nullptr) return TakeGiven();
    for (const Field& field : {kBlock, kChannels, kRate}) {
      if (f_.*field.value == 0) Report(field, 0, Cure::kNone);
    }
  }

  void CheckBits() {
    if (f_.tag == WAVE_FORMAT_PCM && f_.bits % 8 != 0)
      Add(findings_, "bits-odd", kFormat, chunk_.Payload() + 14, f_.bits, (f_.bits + 7) / 8 * 8, Cure::kNone);
  }

  // Every field that the caller's format has otherwise; f_ is that format then.
  void TakeGiven() {
    if (tag_ != given_->tag)
      Add(findings_, "tag-wrong", kFormat, chunk_.Payload(), tag_, given_->tag, Cure::kTwoBytes);
    for (const Field& field : {kByteRate, kBlock, kChannels, kRate, kBits}) {
      if (f_.*field.value != given_->*field.value) Correct(field, given_->*field.value);
    }
    const std::uint32_t extra = f_.extra;
    f_ = *given_;
    f_.extra = extra;
    tag_ = f_.tag;
    resolved_ = true;
  }

  // The extra size fills the chunk. That of PCM means nothing.
  void CheckExtra() {
    if (chunk_.size < 18) {
      if (tag_ != WAVE_FORMAT_PCM)
        Add(findings_, "extra-size-missing", kFormat, chunk_.at + 4, chunk_.stated, 18, Cure::kNone);
      return;
    }
    const std::uint64_t right = std::min<std::uint64_t>(chunk_.size - 18, 0xFFFF);
    const std::uint32_t least = tag_ == kExtensible ? 22 : IsAdpcm(tag_) ? 2 : 0;
    if (f_.extra == right) return;
    Add(findings_, "extra-size-wrong", kFormat, chunk_.Payload() + 16, f_.extra, right, Cure::kTwoBytes);
    const bool readable = tag_ == WAVE_FORMAT_PCM || (f_.extra < right && f_.extra >= least);
    if (readable) findings_.back().told.severity = WavSeverity::kHarmless;
  }

  Reader& file_;
  const Chunk& chunk_;
  const Format* given_;
  Findings& findings_;
  Format f_;
  std::uint32_t tag_ = 0;  // of the chunk itself: that of an extensible format is in its extra bytes
  bool resolved_ = false;
};

}  // namespace

Format CheckFormat(Reader& file, const Chunk& chunk, const Format* given, Findings& findings) {
  return FormatCheck(file, chunk, given, findings).Run();
}

Format PcmFormat(const WAVEFORMATEX& wanted) {
  Format f;
  f.tag = WAVE_FORMAT_PCM;
  f.channels = wanted.nChannels;
  f.rate = wanted.nSamplesPerSec;
  f.bits = wanted.wBitsPerSample;
  const std::uint64_t block = FromOthers(f, kBlock), byteRate = block * f.rate;
  if (f.bits % 8 != 0 || block > 0xFFFF || byteRate > 0xFFFFFFFF) return {};
  f.block = static_cast<std::uint32_t>(block);
  f.byteRate = static_cast<std::uint32_t>(byteRate);
  return Agree(f) ? f : Format{};
}

}  // namespace cmm::check
