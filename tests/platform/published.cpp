// The published records and numbers that the library's files and results rest on. This is compiled against
// the layer and against the platform's own headers, so that neither can drift.

#include <cstddef>

#include "platform/platform.h"

namespace {

/// A record that has grown with the pointers in it.
template <class Record>
constexpr bool HasSize(std::size_t withNarrowPointers, std::size_t withWidePointers) {
  return sizeof(Record) == (sizeof(void*) == 4 ? withNarrowPointers : withWidePointers);
}

constexpr HRESULT Result(unsigned bits) {
  return static_cast<HRESULT>(bits);
}

// Files.
static_assert(sizeof(MMCKINFO) == 20);
static_assert(offsetof(MMCKINFO, cksize) == 4 && offsetof(MMCKINFO, fccType) == 8);
static_assert(offsetof(MMCKINFO, dwDataOffset) == 12 && offsetof(MMCKINFO, dwFlags) == 16);
static_assert(HasSize<MMIOINFO>(72, 100));
static_assert(offsetof(MMIOINFO, pchEndWrite) - offsetof(MMIOINFO, pchNext) == 2 * sizeof(char*));
static_assert(MMIO_READ == 0 && (MMIO_ALLOCBUF | MMIO_READ) == 0x10000);
static_assert((MMIO_ALLOCBUF | MMIO_CREATE | MMIO_READWRITE) == 0x11002);
static_assert(MMIO_FINDCHUNK == 0x10 && MMIO_FINDRIFF == 0x20 && MMIO_CREATERIFF == 0x20);
static_assert(MMIO_WRITE == 1 && MMIO_DIRTY == 0x10000000);
static_assert(SEEK_SET == 0 && SEEK_CUR == 1 && SEEK_END == 2);

// Formats and their conversion.
static_assert(sizeof(WAVEFORMATEX) == 18 && offsetof(WAVEFORMATEX, cbSize) == 16);
static_assert(offsetof(WAVEFORMATEX, nSamplesPerSec) == 4 && offsetof(WAVEFORMATEX, nBlockAlign) == 12);
static_assert(WAVE_FORMAT_PCM == 1);
static_assert(HasSize<ACMSTREAMHEADER>(84, 124));
static_assert(offsetof(ACMSTREAMHEADER, cbSrcLength) == (sizeof(void*) == 4 ? 16 : 24));
static_assert(offsetof(ACMSTREAMHEADER, cbDstLength) == (sizeof(void*) == 4 ? 32 : 48));
static_assert(HasSize<ACMDRIVERDETAILSA>(920, 924));
static_assert(offsetof(ACMDRIVERDETAILSA, fdwSupport) == 24);
static_assert(offsetof(ACMDRIVERDETAILSA, szLongName) == offsetof(ACMDRIVERDETAILSA, szShortName) + 32);
static_assert(ACMDRIVERDETAILS_SUPPORTF_CODEC == 1 && ACMDRIVERDETAILS_SUPPORTF_CONVERTER == 2);
static_assert(ACMDRIVERDETAILS_SUPPORTF_FILTER == 4);
static_assert(ACM_STREAMOPENF_NONREALTIME == 4 && ACM_STREAMSIZEF_SOURCE == 0);
static_assert(ACM_STREAMCONVERTF_BLOCKALIGN == 4 && ACM_STREAMCONVERTF_END == 32);
static_assert(ACM_DRIVERENUMF_NOLOCAL == 0x40000000 && ACM_DRIVERENUMF_DISABLED == 0x80000000);
static_assert(MMSYSERR_NOERROR == 0 && GMEM_FIXED == 0);
static_assert(CB_ADDSTRING == 323 && CB_GETITEMDATA == 336 && CB_SETITEMDATA == 337);

// Capture: what a ring is described with ends with the format, though the record may go on behind it.
static_assert(offsetof(DSCBUFFERDESC, lpwfxFormat) == 16);
static_assert(HasSize<DSBPOSITIONNOTIFY>(8, 16) && DSCBSTART_LOOPING == 1);
static_assert(S_OK == 0 && S_FALSE == 1 && DS_OK == 0);
static_assert(E_NOINTERFACE == Result(0x80004002) && DSERR_NOINTERFACE == E_NOINTERFACE);
static_assert(E_INVALIDARG == Result(0x80070057) && DSERR_INVALIDPARAM == E_INVALIDARG);
static_assert(E_OUTOFMEMORY == Result(0x8007000E) && DSERR_OUTOFMEMORY == E_OUTOFMEMORY);
static_assert(E_FAIL == Result(0x80004005) && DSERR_GENERIC == E_FAIL);
static_assert(CLASS_E_NOAGGREGATION == Result(0x80040110) && DSERR_NOAGGREGATION == CLASS_E_NOAGGREGATION);
static_assert(RPC_E_CHANGED_MODE == Result(0x80010106));
static_assert(DSERR_NODRIVER == Result(0x88780078) && DSERR_UNINITIALIZED == Result(0x887800AA));
static_assert(DSERR_BADFORMAT == Result(0x88780064) && DSERR_ALLOCATED == Result(0x8878000A));
static_assert(sizeof(GUID) == 16);

// Waits. Later headers have raw input, touch and pointers among all events.
static_assert(WAIT_OBJECT_0 == 0 && WAIT_TIMEOUT == 258 && INFINITE == 0xFFFFFFFF);
static_assert((QS_ALLEVENTS & 0xFF) == 0xBF);

// Widths.
static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4 && sizeof(UINT) == 4 && sizeof(BOOL) == 4);
static_assert(sizeof(WORD) == 2 && sizeof(HRESULT) == 4 && sizeof(MMRESULT) == 4 && sizeof(FOURCC) == 4);
static_assert(sizeof(DWORD_PTR) == sizeof(void*) && sizeof(HANDLE) == sizeof(void*));

}  // namespace
