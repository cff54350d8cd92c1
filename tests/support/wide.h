// Values of any element type in long double.
#pragma once
#include <complex>

#include "tests/support/support.h"

namespace moxtest {

using Wide = std::complex<long double>;

inline Wide widened(float x) { return x; }
inline Wide widened(double x) { return x; }
inline Wide widened(MoxC x) { return {x.re, x.im}; }
inline Wide widened(MoxZ x) { return {x.re, x.im}; }
template <class T>
T narrowed(Wide x) {
  using R = typename Traits<T>::Real;
  return makeValue<T>(static_cast<R>(x.real()), static_cast<R>(x.imag()));
}

}  // namespace moxtest
