// Conversion of what is read: one stage through the platform, or a second one through the linear filters.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "resample/AudioLinearFilter.h"
#include "wavfile/CMMWav.h"
#include "wavfile/FormatBlock.h"
#include "wavfile/limits.h"

namespace {

constexpr DWORD kConvertFlags = ACM_STREAMCONVERTF_BLOCKALIGN | ACM_STREAMCONVERTF_END;

enum ConvertKind : std::uint32_t { kNone, kSingleStage, kTwoStages, kRefused };

// A buffer of the conversion, one byte larger than asked for; null when it is too large or memory is short.
BYTE* NewBuffer(std::uint32_t bytes) {
  if (bytes > kLargestSecond) return nullptr;
  return static_cast<BYTE*>(GlobalAlloc(GMEM_FIXED, std::size_t{bytes} + 1));
}

void FreeBuffer(BYTE*& buffer) {
  if (buffer != nullptr) GlobalFree(buffer);
  buffer = nullptr;
}

// The tag may change, or channels and rate may, but not both at once.
bool IsSupportedChange(const WAVEFORMATEX& source, const WAVEFORMATEX& target) {
  return source.wFormatTag == target.wFormatTag ||
         (source.nChannels == target.nChannels && source.nSamplesPerSec == target.nSamplesPerSec);
}

// Whether the filter can make a target within its buffer: the buffer holds a second by the byte rate, and the
// filter fills it by channels, bits and rate.
bool FitsFilter(const WAVEFORMATEX& source, const WAVEFORMATEX& target) {
  const std::uint32_t channels = target.nChannels;
  const std::uint32_t bits = target.wBitsPerSample;
  const bool tooMany = (bits == 16 && channels > 2) || (bits == 8 && channels > 4);
  return channels != 0 && !tooMany && target.nBlockAlign != 0 && target.nBlockAlign * 8u == channels * bits &&
         source.nSamplesPerSec != 0 && target.nSamplesPerSec != 0 &&
         target.nAvgBytesPerSec == std::uint64_t{target.nBlockAlign} * target.nSamplesPerSec;
}

}  // namespace

struct CMMWav::Conversion {
  // Whether a stream is open, for a file that is.
  static bool Begun(const CMMWav& wav) { return wav.fileOwners.IsOpen() && wav.conversionOwners.IsOpen(); }

  // Opens the stream and prepares header and buffers for one second of source. Gives the size of the stage's
  // output; on 0 the stream may be open, but there is no header and no buffer.
  static std::uint32_t BeginStage(CMMWav& wav, const WAVEFORMATEX& target, HACMDRIVER driver) {
    // The target was passed without the bytes after cbSize. Zeros replace them: a driver that needs them
    // refuses zeros, but does not read past the structure.
    const FormatBlock complete = NewFormat(target);
    if (complete == nullptr || !wav.conversionOwners.Begin()) return 0;
    if (acmStreamOpen(&wav.acmStream, driver, wav.srcFormat, complete.get(), nullptr, 0, 0,
                      ACM_STREAMOPENF_NONREALTIME) != 0) {
      wav.acmStream = nullptr;
      wav.conversionOwners.End();
      return 0;
    }
    acmDriverID(reinterpret_cast<HACMOBJ>(wav.acmStream), &wav.driverId, 0);
    DWORD stageBytes = 0;
    const std::uint32_t second = wav.srcFormat->nAvgBytesPerSec;
    if (acmStreamSize(wav.acmStream, second, &stageBytes, ACM_STREAMSIZEF_SOURCE) != 0) return 0;
    if (stageBytes == 0) return 0;  // nothing would ever come out
    if (!NewHeader(wav, second, stageBytes) ||
        acmStreamPrepareHeader(wav.acmStream, wav.streamHeader, 0) != 0) {
      FreeHeader(wav);
      return 0;
    }
    return stageBytes;
  }

