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
