#pragma once

#include <cstdint>

#include "platform/export.h"

/// @file
/// Linear filters for the sample rate of PCM.

/// @addtogroup resample
/// Six filters that change the sample rate of interleaved PCM by linear interpolation between neighbouring
/// frames. A frame is one sample of every channel. The filters differ only in sample type and channel count:
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
/// The order of calls: a stream goes through one filter block by block, its first block with `first` set,
/// every later one without it and with the same rates and channels. There is no closing call, and nothing to
/// flush.
/// @code
///   std::vector<std::int16_t> out(2 * 481);  // stereo: the output of 441 frames, and one more
///   std::uint8_t first = 1;
///   for (const std::int16_t* block = source; block < end; block += 2 * 441, first = 0) {
///     std::uint32_t made = 0;
///     if (AudioLinearFilter1(block, 441, 44100, out.data(), &made, 48000, 0, first) != 1) return;
///     Use(out.data(), made);
///   }
/// @endcode
///
/// Threads: any thread, but one at a time for each filter, and one stream at a time: what a stream carries
/// from block to block is kept once for each filter in the process. Different filters are independent of each
/// other. CMMWav converts in two stages through AudioLinearFilter8 and AudioLinearFilter16.
///
/// The output is the same however a stream is cut into blocks, as long as no call ends at the output limit.
/// Output frame k lies k * srcRate / dstRate source frames after the stream's first frame, and the last
/// output frame is the last one that does not lie beyond the source.
///
/// Every output sample is prev + trunc((cur - prev) * (phase * (1.0 / dstRate))), in double precision and in
/// this order, on every processor (docs/resample.md). Nothing is allocated.

/// @{

/// Filters one block of 16-bit samples, 1 or 2 channels. All six filters do this in the same way.
/// @param src       the block's first sample
/// @param srcFrames frames in the block; with 0 the call gives 1 and does nothing, @p outFrames included
/// @param srcRate   rate of the source in Hz, 1 or more
/// @param dst       receives the output. Room for @p srcFrames frames when the rates are equal, otherwise for
///                  @p maxOut frames, or for the complete output where no limit stops the call. It may
///                  overlap the block, at the cost of speed: at equal rates in any way; when @p dstRate is
///                  the lower rate, if @p dst is at @p src or before it; when it is the higher one, if the
///                  complete output, as it is without a limit, ends at the end of the block or before it
/// @param outFrames receives the number of frames written; must be valid
/// @param dstRate   rate of the output in Hz, 1 or more. At equal rates the block is copied, whatever
///                  @p first and @p maxOut say, and what the filter carries does not change
/// @param maxOut    output limit: the call ends when it has written this many frames, the rest of the block
///                  is dropped, and the stream goes on one source interval further. 0 sets no limit, and
///                  neither does 1 on a first call, whose first frame is copied before any test
/// @param first     not 0: the block begins a new stream, and its first frame is copied to the output. A
///                  first block of one frame gives that frame; the next block goes on from it
/// @param channels  samples in a frame, 1 or 2
/// @return 1: the block has been filtered
/// @return 0: @p src or @p dst is null, a rate is 0 or @p channels is out of range; nothing has changed
CMM_API std::uint8_t AudioLinearFilter16(const std::int16_t* src, std::uint32_t srcFrames,
                                         std::uint32_t srcRate, std::int16_t* dst, std::uint32_t* outFrames,
                                         std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first,
                                         std::uint32_t channels);

/// Filters one block of 8-bit samples, 1 to 4 channels.
/// @param src,srcFrames,srcRate,dst,outFrames,dstRate,maxOut,first as of AudioLinearFilter16
/// @param channels samples in a frame, 1 to 4
/// @return as AudioLinearFilter16
CMM_API std::uint8_t AudioLinearFilter8(const std::uint8_t* src, std::uint32_t srcFrames,
                                        std::uint32_t srcRate, std::uint8_t* dst, std::uint32_t* outFrames,
                                        std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first,
                                        std::uint32_t channels);

/// Filters one block of 16-bit stereo.
/// @param src,srcFrames,srcRate,dst,outFrames,dstRate,maxOut,first as of AudioLinearFilter16
/// @return as AudioLinearFilter16
CMM_API std::uint8_t AudioLinearFilter1(const std::int16_t* src, std::uint32_t srcFrames,
                                        std::uint32_t srcRate, std::int16_t* dst, std::uint32_t* outFrames,
                                        std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first);

/// Filters one block of 16-bit mono.
/// @param src,srcFrames,srcRate,dst,outFrames,dstRate,maxOut,first as of AudioLinearFilter16
/// @return as AudioLinearFilter16
CMM_API std::uint8_t AudioLinearFilter2(const std::int16_t* src, std::uint32_t srcFrames,
                                        std::uint32_t srcRate, std::int16_t* dst, std::uint32_t* outFrames,
                                        std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first);

/// Filters one block of 8-bit stereo.
/// @param src,srcFrames,srcRate,dst,outFrames,dstRate,maxOut,first as of AudioLinearFilter16
/// @return as AudioLinearFilter16
CMM_API std::uint8_t AudioLinearFilter3(const std::uint8_t* src, std::uint32_t srcFrames,
                                        std::uint32_t srcRate, std::uint8_t* dst, std::uint32_t* outFrames,
                                        std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first);

/// Filters one block of 8-bit mono.
/// @param src,srcFrames,srcRate,dst,outFrames,dstRate,maxOut,first as of AudioLinearFilter16
/// @return as AudioLinearFilter16
CMM_API std::uint8_t AudioLinearFilter4(const std::uint8_t* src, std::uint32_t srcFrames,
                                        std::uint32_t srcRate, std::uint8_t* dst, std::uint32_t* outFrames,
                                        std::uint32_t dstRate, std::uint32_t maxOut, std::uint8_t first);

/// @}
