// The object: construction, copies, Open, Close, Reset.
#include <cstring>
#include <memory>
#include <new>
#include <tuple>

#include "wavfile/CMMWav.h"
#include "wavfile/FormatBlock.h"

namespace {

// A new copy of a text; null when memory is short.
char* CopyText(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  char* const copy = new (std::nothrow) char[size];
  return copy != nullptr ? static_cast<char*>(std::memcpy(copy, text, size)) : nullptr;
}

void ReleaseText(char*& text) {
  delete[] text;
  text = nullptr;
}

}  // namespace

struct CMMWav::Object {
  // Begins an opening: from here on Close releases what there is. Gives the full path; null when there is
  // none, or memory is short.
  static std::unique_ptr<char[]> BeginOpen(CMMWav& wav, OpenMode mode, const char* file,
                                           const char* directory) {
    wav = CMMWav();  // a copy may have closed what the fields still refer to
    if (!wav.fileOwners.Begin()) return nullptr;
    wav.openMode = mode;
    wav.pathName = CopyText(directory != nullptr ? directory : "");
    if (wav.pathName == nullptr || file == nullptr) return nullptr;
    wav.fileName = CopyText(file);
    if (wav.fileName == nullptr) return nullptr;
    const std::size_t size = std::strlen(wav.pathName) + sizeof("\\") + std::strlen(file);
    std::unique_ptr<char[]> path(new (std::nothrow) char[size]);
    if (path != nullptr && wav.FullPath(path.get(), wav.fileName, wav.pathName) == 0) path.reset();
    return path;
  }

  // The format of a file to be written: always PCM, with what follows from the sizes computed.
  static FormatBlock FormatToWrite(const WAVEFORMATEX& wanted) {
    const auto blockAlign = static_cast<std::uint16_t>((wanted.wBitsPerSample >> 3) * wanted.nChannels);
    return NewFormat({WAVE_FORMAT_PCM, wanted.nChannels, wanted.nSamplesPerSec,
                      blockAlign * wanted.nSamplesPerSec, blockAlign, wanted.wBitsPerSample, wanted.cbSize});
  }

  // Ends and closes what no copy has open.
  static void Release(CMMWav& wav) {
    if (wav.conversionOwners.IsLast()) wav.EndConvert();
    if (wav.fileOwners.IsLast()) wav.Close(0);
  }

  // All fields, for assignment.
  static auto Fields(auto& wav) {
    return std::tie(wav.fileName, wav.pathName, wav.convertBuf, wav.srcFormat, wav.dstFormat, wav.hmmio,
                    wav.mmioInfo, wav.dataChunk, wav.riffChunk, wav.openMode, wav.dataBytes, wav.convertSize,
                    wav.driverId, wav.acmStream, wav.streamHeader, wav.convertKind, wav.firstBlock,
                    wav.fileOwners, wav.conversionOwners);
  }
};

CMMWav::CMMWav() = default;

CMMWav::CMMWav(const CMMWav& other) = default;

CMMWav& CMMWav::operator=(const CMMWav& other) {
  if (this == &other) return *this;
  Object::Release(*this);
  Object::Fields(*this) = Object::Fields(other);
  return *this;
}

CMMWav::~CMMWav() {
  Object::Release(*this);
}

std::int32_t CMMWav::Open(const char* file, const char* directory) {
  if (fileOwners.IsOpen()) return 0;
  const std::unique_ptr<char[]> path = Object::BeginOpen(*this, kReading, file, directory);
  if (path != nullptr && OpenFileR(path.get(), &hmmio, &srcFormat, &riffChunk) != 0 && ResetR() != 0) {
    return 1;
  }
  Close(0);
  return 0;
}

std::int32_t CMMWav::Open(WAVEFORMATEX format, const char* file, const char* directory) {
  if (fileOwners.IsOpen()) return 0;
  const std::unique_ptr<char[]> path = Object::BeginOpen(*this, kWriting, file, directory);
  if (path != nullptr) srcFormat = Object::FormatToWrite(format).release();
  if (srcFormat != nullptr && OpenFileW(path.get(), &hmmio, srcFormat, &dataChunk, &riffChunk) != 0 &&
      ResetW() != 0) {
    return 1;
  }
  Close(0);
  return 0;
}

std::int32_t CMMWav::FullPath(char* out, const char* file, const char* directory) {
  if (*file == '\0') return 0;
  const std::size_t length = std::strlen(directory);
  std::strcpy(out, directory);
  if (length > 0 && directory[length - 1] != '\\') std::strcat(out, "\\");
  std::strcat(out, file);
  return 1;
}

std::int32_t CMMWav::Close(std::uint32_t frames) {
  EndConvert();
  if (!fileOwners.IsOpen()) return 0;
  const std::int32_t result = openMode == kReading ? CloseR() : CloseW(frames);
  ReleaseText(pathName);
  ReleaseText(fileName);
  hmmio = nullptr;
  dataBytes = 0;
  openMode = kClosed;
  fileOwners.End();
  return result;
}

std::int32_t CMMWav::Reset() {
  // A file being written has one "data" chunk, which has begun already.
  return fileOwners.IsOpen() && openMode == kReading ? ResetR() : 0;
}
