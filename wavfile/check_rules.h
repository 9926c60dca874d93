#pragma once
// The numbers of a format, and the rules that bind them.

#include <cstdint>

#include "wavfile/check_findings.h"

namespace cmm::check {

inline constexpr std::uint16_t kFloat = 3;
inline constexpr std::uint16_t kExtensible = 0xFFFE;

struct Format {
  std::uint32_t tag = 0, channels = 0, rate = 0, byteRate = 0, block = 0, bits = 0;
  std::uint32_t extra = 0;           // the extra size
  std::uint32_t framesPerBlock = 1;  // 0 when it is not known
  bool compressed = false;           // a block is more than one frame
};

struct Field {
  std::uint32_t Format::*value;
  std::uint32_t offset;  // in the chunk's payload
  Cure cure;
  const char* zero;  // the code when it is 0
  const char* wrong;
};
// The byte rate is written before the block, so that what a crash leaves in between has one answer.
inline constexpr Field kByteRate = {&Format::byteRate, 8, Cure::kFourBytes, "byte-rate-wrong",
                                    "byte-rate-wrong"};
inline constexpr Field kBlock = {&Format::block, 12, Cure::kTwoBytes, "block-align-wrong",
                                 "block-align-wrong"};
inline constexpr Field kChannels = {&Format::channels, 2, Cure::kTwoBytes, "channels-zero", "channels-wrong"};
inline constexpr Field kRate = {&Format::rate, 4, Cure::kFourBytes, "rate-zero", "rate-wrong"};
inline constexpr Field kBits = {&Format::bits, 14, Cure::kTwoBytes, "bits-wrong", "bits-wrong"};
inline constexpr Field kFrames = {&Format::framesPerBlock, 18, Cure::kTwoBytes, "block-frames-wrong",
                                  "block-frames-wrong"};
inline constexpr Field kFields[] = {kByteRate, kBlock, kChannels, kRate, kBits, kFrames};

bool IsKnownTag(std::uint32_t tag);
bool IsCommonRate(std::uint32_t rate);
/// One frame is one block.
bool IsPlain(std::uint32_t tag);
bool IsAdpcm(std::uint32_t tag);
/// Whether the tag allows these bits.
bool BitsAreRight(const Format& f);
/// @return bytes of one channel in a block; 0 when they are not known
std::uint64_t BytesOfChannel(const Format& f);
/// @return the frames that a block of ADPCM has room for, behind the numbers at its start; 1 in other formats
std::uint64_t FramesPerBlock(const Format& f);
/// @return what the other fields make of it; 0 when they do not tell
std::uint64_t ByteRate(const Format& f);
/// Whether the numbers agree. Writers round the byte rate of compressed sound in their own ways.
bool Agree(const Format& f);
/// @return what the other fields say that this one is; 0 when they say nothing
std::uint64_t FromOthers(const Format& f, const Field& field);
/// @return the fields of a PCM format; a block of 0 when it cannot be written
Format PcmFormat(const WAVEFORMATEX& wanted);

}  // namespace cmm::check
