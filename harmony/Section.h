#pragma once
// The first-order filter section, direct form II, that FstLPF and both noise reduction chains are made of:
//   s' = feedback * s + x;  y = newGain * s' + oldGain * s

namespace harmony {

/// The coefficients of a section; its state is a field of the unit.
struct Section {
  double feedback;  ///< the pole
  double oldGain;   ///< output coefficient on the state before the sample
  double newGain;   ///< output coefficient on the state after it

  /// Filters one sample.
  /// @param state  updated
  /// @param sample x
  /// @param times  the product to use (harmony/Products.h)
  /// @return y
  template <class Product>
  double Step(double& state, double sample, Product times) const {
    const double before = state;
    const double after = times(feedback, before) + sample;
    state = after;
    return times(newGain, after) + times(oldGain, before);
  }
};

}  // namespace harmony
