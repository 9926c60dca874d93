#include "wavfile/check_format.h"

#include <iterator>

namespace cmm::check {

namespace {

class FormatCheck {
 public:
  FormatCheck(Reader& file, const Chunk& chunk, const Format* given, Findings& findings)
      : file_(file), chunk_(chunk), given_(given), findings_(findings) {}

  Format Run() {
    // With the byte behind it for its last one, it only states one too few.
    if (chunk_.size + 1 == kSmallestFormat && chunk_.padded) {
      Add(findings_, "fmt-short", kFormat, chunk_.at + 4, chunk_.stated, kSmallestFormat, Cure::kFourBytes);
      chunk_.size = kSmallestFormat;
    }
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
    const bool known = IsKnownTag(f_.tag);
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
    const bool known = IsKnownTag(f_.tag);
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
      if (IsCommonRate(rate) && !IsCommonRate(f_.rate)) right[0] = right[1];
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
    if (f_.tag != WAVE_FORMAT_PCM || f_.bits % 8 == 0) return;
    Add(findings_, "bits-odd", kFormat, chunk_.Payload() + 14, f_.bits, BytesOfChannel(f_) * 8, Cure::kNone);
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
  Chunk chunk_;
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

}  // namespace cmm::check
