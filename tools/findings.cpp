#include "tools/findings.h"

#include <algorithm>
#include <string_view>

Findings Check(const std::string& file, bool* read) {
  Findings findings;
  *read = cmm::CheckWavFile(file.c_str(), Collect, &findings) >= 0;
  return findings;
}

void Collect(void* findings, const cmm::WavFinding& finding) {
  static_cast<Findings*>(findings)->push_back(finding);
}

const char* SeverityName(cmm::WavSeverity severity) {
  switch (severity) {
    case cmm::WavSeverity::kHarmless:
      return "harmless";
    case cmm::WavSeverity::kWrong:
      return "wrong";
    case cmm::WavSeverity::kUnreadable:
      return "unreadable";
  }
  return "";
}

bool AnyWrong(const Findings& findings) {
  return std::any_of(findings.begin(), findings.end(), [](const cmm::WavFinding& finding) {
    return finding.severity != cmm::WavSeverity::kHarmless;
  });
}

bool IsUnfinished(const Findings& findings) {
  return std::any_of(findings.begin(), findings.end(), [](const cmm::WavFinding& finding) {
    const std::string_view code = finding.code;
    return finding.severity != cmm::WavSeverity::kHarmless &&
           (code.ends_with("-size-placeholder") || code.ends_with("-size-stale"));
  });
}

std::string RepairHint(const std::string& file) {
  bool read = false;
  return IsUnfinished(Check(file, &read)) ? "cmm-repair makes it readable" : "";
}
