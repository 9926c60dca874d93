#pragma once
// The level of a lead with its voices.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

/// Makes the sum of a lead and its voices as loud as the lead alone, without clipping. It hears both to their
/// end before it gives the gain of any sample.
///
/// The gain is one factor for the whole sound: the ratio of the two levels (RMS) where the sum sounds. A
/// piece of 20 ms that would clip gets as much as its peak allows; in the pieces before and after it the
/// gain changes in a straight line.
class Gain {
 public:
  /// Takes the next sample of both, full scale 1.0.
  void Hear(double lead, double sum) {
    if (heard_++ % kPiece == 0) peaks_.push_back(0.0);
    double& peak = peaks_[peaks_.size() - 2];
    peak = std::max(peak, std::abs(sum));
    leadEnergy_ += sum != 0.0 ? lead * lead : 0.0;  // voices alone are silent where there is no note
    sumEnergy_ += sum * sum;
  }

  /// The gain of a sample of the sum, counted from 0.
  double At(std::size_t sample) const {
    const std::size_t piece = sample / kPiece;
    return std::lerp(AtStart(piece), AtStart(piece + 1), static_cast<double>(sample % kPiece) / kPiece);
  }

 private:
  static constexpr std::size_t kPiece = 882;  // samples: more than a period of the lowest lead

  double AtStart(std::size_t piece) const {
    const double factor = sumEnergy_ > 0.0 ? std::sqrt(leadEnergy_ / sumEnergy_) : 1.0;
    const std::size_t known = std::min(piece, peaks_.size() - 2);  // the file may have grown since
    const double peak = std::max(peaks_[known], peaks_[known + 1]);
    return factor * peak > 1.0 ? 1.0 / peak : factor;
  }

  std::size_t heard_ = 0;
  std::vector<double> peaks_{0.0, 0.0};  // of the sum, piece by piece, between two of silence
  double leadEnergy_ = 0.0, sumEnergy_ = 0.0;
};
