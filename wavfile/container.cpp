// The container layer: the RIFF chunks around the samples, read or written when the file is opened and
// completed when it is closed.
#include <utility>

#include "wavfile/CMMWav.h"
#include "wavfile/FormatBlock.h"

namespace {

constexpr FOURCC kWave = mmioFOURCC('W', 'A', 'V', 'E');
constexpr FOURCC kFormat = mmioFOURCC('f', 'm', 't', ' ');
constexpr FOURCC kFact = mmioFOURCC('f', 'a', 'c', 't');
constexpr FOURCC kData = mmioFOURCC('d', 'a', 't', 'a');
constexpr LONG kPcmFormatSize = 16;                  // a format without its last field, the extra size
constexpr std::uint32_t kNoFrameCount = 0xFFFFFFFF;  // in the "fact" chunk until the file is finished

bool ReadExactly(HMMIO file, void* data, LONG count) {
  return mmioRead(file, static_cast<HPSTR>(data), count) == count;
}

bool WriteExactly(HMMIO file, const void* data, LONG count) {
  return mmioWrite(file, static_cast<const char*>(data), count) == count;
}

// Flushes the file's buffer, so that the position counts the bytes that the disk really has.
// @return those bytes of data, or `written` where the position is not known
std::uint32_t BytesOnDisk(HMMIO file, const MMCKINFO& data, std::uint32_t written) {
  mmioFlush(file, 0);
  const LONG end = mmioSeek(file, 0, SEEK_CUR);
  if (end == -1) return written;
  const auto position = static_cast<std::uint32_t>(end);
  return position > data.dwDataOffset ? position - data.dwDataOffset : 0;
}

// Replaces the placeholders of the sizes and of the frame count.
bool FinishHeader(HMMIO file, MMCKINFO* data, MMCKINFO* riff, std::uint32_t frames) {
  // On a disk without room for the pad byte both fail, but write the right sizes: go on.
  const bool dataEnded = mmioAscend(file, data, 0) == 0;
  const bool riffEnded = mmioAscend(file, riff, 0) == 0;
  mmioSeek(file, 0, SEEK_SET);
  if (mmioDescend(file, riff, nullptr, 0) != 0) return false;
  data->ckid = kFact;
  if (mmioDescend(file, data, riff, MMIO_FINDCHUNK) == 0) {
    WriteExactly(file, &frames, sizeof(frames));
    mmioAscend(file, data, 0);
  }
  return mmioAscend(file, riff, 0) == 0 && dataEnded && riffEnded;
}

}  // namespace

std::int32_t CMMWav::ReadMMIO(HMMIO file, MMCKINFO* riff, WAVEFORMATEX** format) {
  if (*format != nullptr) return 0;
  // The RIFF size is not compared with the file's: it only ends the search for chunks.
  if (mmioDescend(file, riff, nullptr, 0) != 0 || riff->ckid != FOURCC_RIFF || riff->fccType != kWave)
    return 0;
  MMCKINFO chunk = {};
  chunk.ckid = kFormat;
  if (mmioDescend(file, &chunk, riff, MMIO_FINDCHUNK) != 0 || chunk.cksize < kPcmFormatSize) return 0;
  WAVEFORMATEX found = {};
  if (!ReadExactly(file, &found, kPcmFormatSize)) return 0;
  // The extra size of a PCM format has no meaning, and is not read.
  const bool pcm = found.wFormatTag == WAVE_FORMAT_PCM;
  if (!pcm && !ReadExactly(file, &found.cbSize, sizeof(found.cbSize))) return 0;
  FormatBlock block = NewFormat(found);
  if (block == nullptr || !ReadExactly(file, block.get() + 1, found.cbSize) ||
      mmioAscend(file, &chunk, 0) != 0) {
    return 0;
  }
  *format = block.release();
  return 1;
}

