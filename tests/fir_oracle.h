// Filters with finite impulse response by their definition, in extended precision.
#pragma once
#include <cmath>
#include <ostream>
#include <vector>

#include "tests/support/support.h"

namespace moxtest {

struct Parts {
  long double re, im;
};
inline Parts parts(float x) { return {x, 0}; }
inline Parts parts(double x) { return {x, 0}; }
inline Parts parts(MoxC x) { return {x.re, x.im}; }
inline Parts parts(MoxZ x) { return {x.re, x.im}; }

struct Shape {
  int taps, up, upPhase, down, downPhase, periods;
  bool multiRate() const { return up > 1 || down > 1; }
  size_t history() const { return static_cast<size_t>(multiRate() ? (taps - 1) / up + 1 : taps - 1); }
  size_t in() const { return static_cast<size_t>(periods) * static_cast<size_t>(down); }
  size_t out() const { return static_cast<size_t>(periods) * static_cast<size_t>(up); }
};
inline std::ostream& operator<<(std::ostream& out, const Shape& s) {
  return out << s.taps << " taps, up " << s.up << "/" << s.upPhase << ", down " << s.down << "/" << s.downPhase << ", "
             << s.periods << " periods";
}

// What result m, for the sample before which `history` others stand, must be, and the sum of the products' sizes.
template <class S, class T>
void exact(const Shape& f, const std::vector<T>& taps, const std::vector<S>& x, size_t m, Parts& sum, Parts& size) {
  sum = size = {0, 0};
  const int64_t place = f.downPhase + static_cast<int64_t>(m) * f.down;
  const int64_t least = place - f.upPhase;
  for (int64_t k = (least % f.up + f.up) % f.up; k < f.taps; k += f.up) {
    const int64_t from = least - k;
    const Parts t = parts(taps[static_cast<size_t>(k)]);
    const Parts v = parts(x.at(static_cast<size_t>(from / f.up + static_cast<int64_t>(f.history()))));
    sum.re += t.re * v.re - t.im * v.im;
    sum.im += t.re * v.im + t.im * v.re;
    size.re += std::fabs(t.re * v.re) + std::fabs(t.im * v.im);
    size.im += std::fabs(t.re * v.im) + std::fabs(t.im * v.re);
  }
}

// Two roundings to float64 a product at most, then one to the type of the result: of 2^-24 for float32, or a little
// more.
template <class S, class T, class R>
::testing::AssertionResult isFiltered(const Shape& f, const std::vector<T>& taps, const std::vector<S>& x,
                                      const std::vector<R>& got, long double rounding = 0x1p-24L) {
  const long double unit = sizeof(typename Traits<R>::Real) == 4 ? rounding : 0;
  for (size_t m = 0; m < got.size(); ++m) {
    Parts sum, size;
    exact(f, taps, x, m, sum, size);
    const Parts y = parts(got[m]);
    const long double sums = (2 * (f.taps / f.up) + 6) * 0x1p-53L;
    if (!(std::fabs(y.re - sum.re) <= sums * size.re + unit * std::fabs(sum.re)) ||
        !(std::fabs(y.im - sum.im) <= sums * size.im + unit * std::fabs(sum.im))) {
      return ::testing::AssertionFailure()
             << "result " << m << " is (" << y.re << ", " << y.im << "), not (" << sum.re << ", " << sum.im << ")";
    }
  }
  return ::testing::AssertionSuccess();
}

// Every loop with and without remainders, several stretches of samples and of taps, sparse and dense decimation, fewer
// taps than branches.
inline const Shape kShapes[] = {
    {1, 1, 0, 1, 0, 1},     {1, 1, 0, 1, 0, 40},     {2, 1, 0, 1, 0, 3},         {3, 1, 0, 1, 0, 2},
    {7, 1, 0, 1, 0, 65},    {8, 1, 0, 1, 0, 8},      {16, 1, 0, 1, 0, 100},      {17, 1, 0, 1, 0, 16},
    {31, 1, 0, 1, 0, 97},   {32, 1, 0, 1, 0, 31},    {33, 1, 0, 1, 0, 577},      {64, 1, 0, 1, 0, 1200},
    {100, 1, 0, 1, 0, 7},   {255, 1, 0, 1, 0, 99},   {257, 1, 0, 1, 0, 300},     {600, 1, 0, 1, 0, 700},
    {1, 4, 3, 1, 0, 9},     {2, 4, 1, 1, 0, 9},      {64, 4, 0, 1, 0, 200},      {63, 4, 3, 1, 0, 700},
    {13, 2, 1, 1, 0, 5},    {1100, 3, 1, 1, 0, 120}, {64, 1, 0, 4, 0, 50},       {65, 1, 0, 4, 3, 300},
    {5, 1, 0, 2, 1, 1},     {3, 1, 0, 7, 6, 40},     {11, 1, 0, 100, 99, 30},    {300, 1, 0, 900, 17, 5},
    {777, 1, 0, 5, 2, 60},  {96, 3, 2, 2, 1, 90},    {97, 3, 0, 2, 1, 3},        {50, 2, 0, 3, 2, 333},
    {20, 6, 5, 4, 0, 20},   {5, 8, 7, 3, 2, 20},     {320, 160, 159, 147, 0, 3}, {900, 40, 3, 39, 38, 12},
    {1, 5, 4, 7, 6, 6},     {70, 1, 0, 8, 5, 600},   {130, 1, 0, 9, 0, 300},     {600, 1, 0, 9, 8, 30},
    {2000, 7, 2, 3, 1, 40},
};

}  // namespace moxtest
