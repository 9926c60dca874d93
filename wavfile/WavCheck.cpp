#include "wavfile/WavCheck.h"

#include <memory>

#include "wavfile/check_copy.h"
#include "wavfile/check_findings.h"
#include "wavfile/check_format.h"

using namespace cmm::check;

namespace cmm {

namespace {

constexpr std::int32_t kRepaired = 1, kNothingToRepair = 2, kRefused = 0, kFailed = -1;

bool WriteInPlace(const char* path, const Findings& changes) {
  FileHandle file;
  if (!file.Open(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, OPEN_EXISTING)) return false;
  for (const Finding& change : changes) {
    std::uint8_t bytes[4];
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<std::uint8_t>(change.told.expected >> (8 * i));
    if (!file.Seek(static_cast<std::uint32_t>(change.told.offset)) ||
        !file.Write(bytes, Width(change.cure))) {
      return false;
    }
  }
  return file.Close();
}

// One repair: the changes are tried in memory, and written only when a check of the result finds nothing that
// is worse than harmless.
class Repair {
 public:
  Repair(FileReader& file, const WavRepair& how) : file_(file), how_(how), edited_(file) {
    if (how.format != nullptr) given_ = PcmFormat(*how.format);
  }

  std::int32_t Plan() {
    diagnosis_ = Diagnose(file_, how_.format);
    if (diagnosis_.IsHarmless()) return kNothingToRepair;
    // A change can bring to light what it was hidden by.
    constexpr int kMostRounds = 4;
    for (int round = 0; round < kMostRounds; ++round) {
      if (!CanRepair()) return kRefused;
      const bool byCopy = TakeChanges();
      if (byCopy) return PlanCopy();
      diagnosis_ = Diagnose(edited_, how_.format);
      if (diagnosis_.IsHarmless()) return kRepaired;
    }
    return kRefused;
  }

  bool Write(const char* path) {
    if (copy_ != nullptr) return WriteCopy(*copy_, how_.copyTo);
    if (how_.copyTo != nullptr) return WriteCopy(edited_, how_.copyTo);
    file_.Close();
    return WriteInPlace(path, changes_);
  }

  std::uint64_t Frames() const { return diagnosis_.frames; }
  const Findings& Changes() const { return changes_; }

 private:
  bool CanRepair() const {
    if (diagnosis_.map.Find(kData) == nullptr) return false;
    return std::all_of(
        diagnosis_.findings.begin(), diagnosis_.findings.end(), [this](const Finding& finding) {
          if (finding.cure == Cure::kCopy) return how_.copyTo != nullptr;
          return finding.cure != Cure::kNone || finding.told.severity == WavSeverity::kHarmless;
        });
  }

  // Whether a copy has to make some of them.
  bool TakeChanges() {
    bool byCopy = false;
    // The harmless ones go first: what is left to do after a crash must not look harmless.
    for (const bool harmless : {true, false}) {
      for (const Finding& finding : diagnosis_.findings) {
        if ((finding.told.severity == WavSeverity::kHarmless) != harmless) continue;
        if (finding.cure != Cure::kNone) changes_.push_back(finding);
        if (finding.cure == Cure::kCopy) byCopy = true;
      }
    }
    edited_.Edit(diagnosis_.findings);
    return byCopy;
  }

  std::int32_t PlanCopy() {
    copy_ = std::make_unique<CopyReader>(edited_, diagnosis_, given_);
    diagnosis_ = Diagnose(*copy_, how_.format);
    return diagnosis_.IsHarmless() ? kRepaired : kRefused;
  }

  FileReader& file_;
  const WavRepair& how_;
  Format given_;
  EditedReader edited_;
  Diagnosis diagnosis_;
  Findings changes_;
  std::unique_ptr<CopyReader> copy_;
};

}  // namespace

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
  Repair repair(file, how);
  const std::int32_t result = repair.Plan();
  if (file.HasFailed()) return kFailed;
  if (frames != nullptr && result != kRefused) *frames = repair.Frames();
  if (result != kRepaired) return result;
  if (!how.dryRun && !repair.Write(path)) return kFailed;
  for (const Finding& change : repair.Changes()) {
    if (changes != nullptr) changes(context, change.told);
  }
  return kRepaired;
} catch (...) {
  return kFailed;
}

}  // namespace cmm
