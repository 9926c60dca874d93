#pragma once
/// @file
/// Memory blocks under the published names.

#include "platform/posix/types.h"

using SIZE_T = std::size_t;
/// A fixed block: the handle is its address.
using HGLOBAL = void*;

inline constexpr UINT GMEM_FIXED = 0x0000;
inline constexpr UINT GMEM_ZEROINIT = 0x0040;

/// @param flags GMEM_FIXED, with GMEM_ZEROINIT for a block of zeros; others are refused
/// @return the block, for GlobalFree, also for 0 bytes; null when memory is short
CMM_API HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes);
/// @param block of GlobalAlloc, or null
/// @return null
CMM_API HGLOBAL GlobalFree(HGLOBAL block);

inline constexpr DWORD HEAP_NO_SERIALIZE = 0x00000001;
inline constexpr DWORD HEAP_ZERO_MEMORY = 0x00000008;

/// Makes a heap whose blocks go with it.
/// @param options  0 or HEAP_NO_SERIALIZE
/// @param initial  not looked at
/// @param greatest 0: the heap grows as needed; others are refused
/// @return the heap, for HeapDestroy; null when memory or handles are short
CMM_API HANDLE HeapCreate(DWORD options, SIZE_T initial, SIZE_T greatest);
/// Gives all blocks of the heap back, and the heap. @return TRUE; FALSE for what is no heap
CMM_API BOOL HeapDestroy(HANDLE heap);

/// @param flags 0, HEAP_NO_SERIALIZE, HEAP_ZERO_MEMORY
/// @return the block, for HeapFree, also for 0 bytes; null for what is no heap, when memory is short, and
///         from 2 GiB on: no 32-bit process could have that much in one piece
CMM_API LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);
/// @return TRUE, for null too; FALSE, and nothing is touched, for what is no block of this heap
CMM_API BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID block);