  static bool NewHeader(CMMWav& wav, std::uint32_t second, std::uint32_t stageBytes) {
    auto* const header = new (std::nothrow) ACMSTREAMHEADER();
    if (header == nullptr) return false;
    wav.streamHeader = header;
    header->cbStruct = sizeof *header;
    header->pbSrc = NewBuffer(second);
    header->cbSrcLength = second;
    header->dwSrcUser = second;
    header->pbDst = NewBuffer(stageBytes);
    header->cbDstLength = stageBytes;
    header->dwDstUser = stageBytes;
    return header->pbSrc != nullptr && header->pbDst != nullptr;
  }

  static void FreeHeader(CMMWav& wav) {
    if (wav.streamHeader == nullptr) return;
    BYTE* source = wav.streamHeader->pbSrc;
    BYTE* output = wav.streamHeader->pbDst;
    FreeBuffer(source);
    FreeBuffer(output);
    delete wav.streamHeader;
    wav.streamHeader = nullptr;
  }

  // Whether a conversion is set up completely; a BeginConvert that failed may have left a stream open.
  static bool Ready(const CMMWav& wav) {
    return Begun(wav) && wav.streamHeader != nullptr && wav.dstFormat != nullptr;
  }

  // Clears all fields but the kind.
  static void Clear(CMMWav& wav) {
    wav.convertBuf = nullptr;
    wav.dstFormat = nullptr;
    wav.convertSize = 0;
    wav.driverId = nullptr;
    wav.acmStream = nullptr;
    wav.streamHeader = nullptr;
  }

  // Frames of the stage's output that the filter may be given, so that its own output fits into convertBuf
  // where its limit does not stop it: a copy at equal rates, and a limit of one frame on a first call.
  static std::uint32_t FramesFor(const CMMWav& wav, std::uint32_t frames, std::uint32_t limit) {
    const std::uint32_t rate = wav.srcFormat->nSamplesPerSec;
    if (rate == wav.dstFormat->nSamplesPerSec) {
      return std::min(frames, wav.convertSize / wav.dstFormat->nBlockAlign);
    }
    return limit == 1 && wav.firstBlock != 0 ? std::min(frames, rate) : frames;
  }
};

std::uint32_t CMMWav::BeginConvert(std::int32_t singleStage, WAVEFORMATEX target, std::uint8_t** outBuffer,
                                   HACMDRIVER driver) {
  if (outBuffer == nullptr || *outBuffer != nullptr) return 0;
  if (!fileOwners.IsOpen() || openMode != kReading || conversionOwners.IsOpen()) return 0;
  if (!IsSupportedChange(*srcFormat, target)) {
    convertKind = kRefused;
    return 0;
  }
  if (srcFormat->nBlockAlign == 0 || srcFormat->nAvgBytesPerSec == 0) return 0;
  const bool single = singleStage == 1;
  if (!single && !FitsFilter(*srcFormat, target)) return 0;
  Conversion::Clear(*this);  // a copy may have ended what the fields still refer to
  const std::uint32_t size =
      single ? BeginConvOnce(target, outBuffer, driver) : BeginConvTwice(target, outBuffer, driver);
  if (size == 0) return 0;
  convertKind = single ? kSingleStage : kTwoStages;
  dstFormat = new (std::nothrow) WAVEFORMATEX(target);
  if (dstFormat == nullptr) {
    *outBuffer = nullptr;
    return 0;
  }
  firstBlock = 1;
  return size;
}

std::uint32_t CMMWav::BeginConvOnce(WAVEFORMATEX target, std::uint8_t** outBuffer, HACMDRIVER driver) {
  const std::uint32_t stageBytes = Conversion::BeginStage(*this, target, driver);
  if (stageBytes == 0) return 0;
  *outBuffer = convertBuf = streamHeader->pbDst;
  return convertSize = stageBytes;
}

