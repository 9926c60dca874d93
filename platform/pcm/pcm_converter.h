#pragma once
// The PCM converter: PCM, floating point and extensible formats to PCM of 8 and 16 bits, at any rate.
//
// A frame is first brought to the channels and bits of the destination.
//
//   - Mono and stereo of 8 and 16 bits, plain or extensible, and of the laws of G.711: two channels to one
//     are their mean, rounded down; one to two a copy; 8 bits become the high byte of 16, and of 16 bits the
//     high byte is kept.
//   - Every other source (24 and 32 bits, floating point, more than two channels): the channels are mixed as
//     pcm_mix.h says, and the result is rounded to the nearest value, ties to even, and clipped. 1.0 of
//     floating point is full scale, 32768 of 16 bits. NaN is silence. Nothing is rounded between mixing and
//     the result. Sums are of double precision in a fixed order, so every machine has the same result.
//
// Then comes the rate. Output n is at the source position n * sourceRate / outputRate, counted from the
// stream's first frame, and is the straight line between the converted frames on both sides of it, rounded to
// the nearest value, halves up. Positions and lines are exact integers, so output does not depend on how the
// source is cut into calls. The outputs between the last frame of a call and the frame after it come with the
// next call.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "platform/pcm/pcm_frames.h"

namespace platform::detail {

/// One conversion. Nothing throws but Open. One call at a time.
class PcmConverter {
 public:
  /// Throws std::bad_alloc.
  /// @return null: the converter does not take these formats
  static std::unique_ptr<PcmConverter> Open(const WAVEFORMATEX& source, const WAVEFORMATEX& destination);

  PcmConverter(const PcmSource& source, const PcmTarget& target);

  /// Computes the room that suffices for the output of @p sourceBytes.
  /// @return 0, or ACMERR_NOTPOSSIBLE: there is no such size
  MMRESULT OutputSize(DWORD sourceBytes, DWORD& outputBytes) const;
  /// Computes how much source has output that fits into @p outputBytes.
  /// @return 0, or ACMERR_NOTPOSSIBLE: there is no such size
  MMRESULT SourceSize(DWORD outputBytes, DWORD& sourceBytes) const;

  /// Begins a new stream.
  void Restart();

  struct Counts {
    std::size_t taken;
    std::size_t made;
  };
  /// Converts whole frames and gives the bytes of both buffers that it has used.
  Counts Convert(const BYTE* from, std::size_t sourceBytes, BYTE* to, std::size_t room);

 private:
  static constexpr std::size_t kBlockFrames = 256;
  static constexpr std::size_t kMostFrameBytes = sizeof(std::int16_t) * kMostPcmChannels;

  template <class Sample>
  Counts Resample(const BYTE* from, std::size_t frames, BYTE* to, std::size_t room);
  /// Makes the outputs up to each of @p count frames of the block.
  /// @return the frames up to which all outputs are made: these are taken. The others are converted again
  ///         by the next call
  template <class Sample>
  std::size_t MakeOutputs(std::size_t count, BYTE* to, std::size_t room, std::size_t& made);
  template <class Sample>
  void StoreBetween(const BYTE* before, const BYTE* after, BYTE* to) const;

  const std::size_t sourceFrameBytes_;
  const std::size_t sampleBytes_;   // of the output
  const std::size_t frameBytes_;    // of the output
  const std::uint64_t sourceStep_;  // from one output to the next, in parts of a frame
  const std::uint64_t outputStep_;  // the parts of one frame
  const std::unique_ptr<FrameConverter> frames_;
  std::uint64_t phase_ = 0;  // from the last frame to the next output
  // The last frame of the call before, followed by a block of converted frames.
  std::array<BYTE, (1 + kBlockFrames) * kMostFrameBytes> block_{};
};

}  // namespace platform::detail
