#pragma once

#include <cstdint>

#include "platform/export.h"

/// @file
/// Six filters that change the sample rate of interleaved PCM by linear interpolation between neighbouring
/// frames.
///
/// A frame is one sample of every channel. The filters differ in sample type and channel count alone:
///
/// | filter               | sample         | channels in a frame  |
/// |----------------------|----------------|----------------------|
/// | AudioLinearFilter1   | 16-bit signed  | 2                    |
/// | AudioLinearFilter2   | 16-bit signed  | 1                    |
/// | AudioLinearFilter3   | 8-bit unsigned | 2                    |
/// | AudioLinearFilter4   | 8-bit unsigned | 1                    |
/// | AudioLinearFilter8   | 8-bit unsigned | `channels`, 1 to 4   |
/// | AudioLinearFilter16  | 16-bit signed  | `channels`, 1 or 2   |
///
/// A stream goes through one filter block by block: its first block with @p first set, every later one
/// without it and with the same rates and channels. However a stream is cut into blocks, its output is the
/// same, as long as no call ends at the output limit. There is no closing call, and nothing to flush: output
/// frame k lies k * srcRate / dstRate source frames after the stream's first frame, and the last one is the
/// last that does not lie beyond the source.
///
/// What a stream carries from block to block is kept once for each filter in the whole process. So a filter
/// serves one stream at a time, from one thread at a time; different filters do not disturb each other.
///
/// Every output sample is prev + trunc((cur - prev) * (phase * (1.0 / dstRate))), in double precision and in
/// this order, on every processor. Nothing is allocated.
///
/// Arguments of all six:
/// @param src       the block's first sample
/// @param srcFrames frames in the block; with 0 the call gives 1 and does nothing, @p outFrames included
/// @param srcRate   rate of the source in Hz
/// @param dst       receives the output. Room for @p srcFrames frames when the rates are equal, otherwise for
///                  @p maxOut frames, or for the whole output where no limit stops the call. It may overlap
///                  the block, which takes longer then: at equal rates in any way; when @p dstRate is the
///                  lower rate, if @p dst does not lie behind @p src (in place, they are the same); when it
///                  is the higher one, if the whole output, without a limit, does not end behind the block
/// @param outFrames receives the number of frames written; must be valid
/// @param dstRate   rate of the output in Hz. Equal rates copy the block whatever @p first and @p maxOut say,
///                  and leave the carried stream as it is
/// @param maxOut    the call ends when it has written this many frames; the rest of the block is dropped and
///                  the stream goes on one source interval further. 0 sets no limit, and neither does 1 on a
///                  first call, whose first frame is copied before any test
/// @param first     not 0: the block begins a new stream, and its first frame is copied to the output. A
///                  first block of one frame delivers that frame; the next block goes on from it
/// @param channels  (AudioLinearFilter8 and AudioLinearFilter16) channels in a frame
/// @return 1 when the block was dealt with; 0, with nothing written and the stream untouched, when @p src or
/// @p dst is
///         null, a rate is 0 or @p channels is out of its range

/// 16-bit stereo.
CMM_API std::uint8_t AudioLinearFilter1(const std::int16_t* src, std::uint32_t srcFrames,
                                        std::uint32_t srcRate, std::int16_t* dst, std::uint32_t* outFrames,
                                        std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first);

/// 16-bit mono.
CMM_API std::uint8_t AudioLinearFilter2(const std::int16_t* src, std::uint32_t srcFrames,
                                        std::uint32_t srcRate, std::int16_t* dst, std::uint32_t* outFrames,
                                        std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first);

/// 8-bit stereo.
CMM_API std::uint8_t AudioLinearFilter3(const std::uint8_t* src, std::uint32_t srcFrames,
                                        std::uint32_t srcRate, std::uint8_t* dst, std::uint32_t* outFrames,
                                        std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first);

/// 8-bit mono.
CMM_API std::uint8_t AudioLinearFilter4(const std::uint8_t* src, std::uint32_t srcFrames,
                                        std::uint32_t srcRate, std::uint8_t* dst, std::uint32_t* outFrames,
                                        std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first);

/// 8-bit, 1 to 4 channels.
CMM_API std::uint8_t AudioLinearFilter8(const std::uint8_t* src, std::uint32_t srcFrames,
                                        std::uint32_t srcRate, std::uint8_t* dst, std::uint32_t* outFrames,
                                        std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first,
                                        std::uint32_t channels);

/// 16-bit, 1 or 2 channels.
CMM_API std::uint8_t AudioLinearFilter16(const std::int16_t* src, std::uint32_t srcFrames,
                                         std::uint32_t srcRate, std::int16_t* dst, std::uint32_t* outFrames,
                                         std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first,
                                         std::uint32_t channels);
