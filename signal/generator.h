// What the modules of periodic signals have in common: T is a sample's type, P = 1 or 2 its parts.
#pragma once
#include "frame/check.h"
#include "frame/element.h"
#include "kernel/kernels.h"

namespace mox {

inline const kernel::Generator<float>& generatorOf(float) { return kernel::active->generator32; }
inline const kernel::Generator<double>& generatorOf(double) { return kernel::active->generator64; }
inline const kernel::Generator<int16_t>& generatorOf(int16_t) { return kernel::active->generator16; }

// Also false for NaN.
template <class Real>
bool isWithin(Real x, double low, double end) {
  return x >= low && x < end;
}

inline constexpr auto nullState = [] { return "Null pointer to state"; };

inline constexpr double kTwoPi = 6.283185307179586;

}  // namespace mox