std::int32_t CMMWav::WriteMMIO(HMMIO file, MMCKINFO* scratch, MMCKINFO* riff, WAVEFORMATEX* format) {
  riff->fccType = kWave;
  riff->cksize = 0;
  if (mmioCreateChunk(file, riff, MMIO_CREATERIFF) != 0) return 0;
  scratch->ckid = kFormat;
  scratch->cksize = kPcmFormatSize;
  if (mmioCreateChunk(file, scratch, 0) != 0) return 0;
  const bool pcm = format->wFormatTag == WAVE_FORMAT_PCM;
  const LONG size = pcm ? kPcmFormatSize : static_cast<LONG>(sizeof(WAVEFORMATEX)) + format->cbSize;
  if (!WriteExactly(file, format, size) || mmioAscend(file, scratch, 0) != 0) return 0;
  MMCKINFO fact = {};
  fact.ckid = kFact;
  if (mmioCreateChunk(file, &fact, 0) != 0 || !WriteExactly(file, &kNoFrameCount, sizeof(kNoFrameCount)))
    return 0;
  return mmioAscend(file, &fact, 0) == 0;
}

std::int32_t CMMWav::OpenFileR(char* path, HMMIO* file, WAVEFORMATEX** format, MMCKINFO* riff) {
  // MMIO_ALLOCBUF: the platform decides the buffer's length; outside Windows it is kBufferSize of the layer.
  HMMIO const opened = mmioOpenA(path, nullptr, MMIO_ALLOCBUF | MMIO_READ);
  if (opened == nullptr) return 0;
  if (ReadMMIO(opened, riff, format) == 0) {
    mmioClose(opened, 0);
    return 0;
  }
  *file = opened;
  return 1;
}

std::int32_t CMMWav::OpenFileW(char* path, HMMIO* file, WAVEFORMATEX* format, MMCKINFO* scratch,
                               MMCKINFO* riff) {
  // CloseW reads the header back, so the file is opened for reading too.
  HMMIO const opened = mmioOpenA(path, nullptr, MMIO_ALLOCBUF | MMIO_CREATE | MMIO_READWRITE);
  if (opened == nullptr) return 0;
  if (WriteMMIO(opened, scratch, riff, format) == 0) {
    mmioClose(opened, 0);
    return 0;
  }
  *file = opened;
  return 1;
}

std::int32_t CMMWav::ResetR() {
  // From the start of the RIFF chunk, since "data" may come before "fmt ".
  const std::uint32_t first = riffChunk.dwDataOffset + sizeof(FOURCC);
  if (mmioSeek(hmmio, static_cast<LONG>(first), SEEK_SET) == -1) return 0;
  dataChunk.ckid = kData;
  if (mmioDescend(hmmio, &dataChunk, &riffChunk, MMIO_FINDCHUNK) != 0) return 0;
  dataBytes = dataChunk.cksize;
  return 1;
}

std::int32_t CMMWav::ResetW() {
  dataChunk.cksize = 0;
  dataChunk.ckid = kData;
  if (mmioCreateChunk(hmmio, &dataChunk, 0) != 0) return 0;
  // On the disk before the first sample: what a program that is killed leaves can then always be repaired.
  if (mmioFlush(hmmio, 0) != 0) return 0;
  if (mmioGetInfo(hmmio, &mmioInfo, 0) != 0) return 0;
  dataBytes = 0;
  return 1;
}

std::int32_t CMMWav::CloseR() {
  const bool closed = mmioClose(hmmio, 0) == 0;
  FreeFormat()(std::exchange(srcFormat, nullptr));
  return closed;
}

// With 0 the frames are counted.
std::int32_t CMMWav::CloseW(std::uint32_t frames) {
  bool finished = mmioInfo.pchBuffer != nullptr;  // otherwise an Open has failed before the data
  if (finished) {
    mmioInfo.dwFlags |= MMIO_DIRTY;
    // Refused when a copy has advanced the buffer: the file is then finished with what has left the buffer.
    finished = mmioSetInfo(hmmio, &mmioInfo, 0) == 0;
    const std::uint32_t held = BytesOnDisk(hmmio, dataChunk, dataBytes);
    if (held < dataBytes) finished = false;
    dataBytes = held;
    if (!FinishHeader(hmmio, &dataChunk, &riffChunk, frames != 0 ? frames : GetSampleSize())) {
      finished = false;
    }
  }
  FreeFormat()(std::exchange(srcFormat, nullptr));
  // Closed in any case: what could not be finished is no reason to keep the handle.
  return mmioClose(hmmio, 0) == 0 && finished;
}
