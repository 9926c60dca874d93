#pragma once
// Frames of a source as frames of a destination, at the same rate.

#include <cstddef>
#include <memory>

#include "platform/pcm/pcm_format.h"

namespace platform::detail {

/// Brings frames to the channels and bits of the destination. A frame's result depends on no other frame.
class FrameConverter {
 public:
  FrameConverter() = default;
  FrameConverter(const FrameConverter&) = delete;
  FrameConverter& operator=(const FrameConverter&) = delete;
  virtual ~FrameConverter() = default;

  virtual void Convert(const BYTE* from, std::size_t frames, BYTE* to) = 0;
};

/// Throws std::bad_alloc.
std::unique_ptr<FrameConverter> MakeFrameConverter(const PcmSource& source, const PcmTarget& target);

}  // namespace platform::detail
