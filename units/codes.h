#pragma once
// The results of WavUnit and MMWavUnit.

#include <cstdint>

namespace units {

inline constexpr std::int32_t kDone = 0;
inline constexpr std::int32_t kNotOpened = 1;
inline constexpr std::int32_t kNotRead = 2;
inline constexpr std::int32_t kMirrorIsOpen = 4;
inline constexpr std::int32_t kNothingToClose = 5;
inline constexpr std::int32_t kNotRiff = 6;
inline constexpr std::int32_t kWrongRiffSize = 7;
inline constexpr std::int32_t kUnexpectedChunk = 8;
inline constexpr std::int32_t kNoSource = 9;
inline constexpr std::int32_t kNoMirror = 16;
inline constexpr std::int32_t kNotWritten = 17;
// ChkPcmFile gives the sum of these.
inline constexpr std::int32_t kOtherTag = 0x1000;
inline constexpr std::int32_t kOtherChannels = 0x1001;
inline constexpr std::int32_t kOtherRate = 0x1002;
inline constexpr std::int32_t kOtherBits = 0x1003;

}  // namespace units
