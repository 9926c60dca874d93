#pragma once
// Limits of the platform's calls and of the file format, in bytes.

#include <cstdint>

inline constexpr std::uint32_t kLargestPosition = 0x7FFFFFFF;  // of services whose positions are signed
inline constexpr std::uint32_t kLargestCall = 1u << 30;        // of mmioRead and mmioWrite: counts are signed
inline constexpr std::uint32_t kLargestChunk = 0xFFFFFFFF;     // that a chunk's size field can hold
// Of a conversion's buffers, each of which holds a second. A file may claim any byte rate; the largest real
// one is that of 768000 Hz with 8 channels of 8 bytes, 49 MB.
inline constexpr std::uint32_t kLargestSecond = 64u << 20;
// From this many on, bytes go between the caller's memory and the file in one call, without the file's
// buffer. The buffer's own length is the platform's: MMIO_ALLOCBUF, in container.cpp.
inline constexpr std::uint32_t kDirectBytes = 4096;
