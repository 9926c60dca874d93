// Takes any input apart as a path, in both code pages. Run:
//   build/clang/bin/path_parts -max_len=64 CORPUS
#include <string>
#include <vector>

#include "fuzz/wav_files.h"
#include "platform/posix/layer.h"
#include "units/PathHelpers.h"

namespace {

// What the functions give, put together again, is the path. Buffers have no byte to spare.
void Divide(const std::string& text) {
  const std::vector<char> path(text.c_str(), text.c_str() + text.size() + 1);
  std::vector<char> out(path.size());
  const char* const name = GetFileNamefromPass(path.data());
  Require(name >= path.data() && name < path.data() + path.size());
  const auto before = static_cast<std::size_t>(name - path.data());
  Require(DividePath(out.data(), path.data()) == 1);
  const std::string directory = out.data();
  Require(before == 0 ? directory.empty() : directory == text.substr(0, before - 1));
  Require(before == 0 || text.find_first_of("\\/:", before - 1) == before - 1);
  Require(DivideFileName(out.data(), path.data()) == 1);
  const std::string stem = out.data();
  Require(text.starts_with(stem) && (stem.empty() || text[stem.size()] == '.'));
  if (platform::CodePage() == 932) return;
  Require(text.find_first_of("\\/:", before) == std::string::npos);
  const std::size_t mark = text.rfind('.');
  Require(stem == (mark == std::string::npos ? "" : text.substr(0, mark)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(data, data + size);
  const std::string text = input.substr(0, input.find('\0'));
  for (const unsigned codePage : {932u, 65001u}) {
    platform::SetCodePage(codePage);
    Divide(text);
  }
  return 0;
}
