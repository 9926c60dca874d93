#include "tools/wav_text.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "tools/findings.h"
#include "tools/paths.h"

namespace fs = std::filesystem;

namespace {

std::string HeaderReason(std::ifstream& file) {
  unsigned char header[12] = {};
  file.read(reinterpret_cast<char*>(header), sizeof header);
  if (file.gcount() < 12) return "too short to be a WAV file";
  if (std::memcmp(header, "RIFF", 4) != 0) return "not a RIFF file";
  if (std::memcmp(header + 8, "WAVE", 4) != 0) return "a RIFF file, but not of form WAVE";
  return "a WAV file whose format or data chunk is missing or damaged";
}

}  // namespace

std::string FormatName(unsigned tag) {
  switch (tag) {
    case 1:
      return "PCM";
    case 2:
      return "MS ADPCM";
    case 3:
      return "IEEE float";
    case 6:
      return "A-law";
    case 7:
      return "mu-law";
    case 0x11:
      return "IMA ADPCM";
    case 0xFFFE:
      return "extensible";
    default:
      return "format";
  }
}

std::string TimeText(double seconds) {
  const long long hundredths = std::llround(seconds * 100.0);
  char text[40];
  std::snprintf(text, sizeof text, "%02lld:%02lld.%02lld", hundredths / 6000, hundredths / 100 % 60,
                hundredths % 100);
  return text;
}

std::string WhyUnreadable(const std::string& name) {
  const fs::path path = NativePath(name);
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (status.type() == fs::file_type::not_found) return "there is no such file";
  if (fs::is_directory(status)) return "it is a folder";
  if (error) return error.message();
  std::ifstream file(path, std::ios::binary);
  if (!file) return "it cannot be opened for reading (no permission?)";
  if (const std::string hint = RepairHint(name); !hint.empty()) {
    return "never finished, its sizes are not filled in; " + hint;
  }
  return HeaderReason(file);
}
