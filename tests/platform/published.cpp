// The published structures and numbers that the library's files and results depend on. This is compiled
// against the layer and against the platform's own headers, so that the two stay equal.

#include <cstddef>

#include "platform/platform.h"

namespace {

/// For structures whose size depends on that of a pointer.
template <class Structure>
constexpr bool HasSize(std::size_t withNarrowPointers, std::size_t withWidePointers) {
  return sizeof(Structure) == (sizeof(void*) == 4 ? withNarrowPointers : withWidePointers);
}

constexpr bool Is(HRESULT result, unsigned bits) {
  return static_cast<unsigned>(result) == bits;
}

// Structures.
static_assert(sizeof(MMCKINFO) == 20 && offsetof(MMCKINFO, dwDataOffset) == 12);
static_assert(HasSize<MMIOINFO>(72, 100));
static_assert(sizeof(WAVEFORMATEX) == 18 && HasSize<ACMSTREAMHEADER>(84, 124));
static_assert(HasSize<ACMDRIVERDETAILSA>(920, 924) && offsetof(ACMDRIVERDETAILSA, fdwSupport) == 24);
// The layer reads this structure up to the format; the platform's may have further fields.
static_assert(offsetof(DSCBUFFERDESC, lpwfxFormat) == 16);
static_assert(HasSize<DSBPOSITIONNOTIFY>(8, 16) && sizeof(GUID) == 16);
static_assert(sizeof(WIN32_FIND_DATAA) == 320 && offsetof(WIN32_FIND_DATAA, cFileName) == 44);
static_assert(HasSize<MCI_WAVE_OPEN_PARMSA>(24, 40) && HasSize<MCI_STATUS_PARMS>(16, 24));

// Numbers.
static_assert((MMIO_ALLOCBUF | MMIO_CREATE | MMIO_READWRITE | MMIO_DIRTY) == 0x10011002);
static_assert(Is(E_NOINTERFACE, 0x80004002) && Is(E_INVALIDARG, 0x80070057) && Is(E_FAIL, 0x80004005));
static_assert(Is(E_OUTOFMEMORY, 0x8007000E) && Is(CLASS_E_NOAGGREGATION, 0x80040110));
static_assert(Is(DSERR_NODRIVER, 0x88780078) && Is(DSERR_UNINITIALIZED, 0x887800AA));
static_assert(Is(DSERR_BADFORMAT, 0x88780064) && Is(DSERR_ALLOCATED, 0x8878000A));
static_assert(WAIT_TIMEOUT == 258 && INFINITE == 0xFFFFFFFF);
static_assert(MCI_STATUS_POSITION == 2 && MCI_STATUS_MODE == 4 && MCI_MODE_PLAY == 526);

}  // namespace
