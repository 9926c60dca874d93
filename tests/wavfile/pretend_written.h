#pragma once
// For files that are too large to be written byte by byte.

#include "tests/support/Private.h"
#include "tests/wavfile/wav_test.h"

PRIVATE_FIELD(Handle, CMMWav, HMMIO, hmmio)
PRIVATE_FIELD(Cursor, CMMWav, MMIOINFO, mmioInfo)
PRIVATE_FIELD(WrittenBytes, CMMWav, std::uint32_t, dataBytes)

/// As if that many bytes had been written: the file has a hole there.
inline void PretendWritten(CMMWav& wav, std::uint32_t bytes) {
  MMIOINFO& cursor = Cursor(wav);
  cursor.dwFlags |= MMIO_DIRTY;
  ASSERT_EQ(mmioSetInfo(Handle(wav), &cursor, 0), 0u);
  ASSERT_NE(mmioSeek(Handle(wav), static_cast<LONG>(56 + bytes), SEEK_SET), -1);
  ASSERT_EQ(mmioGetInfo(Handle(wav), &cursor, 0), 0u);
  WrittenBytes(wav) = bytes;
}

inline Bytes LoadPart(const std::string& path, std::uint32_t from, std::size_t count) {
  Bytes bytes(count);
  std::ifstream file(path, std::ios::binary);
  file.seekg(from).read(bytes.data(), static_cast<std::streamsize>(count));
  return bytes;
}
