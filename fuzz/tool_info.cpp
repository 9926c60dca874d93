// Asks for all that cmm-info prints of any input. Run: build/clang/bin/tool_info -max_len=4096 CORPUS
//
// It starts from a few valid files of its own, so that an empty folder will do as CORPUS.
#include <cstring>
#include <optional>
#include <string>

#include "fuzz/tool_files.h"
#include "tools/findings.h"
#include "tools/json.h"
#include "tools/wav_length.h"
#include "tools/wav_text.h"
#include "wavfile/CMMWav.h"

namespace {

// A text in quotes, without a quote or a control character that is not escaped.
void IsJson(const std::string& text) {
  Require(text.size() >= 2 && text.front() == '"' && text.back() == '"');
  bool escaped = false;
  for (std::size_t i = 1; i + 1 < text.size(); ++i) {
    Require(static_cast<unsigned char>(text[i]) >= 0x20 && (escaped || text[i] != '"'));
    Require(!escaped || std::strchr("u\"\\", text[i]) != nullptr);
    escaped = !escaped && text[i] == '\\';
  }
  Require(!escaped);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const MemoryFile file;
  file.Set(data, size);
  IsJson(JsonString(std::string(data, data + size)));
  Require(!WhyUnreadable(file.path).empty());
  WayOut(file.path);
  RepairHint(file.path);
  bool read = false;
  for (const cmm::WavFinding& finding : Check(file.path, &read)) {
    IsJson(JsonString(finding.chunk));
    Require(cmm::CodeText(finding.code) != nullptr && SeverityName(finding.severity)[0] != '\0');
  }
  CMMWav wav;
  const bool opens = wav.Open(file.path.c_str()) == 1;
  const std::optional<WavSizes> sizes = ReadSizes(file.path);
  if (!sizes) return 0;
  Require(sizes->fileBytes == size && sizes->heldBytes <= size && sizes->heldBytes <= sizes->dataBytes);
  Require(!FormatName(sizes->format).empty() && !Describe(sizes->format).empty());
  const WavLength length = LengthOf(*sizes);
  if (length.seconds) Require(!TimeText(*length.seconds).empty());
  Require(HalfSecond(sizes->format.Format) > 0);
  if (opens) EndOfSound(wav, file.path);
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed) {
  return MutateFrom(ToolSeeds(), data, size, maxSize, seed);
}
