#include "wavfile/WavCheck.h"

#include "wavfile/check_codes.h"
#include "wavfile/check_copy.h"
#include "wavfile/check_findings.h"
#include "wavfile/check_format.h"

using namespace cmm::check;

namespace cmm {

namespace {

constexpr std::int32_t kRepaired = 1, kNothingToRepair = 2, kRefused = 0, kFailed = -1;

// Whether the repair leaves nothing that is worse than harmless.
bool CanRepair(const Diagnosis& diagnosis, bool byCopy) {
  if (diagnosis.map.Find(kData) == nullptr) return false;
  return std::all_of(diagnosis.findings.begin(), diagnosis.findings.end(), [&](const Finding& finding) {
    if (finding.cure == Cure::kCopy) return byCopy;
    return finding.cure != Cure::kNone || finding.told.severity == WavSeverity::kHarmless;
  });
}

bool WriteInPlace(const char* path, const Findings& findings) {
  FileHandle file;
  if (!file.Open(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING)) return false;
  for (const Finding& finding : findings) {
    if (finding.cure == Cure::kNone) continue;
    std::uint8_t bytes[4];
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(finding.told.expected >> (8 * i));
    const std::uint32_t count = finding.cure == Cure::kTwoBytes ? 2 : 4;
    if (!file.Seek(static_cast<std::uint32_t>(finding.told.offset)) || !file.Write(bytes, count))
      return false;
  }
  return file.Close();
}

}  // namespace

namespace check {

const Code* FindCode(const char* name) {
  for (const Code& code : kCodes) {
    if (name != nullptr && std::strcmp(code.name, name) == 0) return &code;
  }
  return nullptr;
}

}  // namespace check

const char* CodeText(const char* code) {
  const Code* const entry = FindCode(code);
  return entry != nullptr ? entry->text : nullptr;
}

std::int32_t CheckWavFile(const char* path, WavFindingSink sink, void* context) try {
  FileReader file;
  if (!file.Open(path, FILE_SHARE_READ | FILE_SHARE_WRITE)) return kFailed;
  const Diagnosis diagnosis = Diagnose(file, nullptr);
  if (file.HasFailed()) return kFailed;
  for (const Finding& finding : diagnosis.findings) {
    if (sink != nullptr) sink(context, finding.told);
  }
  return static_cast<std::int32_t>(diagnosis.findings.size());
} catch (...) {
  return kFailed;
}

std::int32_t RepairWavFile(const char* path, const WavRepair& how, WavFindingSink changes, void* context,
                           std::uint64_t* frames) try {
  if (frames != nullptr) *frames = 0;
  FileReader file;
  // Not with FILE_SHARE_WRITE: so a copy onto the file itself is refused.
  if (!file.Open(path, FILE_SHARE_READ)) return kFailed;
  const Diagnosis diagnosis = Diagnose(file, how.format);
  if (file.HasFailed()) return kFailed;
  const bool whole = diagnosis.IsHarmless();
  if (!whole && !CanRepair(diagnosis, how.copyTo != nullptr)) return kRefused;
  if (frames != nullptr) *frames = diagnosis.frames;
  if (whole) return kNothingToRepair;
  if (!how.dryRun) {
    const Format given = how.format != nullptr ? PcmFormat(*how.format) : Format{};
    if (how.copyTo == nullptr) file.Close();
    if (!(how.copyTo != nullptr ? WriteCopy(file, diagnosis, given, how.copyTo)
                                : WriteInPlace(path, diagnosis.findings))) {
      return kFailed;
    }
  }
  for (const Finding& finding : diagnosis.findings) {
    if (changes != nullptr && finding.cure != Cure::kNone) changes(context, finding.told);
  }
  return kRepaired;
} catch (...) {
  return kFailed;
}

}  // namespace cmm
