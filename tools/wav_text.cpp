#include "tools/wav_text.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "tools/findings.h"
#include "tools/paths.h"

namespace fs = std::filesystem;

namespace {

struct Code {
  unsigned code;
  const char* name;
};
// clang-format off
constexpr Code kCodes[] = {
    {0x01, "PCM"}, {0x02, "MS ADPCM"}, {0x03, "IEEE float"}, {0x06, "A-law"}, {0x07, "mu-law"}, {0x08, "DTS"},
    {0x10, "OKI ADPCM"}, {0x11, "IMA ADPCM"}, {0x14, "G.723 ADPCM"}, {0x20, "Yamaha ADPCM"}, {0x22, "TrueSpeech"},
    {0x31, "GSM 6.10"}, {0x40, "G.721 ADPCM"}, {0x42, "G.723.1"}, {0x45, "G.726 ADPCM"}, {0x50, "MPEG audio"},
    {0x55, "MP3"}, {0x57, "AMR-NB"}, {0x58, "AMR-WB"}, {0x64, "G.726 ADPCM"}, {0x65, "G.722 ADPCM"}, {0x83, "G.729"},
    {0x92, "AC-3"}, {0xFF, "AAC"}, {0x160, "WMA 1"}, {0x161, "WMA 2"}, {0x162, "WMA Pro"}, {0x163, "WMA lossless"},
    {0x270, "ATRAC3"}, {0x28F, "G.722 ADPCM"}, {0x566F, "Vorbis"}, {0x674F, "Vorbis"}, {0x6750, "Vorbis"},
    {0x6751, "Vorbis"}, {0x676F, "Vorbis"}, {0x6770, "Vorbis"}, {0x6771, "Vorbis"}, {0x704F, "Opus"}, {0x1600, "AAC"},
    {0x1602, "AAC"}, {0x1610, "AAC"}, {0x2000, "AC-3"}, {0x2001, "DTS"}, {0x7A21, "AMR-NB"}, {0x7A22, "AMR-WB"},
    {0xA106, "AAC"}, {0xA109, "Speex"}, {0xF1AC, "FLAC"}};
// clang-format on

// What other files begin with, and where.
struct Mark {
  std::size_t at;
  std::string_view bytes;
  const char* name;
};
constexpr std::string_view kW64("riff\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\0\0", 16);
// clang-format off
constexpr Mark kMarks[] = {
    {0, "RF64", "RF64"}, {0, kW64, "W64"}, {0, "RIFX", "RIFX"}, {8, "AIFF", "AIFF"}, {8, "AIFC", "AIFC"},
    {0, ".snd", "AU"}, {0, "caff", "CAF"}, {0, "fLaC", "FLAC"}, {0, "OggS", "Ogg"}, {0, "ID3", "MP3"},
    {0, "\xFF\xFB", "MP3"}, {0, "\xFF\xFA", "MP3"}, {0, "\xFF\xF3", "MP3"}, {0, "\xFF\xF1", "AAC"},
    {0, "\xFF\xF9", "AAC"}, {4, "ftyp", "MP4/M4A"}, {8, "AVI ", "AVI"}, {0, "\x1A\x45\xDF\xA3", "Matroska"},
    {0, "\x30\x26\xB2\x75", "WMA"}, {0, "wvpk", "WavPack"}, {0, "MAC ", "Monkey's Audio"}, {0, "#!AMR", "AMR"},
    {0, "TTA1", "TTA"}, {0, "DSD ", "DSF"}, {0, "NIST_1A", "NIST"}, {0, "Creative Voice", "VOC"}};
// clang-format on

std::string HeaderReason(const std::string& name, std::ifstream& file) {
  const std::string container = ContainerName(name);
  if (container == "RF64" || container == "W64") {
    return container + ", not RIFF; cmm-convert \"" + name + "\" out.wav makes a WAV file of it";
  }
  if (!container.empty()) return container + ", not WAV; " + WayOut(name);
  unsigned char header[12] = {};
  file.read(reinterpret_cast<char*>(header), sizeof header);
  if (file.gcount() < 12) return "too short to be a WAV file";
  if (std::memcmp(header, "RIFF", 4) != 0) return "not a RIFF file";
  if (std::memcmp(header + 8, "WAVE", 4) != 0) return "a RIFF file, but not of form WAVE";
  return "a WAV file whose format or data chunk is missing or damaged";
}

// The format code inside an extensible format; the tag of any other.
unsigned CodeOf(const WAVEFORMATEXTENSIBLE& format) {
  static constexpr unsigned char kRest[] = {0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
  const auto* const rest = reinterpret_cast<const unsigned char*>(&format + 1) - sizeof kRest;
  const unsigned tag = format.Format.wFormatTag;
  const bool hasCode = tag == WAVE_FORMAT_EXTENSIBLE && std::memcmp(rest, kRest, sizeof kRest) == 0;
  return hasCode ? static_cast<unsigned>(format.SubFormat.Data1) : tag;
}

}  // namespace

std::string FormatName(const WAVEFORMATEXTENSIBLE& format) {
  const unsigned code = CodeOf(format);
  if (code == WAVE_FORMAT_EXTENSIBLE) return "extensible";
  std::string name = "format " + std::to_string(code);
  for (const Code& known : kCodes) {
    if (known.code == code) name = known.name;
  }
  return format.Format.wFormatTag == WAVE_FORMAT_EXTENSIBLE ? name + " (extensible)" : name;
}

std::string Describe(const WAVEFORMATEXTENSIBLE& format) {
  const unsigned channels = format.Format.nChannels;
  const unsigned bits = format.Format.wBitsPerSample;
  return FormatName(format) + ", " + std::to_string(format.Format.nSamplesPerSec) + " Hz, " +
         std::to_string(channels) + (channels == 1 ? " channel" : " channels") +
         (bits != 0 ? ", " + std::to_string(bits) + " bits" : "");
}

std::string ContainerName(const std::string& name) {
  char header[32] = {};
  std::ifstream(NativePath(name), std::ios::binary).read(header, sizeof header);
  for (const Mark& mark : kMarks) {
    if (std::string_view(header + mark.at, mark.bytes.size()) == mark.bytes) return mark.name;
  }
  return "";
}

std::string WayOut(const std::string& name) {
  return "ffmpeg -i \"" + name + "\" out.wav makes a WAV file that can be read";
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
  return HeaderReason(name, file);
}
