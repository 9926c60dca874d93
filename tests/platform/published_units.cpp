// As published.cpp, for the records and numbers of plain files, private heaps and media control.

#include <cstddef>

#include "platform/platform.h"

namespace {

template <class Record>
constexpr bool HasSize(std::size_t withNarrowPointers, std::size_t withWidePointers) {
  return sizeof(Record) == (sizeof(void*) == 4 ? withNarrowPointers : withWidePointers);
}

static_assert(sizeof(PCMWAVEFORMAT) == 16);
static_assert(GENERIC_READ == 0x80000000 && GENERIC_WRITE == 0x40000000);
static_assert(FILE_SHARE_READ == 1 && FILE_SHARE_WRITE == 2);
static_assert(CREATE_ALWAYS == 2 && OPEN_EXISTING == 3);
static_assert(FILE_ATTRIBUTE_NORMAL == 0x80 && FILE_BEGIN == 0);
static_assert(HEAP_NO_SERIALIZE == 1 && HEAP_ZERO_MEMORY == 8);
static_assert(sizeof(WIN32_FIND_DATAA) == 320 && offsetof(WIN32_FIND_DATAA, cFileName) == 44);

static_assert(MCI_OPEN == 0x803 && MCI_CLOSE == 0x804 && MCI_PLAY == 0x806);
static_assert(MCI_STOP == 0x808 && MCI_STATUS == 0x814);
static_assert((MCI_NOTIFY | MCI_OPEN_ELEMENT | MCI_OPEN_TYPE_ID | MCI_OPEN_TYPE | MCI_WAVE_OPEN_BUFFER) ==
              0x13201);
static_assert(MCI_NOTIFY == 1 && MCI_WAIT == 2 && (MCI_STATUS_ITEM | MCI_WAIT) == 0x102);
static_assert(MCI_STATUS_POSITION == 2 && MCI_STATUS_MODE == 4 && MCI_MODE_PLAY == 526);
static_assert(MCI_DEVTYPE_WAVEFORM_AUDIO == 522);
static_assert(HasSize<MCI_GENERIC_PARMS>(4, 8) && HasSize<MCI_WAVE_OPEN_PARMSA>(24, 40));
static_assert(HasSize<MCI_PLAY_PARMS>(12, 16) && HasSize<MCI_STATUS_PARMS>(16, 24));

}  // namespace
