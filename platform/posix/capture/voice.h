#pragma once
// The sound of the built-in capture device.

#include <array>
#include <cstdint>
#include <vector>

#include "platform/posix/multimedia.h"

namespace platform::detail {

/// A voice that hums syllables: a pulse train through formants, with intonation and vibrato. Its peak is half
/// of full scale. A sample depends only on the format and the frame's number, not on the lengths of the
/// calls. Whatever is costly is in tables made beforehand, and the phases are integers.
class Voice {
 public:
  /// @param format PCM of 8 or 16 bits. Throws std::bad_alloc.
  explicit Voice(const WAVEFORMATEX& format);

  /// Goes back to frame 0.
  void Restart() { at_ = {}; }

  /// Writes the next @p frames frames. Cannot fail.
  void Next(BYTE* to, std::uint64_t frames);

 private:
  /// The state of the stream; one period of a phase is 2^32.
  struct Position {
    std::uint32_t pulse = 0;  // within one period of the voice
    std::uint32_t pulseStep = 0;
    std::uint32_t syllable = 0;  // within one syllable
    std::uint32_t syllableNumber = 0;
    std::uint32_t vibrato = 0;
    float gain = 0;
    float gainStep = 0;
    unsigned untilControl = 0;  // frames until pitch and loudness are set anew
  };

  void Control();
  std::uint32_t StepFor(double hertz) const;

  unsigned channels_;
  bool wide_;  // 16 bits
  double rate_;
  std::vector<float> periods_;  // one period of each vowel
  std::array<float, 256> sine_;
  std::array<float, 256> envelope_;  // loudness over a syllable
  Position at_;
};

}  // namespace platform::detail
