#include "wavfile/check_codes.h"

#include <cstring>

#include "wavfile/check_findings.h"

namespace cmm {

namespace check {

const Code* FindCode(const char* name) {
  for (const Code& code : kCodes) {
    if (name != nullptr && std::strcmp(code.name, name) == 0) return &code;
  }
  return nullptr;
}

void Add(Findings& findings, const char* code, std::uint32_t chunk, std::uint64_t offset, std::uint64_t found,
         std::uint64_t expected, Cure cure) {
  const Code& entry = *FindCode(code);
  WavFinding told = {entry.name, entry.severity, offset, found, expected, {}};
  for (int i = 0; i < 4; ++i) {
    const char letter = static_cast<char>(chunk >> (8 * i));
    told.chunk[i] = letter >= 0x20 && letter <= 0x7E ? letter : '?';
  }
  findings.push_back({told, cure});
}

}  // namespace check

const char* CodeText(const char* code) {
  const check::Code* const entry = check::FindCode(code);
  return entry != nullptr ? entry->text : nullptr;
}

}  // namespace cmm