std::uint32_t CMMWav::BeginConvTwice(WAVEFORMATEX target, std::uint8_t** outBuffer, HACMDRIVER driver) {
  // The stage keeps the rate, and the filter alone changes it.
  WAVEFORMATEX intermediate = target;
  intermediate.nSamplesPerSec = srcFormat->nSamplesPerSec;
  intermediate.nAvgBytesPerSec = target.nBlockAlign * srcFormat->nSamplesPerSec;
  const std::uint32_t stageBytes = Conversion::BeginStage(*this, intermediate, driver);
  if (stageBytes == 0) return 0;
  // At equal rates the filter copies all that the stage delivers, which is more than a second where the
  // source states too large a byte rate.
  const bool copies = target.nSamplesPerSec == srcFormat->nSamplesPerSec;
  const std::uint32_t second = target.nAvgBytesPerSec;
  const std::uint32_t size = copies ? std::max(second, stageBytes) : second;
  convertBuf = NewBuffer(size);
  if (convertBuf == nullptr) {
    acmStreamUnprepareHeader(acmStream, streamHeader, 0);
    Conversion::FreeHeader(*this);
    return 0;
  }
  *outBuffer = convertBuf;
  return convertSize = size;
}

std::int32_t CMMWav::Convert(std::uint32_t bytes, std::uint32_t* outBytes) {
  if (outBytes == nullptr) return 0;
  *outBytes = 0;
  if (!Conversion::Ready(*this) || bytes > srcFormat->nAvgBytesPerSec) return 0;
  std::uint32_t got = 0;
  if (Read(bytes, streamHeader->pbSrc, &got) == 0 || got == 0) return 0;
  // After the call the header gets back the length that it was prepared with.
  const DWORD savedLength = streamHeader->cbSrcLength;
  streamHeader->cbSrcLength = std::min<DWORD>(savedLength, got);
  MMRESULT result;
  if (convertKind == kSingleStage) {
    result = acmStreamConvert(acmStream, streamHeader, kConvertFlags);
    *outBytes = streamHeader->cbDstLengthUsed;
  } else {
    result = softStreamConvert(acmStream, streamHeader, kConvertFlags, outBytes);
  }
  streamHeader->cbSrcLength = savedLength;
  return result == 0;
}

std::uint32_t CMMWav::Convert() {
  if (!Conversion::Ready(*this)) return 0;
  std::uint32_t outBytes = 0;
  Convert(srcFormat->nAvgBytesPerSec, &outBytes);
  return outBytes;
}

MMRESULT CMMWav::softStreamConvert(HACMSTREAM stream, ACMSTREAMHEADER* header, DWORD flags,
                                   std::uint32_t* outBytes) {
  const MMRESULT result = acmStreamConvert(stream, header, flags);
  const std::uint32_t block = dstFormat->nBlockAlign;
  const std::uint32_t limit = dstFormat->nAvgBytesPerSec / block;  // one second
  const std::uint32_t frames = Conversion::FramesFor(*this, header->cbDstLengthUsed / block, limit);
  const std::uint32_t from = srcFormat->nSamplesPerSec;
  const std::uint32_t to = dstFormat->nSamplesPerSec;
  if (dstFormat->wBitsPerSample == 16) {
    AudioLinearFilter16(reinterpret_cast<const std::int16_t*>(header->pbDst), frames, from,
                        reinterpret_cast<std::int16_t*>(convertBuf), outBytes, to, limit, firstBlock,
                        dstFormat->nChannels);
  } else if (dstFormat->wBitsPerSample == 8) {
    AudioLinearFilter8(header->pbDst, frames, from, convertBuf, outBytes, to, limit, firstBlock,
                       dstFormat->nChannels);
  }
  firstBlock = 0;
  *outBytes *= block;
  return result;
}

std::uint32_t CMMWav::GetConvertSize() {
  return Conversion::Begun(*this) ? convertSize : 0;
}

std::uint8_t* CMMWav::GetConvertBuf() {
  return Conversion::Ready(*this) ? convertBuf : nullptr;
}

std::uint32_t CMMWav::EndConvert() {
  if (!conversionOwners.IsOpen()) return 0;
  if (streamHeader != nullptr) acmStreamUnprepareHeader(acmStream, streamHeader, 0);
  acmStreamClose(acmStream, 0);
  if (streamHeader != nullptr) {
    Conversion::FreeHeader(*this);
    if (convertKind == kTwoStages) FreeBuffer(convertBuf);
  }
  delete dstFormat;
  Conversion::Clear(*this);
  convertKind = kNone;
  conversionOwners.End();
  return 1;
}
