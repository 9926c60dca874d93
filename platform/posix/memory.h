#pragma once
/// @file
/// Memory blocks and private heaps under the published names. Sizes are in bytes. Any thread.

#include "platform/posix/types.h"

using SIZE_T = std::size_t;
/// A fixed block: the handle is its address.
using HGLOBAL = void*;

inline constexpr UINT GMEM_FIXED = 0x0000;
inline constexpr UINT GMEM_ZEROINIT = 0x0040;

/// Allocates a block.
/// @param flags GMEM_FIXED; with GMEM_ZEROINIT for a block of zeros
/// @return the block, for GlobalFree; also for 0 bytes
/// @return null: memory is short, or another flag is given
CMM_API HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes);
/// Frees a block.
/// @param block of GlobalAlloc, or null
/// @return null
CMM_API HGLOBAL GlobalFree(HGLOBAL block);

inline constexpr DWORD HEAP_NO_SERIALIZE = 0x00000001;
inline constexpr DWORD HEAP_ZERO_MEMORY = 0x00000008;

/// Makes a heap. It is freed together with its blocks.
/// @param options  0 or HEAP_NO_SERIALIZE, which changes nothing here
/// @param initial  not used
/// @param greatest 0: the heap grows as needed
/// @return the heap, for HeapDestroy; CloseHandle refuses it
/// @return null: memory or handles are short, or an argument is another one
CMM_API HANDLE HeapCreate(DWORD options, SIZE_T initial, SIZE_T greatest);
/// Frees a heap and all its blocks.
/// @return TRUE: freed
/// @return FALSE: no open heap
CMM_API BOOL HeapDestroy(HANDLE heap);

/// Allocates a block of a heap.
/// @param flags 0, HEAP_NO_SERIALIZE, HEAP_ZERO_MEMORY
/// @param bytes 0 to 2 GiB - 1: no 32-bit process could have more in one block
/// @return the block, for HeapFree; also for 0 bytes
/// @return null: memory is short, no open heap, or another argument is refused
CMM_API LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);
/// Frees a block of a heap.
/// @param flags not used
/// @return TRUE: freed, or @p block is null
/// @return FALSE: no open heap, or not a block of this heap; nothing has changed
CMM_API BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID block);
