#pragma once

#include "tests/support/Private.h"
#include "tests/wavfile/wav_test.h"

PRIVATE_FIELD(Handle, CMMWav, HMMIO, hmmio)
PRIVATE_FIELD(Cursor, CMMWav, MMIOINFO, mmioInfo)
PRIVATE_FIELD(WrittenBytes, CMMWav, std::uint32_t, dataBytes)

// As if that many bytes had been written: the file has a hole there.
inline void PretendWritten(CMMWav& wav, std::uint32_t bytes) {
  HMMIO const file = Handle(wav);
  MMIOINFO& cursor = Cursor(wav);
  cursor.dwFlags |= MMIO_DIRTY;
  ASSERT_EQ(mmioSetInfo(file, &cursor, 0), 0u);
  ASSERT_NE(mmioSeek(file, static_cast<LONG>(56 + bytes), SEEK_SET), -1);
  ASSERT_EQ(mmioGetInfo(file, &cursor, 0), 0u);
  WrittenBytes(wav) = bytes;
}
