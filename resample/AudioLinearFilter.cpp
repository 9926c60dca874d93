#include "resample/AudioLinearFilter.h"

#include "resample/LinearStream.h"

using resample::LinearStream;

// Each filter owns its stream: zero when the library is loaded, never cleared afterwards, its own alone.

std::uint8_t AudioLinearFilter1(const std::int16_t* src, std::uint32_t srcFrames, std::uint32_t srcRate,
                                std::int16_t* dst, std::uint32_t* outFrames, std::uint32_t dstRate,
                                std::uint32_t maxOut, std::uint8_t first) {
  static constinit LinearStream<std::int16_t> stream;
  return stream.Process({src, srcFrames, srcRate, dst, outFrames, dstRate, maxOut, first != 0, 2});
}

std::uint8_t AudioLinearFilter2(const std::int16_t* src, std::uint32_t srcFrames, std::uint32_t srcRate,
                                std::int16_t* dst, std::uint32_t* outFrames, std::uint32_t dstRate,
                                std::uint32_t maxOut, std::uint8_t first) {
  static constinit LinearStream<std::int16_t> stream;
  return stream.Process({src, srcFrames, srcRate, dst, outFrames, dstRate, maxOut, first != 0, 1});
}

std::uint8_t AudioLinearFilter3(const std::uint8_t* src, std::uint32_t srcFrames, std::uint32_t srcRate,
                                std::uint8_t* dst, std::uint32_t* outFrames, std::uint32_t dstRate,
                                std::uint32_t maxOut, std::uint8_t first) {
  static constinit LinearStream<std::uint8_t> stream;
  return stream.Process({src, srcFrames, srcRate, dst, outFrames, dstRate, maxOut, first != 0, 2});
}

std::uint8_t AudioLinearFilter4(const std::uint8_t* src, std::uint32_t srcFrames, std::uint32_t srcRate,
                                std::uint8_t* dst, std::uint32_t* outFrames, std::uint32_t dstRate,
                                std::uint32_t maxOut, std::uint8_t first) {
  static constinit LinearStream<std::uint8_t> stream;
  return stream.Process({src, srcFrames, srcRate, dst, outFrames, dstRate, maxOut, first != 0, 1});
}

std::uint8_t AudioLinearFilter8(const std::uint8_t* src, std::uint32_t srcFrames, std::uint32_t srcRate,
                                std::uint8_t* dst, std::uint32_t* outFrames, std::uint32_t dstRate,
                                std::uint32_t maxOut, std::uint8_t first, std::uint32_t channels) {
  static constinit LinearStream<std::uint8_t> stream;
  return stream.Process({src, srcFrames, srcRate, dst, outFrames, dstRate, maxOut, first != 0, channels});
}

std::uint8_t AudioLinearFilter16(const std::int16_t* src, std::uint32_t srcFrames, std::uint32_t srcRate,
                                 std::int16_t* dst, std::uint32_t* outFrames, std::uint32_t dstRate,
                                 std::uint32_t maxOut, std::uint8_t first, std::uint32_t channels) {
  static constinit LinearStream<std::int16_t> stream;
  return stream.Process({src, srcFrames, srcRate, dst, outFrames, dstRate, maxOut, first != 0, channels});
}
