#pragma once
// The first-order section that FstLPF and both noise reduction chains are made of.

namespace harmony {

struct Section {
  double feedback;
  double oldGain;
  double newGain;

  /// Takes one sample and moves the state on. @return what comes out, from the state before and after
  template <class Product>
  double Step(double& state, double sample, Product times) const {
    const double before = state;
    const double after = times(feedback, before) + sample;
    state = after;
    return times(newGain, after) + times(oldGain, before);
  }
};

}  // namespace harmony
