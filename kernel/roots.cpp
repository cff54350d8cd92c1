#include "kernel/roots.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace mox::kernel {
namespace {

constexpr DoubleDouble quickTwoSum(double a, double b) {  // |a| >= |b|
  const double s = a + b;
  return {s, b - (s - a)};
}

DoubleDouble twoSum(double a, double b) {
  const double s = a + b;
  const double t = s - a;
  return {s, (a - (s - t)) + (b - t)};
}

constexpr DoubleDouble twoProduct(double a,
                                  double b) {  // Dekker: no fused multiply-add, so every processor gives these bits
  constexpr double split = 134217729.0;        // 2^27 + 1
  const double p = a * b;
  const double ta = split * a, tb = split * b;
  const double ah = ta - (ta - a), bh = tb - (tb - b);
  const double al = a - ah, bl = b - bh;
  return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

constexpr DoubleDouble kPi = {0x1.921fb54442d18p+1, 0x1.1a62633145c07p-53};
constexpr DoubleDouble kHalfPi = {0x1.921fb54442d18p+0, 0x1.1a62633145c07p-54};

// 1/n! = (1/(n-1)!) / n as sums of two doubles.
struct InverseFactorials {
  DoubleDouble f[30] = {{1, 0}};
  constexpr InverseFactorials() {
    for (int n = 1; n < 30; ++n) {
      const double q = f[n - 1].hi / n;
      const DoubleDouble p = twoProduct(q, n);
      f[n] = quickTwoSum(q, ((f[n - 1].hi - p.hi) - p.lo + f[n - 1].lo) / n);
    }
  }
};
constexpr InverseFactorials kInverse;

// Taylor series for |x| <= pi/4: the first term left out is below 2^-107.
SinCos taylor(DoubleDouble x) {
  const DoubleDouble z = -(x * x);
  DoubleDouble s = kInverse.f[27], c = kInverse.f[28];
  for (int n = 25; n >= 1; n -= 2) s = s * z + kInverse.f[n];
  for (int n = 26; n >= 0; n -= 2) c = c * z + kInverse.f[n];
  return {s * x, c};
}

// a + b, |a| >= |b|
DoubleDouble quickSum(DoubleDouble a, DoubleDouble b) {
  const DoubleDouble s = quickTwoSum(a.hi, b.hi);
  return quickTwoSum(s.hi, s.lo + (a.lo + b.lo));
}
// The same to 2^-63 of each: what follows the first three terms is less than 2^-11 of them and summed in double.
SinCos shortTaylor(DoubleDouble x) {
  const auto& f = kInverse.f;
  const DoubleDouble z = -(x * x);
  double s = f[19].hi, c = f[20].hi;
  for (int n = 17; n >= 7; n -= 2) s = s * z.hi + f[n].hi;
  for (int n = 18; n >= 6; n -= 2) c = c * z.hi + f[n].hi;
  const DoubleDouble s5 = quickSum(f[5], {s * z.hi, 0}), c4 = quickSum(f[4], {c * z.hi, 0});
  const DoubleDouble s3 = quickSum(f[3], s5 * z), c2 = quickSum(f[2], c4 * z);
  return {quickSum(x, s3 * z * x), quickSum(f[0], c2 * z)};
}
// Whether all values within 2^-62 of x have the same hi.
bool isRounded(DoubleDouble x) {
  const double slack = x.hi * 0x1p-62;
  return x.hi + (x.lo + slack) == x.hi && x.hi + (x.lo - slack) == x.hi;
}

int32_t quartersOf(double angle) {
  const double turns = angle / kHalfPi.hi;
  return static_cast<int32_t>(turns + (turns < 0 ? -0.5 : 0.5));
}
SinCos turned(const SinCos& r, int32_t quarters) {
  switch (quarters & 3) {
    case 0:
      return r;
    case 1:
      return {r.cos, -r.sin};
    case 2:
      return {-r.sin, -r.cos};
    default:
      return {-r.cos, r.sin};
  }
}

}  // namespace

DoubleDouble operator+(DoubleDouble a, DoubleDouble b) {
  const DoubleDouble s = twoSum(a.hi, b.hi), t = twoSum(a.lo, b.lo);
  const DoubleDouble u = quickTwoSum(s.hi, s.lo + t.hi);
  return quickTwoSum(u.hi, u.lo + t.lo);
}

DoubleDouble operator*(DoubleDouble a, DoubleDouble b) {
  const DoubleDouble p = twoProduct(a.hi, b.hi);
  return quickTwoSum(p.hi, p.lo + (a.hi * b.lo + a.lo * b.hi));
}

DoubleDouble operator-(DoubleDouble a) { return {-a.hi, -a.lo}; }

template <>
double rounded<double>(DoubleDouble x) {
  return x.hi;
}

template <>
float rounded<float>(DoubleDouble x) {
  // Round to odd first: hi's last bit stands for what lo leaves over, so that the second rounding cannot see a false
  // tie.
  if (x.lo != 0) {
    uint64_t bits;
    std::memcpy(&bits, &x.hi, sizeof bits);
    if (!(bits & 1)) {
      if ((x.lo > 0) == (x.hi > 0)) {
        bits |= 1;
      } else {
        bits -= 1;
      }
    }
    std::memcpy(&x.hi, &bits, sizeof bits);
  }
  return static_cast<float>(x.hi);
}

SinCos sinCos(DoubleDouble angle) {
  const int32_t quarter = quartersOf(angle.hi);
  const double quarters = quarter;
  const DoubleDouble back = twoProduct(quarters, kHalfPi.hi);
  const DoubleDouble reduced =
      angle + -back + -twoProduct(quarters, kHalfPi.lo) + -DoubleDouble{quarters * -0x1.f1976b7ed8fbcp-110, 0};
  return turned(taylor(reduced), quarter);
}

SinCosNearest sinCosNearest(DoubleDouble angle) {
  const int32_t quarter = quartersOf(angle.hi);
  const double quarters = quarter;
  const DoubleDouble back = twoProduct(quarters, kHalfPi.hi);
  const double first = angle.hi - back.hi;    // exact
  if (first > 0x1p-30 || first < -0x1p-30) {  // the rest is good to 2^-75 of it
    const SinCos r = shortTaylor(quickTwoSum(first, (angle.lo - back.lo) - quarters * kHalfPi.lo));
    if (isRounded(r.sin) && isRounded(r.cos)) {
      const SinCos all = turned(r, quarter);
      return {all.sin.hi, all.cos.hi};
    }
  }
  const SinCos all = sinCos(angle);
  return {all.sin.hi, all.cos.hi};
}

// From malloc: operator new would bring the exception runtime along, which costs a thread slot per load on Windows.
Roots::Roots(int order) : order_(order), fineBits_(order / 2) {
  const uint64_t octant = (uint64_t{1} << order) / 8;
  const size_t coarse = static_cast<size_t>(octant >> fineBits_) + 1, fine = size_t{1} << fineBits_;
  fine_ = static_cast<SinCos*>(std::malloc(fine * sizeof(SinCos)));
  coarse_ = static_cast<SinCos*>(std::malloc(coarse * sizeof(SinCos)));
  if (!ok()) return;
  const double step = std::ldexp(2.0, -order);
  for (size_t k = 0; k < fine; ++k) {
    if (k <= octant) fine_[k] = sinCos(kPi * DoubleDouble{static_cast<double>(k) * step, 0});
  }
  for (size_t k = 0; k < coarse; ++k) {
    coarse_[k] = sinCos(kPi * DoubleDouble{static_cast<double>(uint64_t{k} << fineBits_) * step, 0});
  }
}

Roots::~Roots() {
  std::free(fine_);
  std::free(coarse_);
}

Root Roots::firstOctant(uint64_t k) const {
  const SinCos& f = fine_[static_cast<size_t>(k & ((uint64_t{1} << fineBits_) - 1))];
  const SinCos& c = coarse_[static_cast<size_t>(k >> fineBits_)];
  return {c.cos * f.cos + -(c.sin * f.sin), c.sin * f.cos + c.cos * f.sin};
}

Root Roots::at(uint64_t k) const {
  const uint64_t n = uint64_t{1} << order_;
  // Work in units of an eighth of the circle, eight times finer so that small orders need no special case.
  const uint64_t eighth = n, j = (k & (n - 1)) * 8;  // angle j/(8n) of the circle; an octant is n units
  const uint64_t octant = j / eighth, inside = j % eighth;
  const uint64_t first = octant & 1 ? eighth - inside : inside;  // mirrored in odd octants
  const Root r = order_ >= 3 ? firstOctant(first / 8) : Root{};
  DoubleDouble cos = r.re, sin = r.im;
  if (order_ < 3) {  // only multiples of a quarter turn
    cos = first == 0 ? DoubleDouble{1, 0} : DoubleDouble{0x1.6a09e667f3bcdp-1, -0x1.bdd3413b26456p-55};
    sin = first == 0 ? DoubleDouble{0, 0} : cos;
  }
  if (((octant + 1) >> 1) & 1) {  // octants 1, 2, 5, 6: the mirror at pi/4
    const DoubleDouble t = cos;
    cos = sin;
    sin = t;
  }
  if (octant >= 2 && octant < 6) cos = -cos;
  if (octant >= 4) sin = -sin;
  return {cos, -sin};
}

template <class T>
void Roots::store(uint64_t k, T* reIm) const {
  const Root r = at(k);
  reIm[0] = rounded<T>(r.re);
  reIm[1] = rounded<T>(r.im);
}
template void Roots::store<float>(uint64_t, float*) const;
template void Roots::store<double>(uint64_t, double*) const;

}  // namespace mox::kernel
