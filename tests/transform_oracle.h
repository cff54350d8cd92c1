// What the tests of the transforms measure against: the definitions, in long double.
#pragma once
#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>

#include "tests/support/short_of_memory.h"
#include "tests/support/support.h"

namespace moxtest {

using Wide = std::complex<long double>;
constexpr long double kPi = 3.14159265358979323846264338327950288L;

// Half a unit in the last place of 1: the largest relative error of one rounding.
template <class T>
constexpr long double kUnit = sizeof(T) == 4 ? 0x1p-24L : 0x1p-53L;

template <class T>
struct ComplexType;
template <>
struct ComplexType<float> {
  using type = MoxC;
};
template <>
struct ComplexType<double> {
  using type = MoxZ;
};
template <class T>
using ComplexOf = typename ComplexType<T>::type;

// The operator of the standard library looks for NaNs first, which takes most of the time.
inline Wide times(Wide a, Wide b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

// e^(-2 pi i k / n) for n a power of two: angles up to pi / 4 only, the rest by symmetry.
inline Wide evaluatedRoot(size_t k, size_t n) {
  if (k == 0) return 1;
  if (2 * k >= n) return -evaluatedRoot(k - n / 2, n);
  if (4 * k >= n) return times({0, -1}, evaluatedRoot(k - n / 4, n));
  if (8 * k > n) {
    const Wide mirrored = evaluatedRoot(n / 4 - k, n);
    return {-mirrored.imag(), -mirrored.real()};
  }
  const long double angle = 2 * kPi * static_cast<long double>(k) / static_cast<long double>(n);
  return {std::cos(angle), -std::sin(angle)};
}
inline const std::vector<Wide>& roots(size_t n) {
  static std::vector<Wide> known[32];
  std::vector<Wide>& r = known[std::countr_zero(n)];
  if (r.empty()) {
    for (size_t k = 0; k < n; ++k) r.push_back(evaluatedRoot(k, n));
  }
  return r;
}
inline Wide root(size_t k, size_t n) { return roots(n)[k % n]; }

inline std::vector<Wide> conjugated(std::vector<Wide> v) {
  for (Wide& x : v) x = std::conj(x);
  return v;
}

// In place X[k] = sum of x[n] e^(-2 pi i k n / N): the sum itself up to 8 values, halves beyond.
inline void transform(std::vector<Wide>& x) {
  const size_t n = x.size();
  if (n <= 8) {
    std::vector<Wide> sums(n);
    for (size_t k = 0; k < n; ++k) {
      for (size_t i = 0; i < n; ++i) sums[k] += times(x[i], root(k * i, n));
    }
    x = sums;
    return;
  }
  std::vector<Wide> even(n / 2), odd(n / 2);
  for (size_t i = 0; i < n / 2; ++i) {
    even[i] = x[2 * i];
    odd[i] = x[2 * i + 1];
  }
  transform(even);
  transform(odd);
  const std::vector<Wide>& w = roots(n);
  for (size_t k = 0; k < n / 2; ++k) {
    const Wide o = times(w[k], odd[k]);
    x[k] = even[k] + o;
    x[k + n / 2] = even[k] - o;
  }
}

// The float32 map of orders 3 to 10: split-radix decimation in frequency, L = n, whose butterfly at k = L/8 uses
// 0.70710700750350952 for the square root of one half.
inline void splitRadix(std::vector<Wide>& x) {
  const size_t n = x.size();
  if (n == 1) return;
  if (n == 2) {
    x = {x[0] + x[1], x[0] - x[1]};
    return;
  }
  constexpr long double c = 0.70710700750350952L;
  std::vector<Wide> even(n / 2), first(n / 4), third(n / 4);
  for (size_t k = 0; k < n / 4; ++k) {
    const Wide a = x[k] - x[k + n / 2], b = times({0, 1}, x[k + n / 4] - x[k + 3 * n / 4]);
    const bool eighth = 8 * k == n;
    even[k] = x[k] + x[k + n / 2];
    even[k + n / 4] = x[k + n / 4] + x[k + 3 * n / 4];
    first[k] = times(a - b, eighth ? Wide(c, -c) : root(k, n));
    third[k] = times(a + b, eighth ? Wide(-c, -c) : root(3 * k, n));
  }
  splitRadix(even);
  splitRadix(first);
  splitRadix(third);
  for (size_t k = 0; k < n / 4; ++k) {
    x[2 * k] = even[k];
    x[2 * k + n / 2] = even[k + n / 4];
    x[4 * k + 1] = first[k];
    x[4 * k + 3] = third[k];
  }
}

// The map of the library's transforms on T, without scale; the inverse one is the conjugate.
template <class T>
std::vector<Wide> complexMap(std::vector<Wide> x, bool inverse = false) {
  if (inverse) return conjugated(complexMap<T>(conjugated(std::move(x))));
  const int order = std::countr_zero(x.size());
  if (sizeof(T) == 4 && order >= 3 && order <= 10) {
    splitRadix(x);
  } else {
    transform(x);
  }
  return x;
}

// X[0] ... X[N/2] of real x under that map: the transform of x[2n] + i x[2n+1], separated.
template <class T>
std::vector<Wide> realMap(const std::vector<long double>& x, bool inverse = false) {
  if (inverse) return conjugated(realMap<T>(x));
  const size_t m = x.size() / 2;
  std::vector<Wide> z(m), spectrum(m + 1);
  for (size_t n = 0; n < m; ++n) z[n] = {x[2 * n], x[2 * n + 1]};
  z = complexMap<T>(z);
  for (size_t k = 0; k <= m; ++k) {
    const Wide a = z[k % m], b = std::conj(z[(m - k) % m]);
    spectrum[k] = (a + b + times(times({0, -1}, root(k, 2 * m)), a - b)) * 0.5L;
  }
  return spectrum;
}

// The sum over X[0] ... X[N/2] and their conjugates that undoes it but for a factor N; forward: with the conjugate
// roots.
template <class T>
std::vector<long double> realMapBack(std::vector<Wide> spectrum, bool forward = false) {
  if (forward) spectrum = conjugated(std::move(spectrum));
  const size_t m = spectrum.size() - 1;
  std::vector<Wide> z(m);
  for (size_t k = 0; k < m; ++k) {
    const Wide a = spectrum[k], b = std::conj(spectrum[m - k]);
    z[k] = a + b + times(times({0, 1}, std::conj(root(k, 2 * m))), a - b);
  }
  z = complexMap<T>(z, true);
  std::vector<long double> x;
  for (const Wide& v : z) {
    x.push_back(v.real());
    x.push_back(v.imag());
  }
  return x;
}

template <class C>
std::vector<Wide> widened(const std::vector<C>& v) {
  std::vector<Wide> w;
  for (const C& x : v) w.emplace_back(x.re, x.im);
  return w;
}
inline std::vector<Wide> scaled(std::vector<Wide> v, long double factor) {
  for (Wide& x : v) x *= factor;
  return v;
}

// The relative error in the L2 norm of all that was added, in units of u sqrt(order). A single short transform says
// little: one of 32 values is easily a tenth off the mean.
template <class T>
class Error {
 public:
  void add(const std::vector<Wide>& a, const std::vector<Wide>& exact) {
    ASSERT_EQ(a.size(), exact.size());
    for (size_t i = 0; i < exact.size(); ++i) {
      error_ += std::norm(a[i] - exact[i]);
      norm_ += std::norm(exact[i]);
    }
  }
  double perRootOf(int order) const {
    return static_cast<double>(std::sqrt(error_ / norm_ / std::max(order, 1)) / kUnit<T>);
  }

 private:
  long double error_ = 0, norm_ = 0;
};
// How many transforms of one order make a mean.
inline uint32_t draws(int order) { return order < 12 ? uint32_t{1} << (12 - order) : 1; }

}  // namespace moxtest
