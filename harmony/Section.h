#pragma once
// The first-order section that FstLPF and both noise reduction chains are made of.

namespace harmony {

struct Coefficients {
  double feedback;
  double oldGain;
  double newGain;
};

/// Moves the state on. @return the state after
template <class Product>
double Advance(double& state, double sample, double feedback, Product times) {
  return state = times(feedback, state) + sample;
}

/// What comes out between two states.
template <class Product>
double Output(double before, double after, const Coefficients& c, Product times) {
  return times(c.newGain, after) + times(c.oldGain, before);
}

}  // namespace harmony
