// The object: construction, copies, Open, Close, Reset.
#include <cstring>
#include <memory>
#include <new>

#include "wavfile/modes.h"
#include "wavfile/share.h"

namespace {

// A new copy of a text; null when memory is short.
char* CopyText(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  char* const copy = new (std::nothrow) char[size];
  return copy != nullptr ? static_cast<char*>(std::memcpy(copy, text, size)) : nullptr;
}

void ReleaseText(char** text) {
  delete[] * text;
  *text = nullptr;
}

// Room for a full path: the usual length without an allocation.
class PathRoom {
 public:
  // At least that many bytes; null when memory is short.
  char* Get(std::size_t size) {
    if (size <= sizeof(usual_)) return usual_;
    long_.reset(new (std::nothrow) char[size]);
    return long_.get();
  }

 private:
  char usual_[260];
  std::unique_ptr<char[]> long_;
};

}  // namespace

struct CMMWav::Opening {
  PathRoom room;

  // Sets mode and names. Gives the full path, or null.
  char* Begin(CMMWav& wav, std::uint32_t mode, const char* file, const char* directory) {
    wav.openMode = mode;
    wav.pathName = CopyText(directory != nullptr ? directory : "");
    if (wav.pathName == nullptr || file == nullptr) return nullptr;
    wav.fileName = CopyText(file);
    if (wav.fileName == nullptr) return nullptr;
    char* const path = room.Get(std::strlen(wav.pathName) + sizeof("\\") + std::strlen(file));
    return path != nullptr && wav.FullPath(path, wav.fileName, wav.pathName) != 0 ? path : nullptr;
  }

  // The format of a file to be written: always PCM, with what follows from the sizes computed.
  static WAVEFORMATEX* NewFormat(CMMWav& wav, const WAVEFORMATEX& wanted) {
    WAVEFORMATEX* const format = Share::NewFormat(&wav, 0);
    if (format == nullptr) return nullptr;
    const auto blockAlign = static_cast<std::uint16_t>((wanted.wBitsPerSample >> 3) * wanted.nChannels);
    *format = {
        WAVE_FORMAT_PCM, wanted.nChannels,      wanted.nSamplesPerSec, blockAlign * wanted.nSamplesPerSec,
        blockAlign,      wanted.wBitsPerSample, wanted.cbSize};
    return format;
  }

  // Hands the cursor back and writes all out, so that what follows counts the bytes that the disk really has.
  // Gives false when those are fewer than Write has taken.
  static bool SettleData(CMMWav& wav) {
    wav.mmioInfo.dwFlags |= MMIO_DIRTY;
    if (mmioSetInfo(wav.hmmio, &wav.mmioInfo, 0) != 0) return true;  // no data yet; CloseW fails the same way
    mmioFlush(wav.hmmio, 0);
    const LONG end = mmioSeek(wav.hmmio, 0, SEEK_CUR);
    mmioGetInfo(wav.hmmio, &wav.mmioInfo, 0);
    if (end == -1) return true;  // beyond what a position can say, so no short disk
    const std::uint32_t start = wav.dataChunk.dwDataOffset;
    const std::uint32_t held =
        static_cast<std::uint32_t>(end) > start ? static_cast<std::uint32_t>(end) - start : 0;
    const bool complete = held >= wav.dataBytes;
    wav.dataBytes = complete ? wav.dataBytes : held;
    return complete;
  }
};

CMMWav::CMMWav()
    : fileName(nullptr),
      pathName(nullptr),
      convertBuf(nullptr),
      srcFormat(nullptr),
      dstFormat(nullptr),
      hmmio(nullptr),
      mmioInfo(),
      dataChunk(),
      riffChunk(),
      openMode(kClosed),
      dataBytes(0),
      convertSize(0),
      driverId(nullptr),
      acmStream(nullptr),
      streamHeader(nullptr),
      convertKind(0),
      firstBlock(1) {}

CMMWav::CMMWav(const CMMWav& other) {
  Share::CopyFields(*this, other);
  if (srcFormat != nullptr) ++Share::Of(*this)->sharers;
}

CMMWav& CMMWav::operator=(const CMMWav& other) {
  if (this == &other) return *this;
  Share::GiveUp(*this);
  Share::CopyFields(*this, other);
  if (srcFormat != nullptr) ++Share::Of(*this)->sharers;
  return *this;
}

CMMWav::~CMMWav() {
  Share::GiveUp(*this);
}

std::int32_t CMMWav::Open(const char* file, const char* directory) {
  if (Share::Live(*this)) return 0;
  Opening opening;
  char* const path = opening.Begin(*this, kReading, file, directory);
  if (path != nullptr && OpenFileR(path, &hmmio, &srcFormat, &riffChunk) != 0 && ResetR() != 0) return 1;
  Close(0);
  return 0;
}

std::int32_t CMMWav::Open(WAVEFORMATEX format, const char* file, const char* directory) {
  if (Share::Live(*this)) return 0;
  Opening opening;
  char* const path = opening.Begin(*this, kWriting, file, directory);
  mmioInfo = MMIOINFO();  // no cursor until ResetW takes one
  if (path != nullptr && (srcFormat = Opening::NewFormat(*this, format)) != nullptr &&
      OpenFileW(path, &hmmio, srcFormat, &dataChunk, &riffChunk) != 0 && ResetW() != 0) {
    return 1;
  }
  Close(0);
  return 0;
}

std::int32_t CMMWav::FullPath(char* out, const char* file, const char* directory) {
  if (*file == '\0') return 0;
  std::size_t length = std::strlen(directory);
  std::memcpy(out, directory, length);
  if (length > 0 && directory[length - 1] != '\\') out[length++] = '\\';
  std::memcpy(out + length, file, std::strlen(file) + 1);
  return 1;
}

std::int32_t CMMWav::Close(std::uint32_t frames) {
  Share::Live(*this);
  EndConvert();
  const bool last = Share::Last(*this);
  std::int32_t result;
  if (openMode == kReading) {
    result = CloseR();
  } else if (openMode == kWriting) {
    const bool complete = Opening::SettleData(*this);
    result = CloseW(frames != 0 ? frames : GetSampleSize());
    if (!complete) result = 0;
  } else {
    return 0;
  }
  // Copies may still hold the names: the last to let go releases them.
  if (last) {
    ReleaseText(&pathName);
    ReleaseText(&fileName);
  }
  pathName = fileName = nullptr;
  hmmio = nullptr;
  dataBytes = 0;
  openMode = kClosed;
  return result;
}

std::int32_t CMMWav::Reset() {
  // A file being written has one "data" chunk, which has begun already.
  return Share::Live(*this) && openMode == kReading ? ResetR() : 0;
}
