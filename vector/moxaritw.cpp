// Arithmetic on int16 and complex int16 vectors and on single complex values, with scale modes.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "frame/check.h"
#include "frame/element.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

using Arithmetic16 = Here<"moxaritw">;

// int16 values in an element.
template <class T>
constexpr size_t kParts = sizeof(T) / sizeof(int16_t);

using kernel::Int16;
using kernel::Int16Op;

const Int16& kernels() { return kernel::active->int16; }

// The operation of a family on one element type: the complex product is another one than the real.
enum class Family { add, sub, mpy };
template <Family F, class T>
const Int16Op& operation() {
  switch (F) {
    case Family::add:
      return kernels().add;
    case Family::sub:
      return kernels().sub;
    default:
      return kComplex<T> ? kernels().mpyComplex : kernels().mpy;
  }
}

// Modes here are 1 and 3 for saturation, 4 for the automatic factor; any other is mode 2 but for 0.
bool saturates(int32_t mode) { return mode == MOX_NoScaleSat || mode == MOX_FixScaleSat; }
int32_t fixedFactor(int32_t mode, const int32_t* scalefactor) {
  return mode == MOX_NoScale || mode == MOX_NoScaleSat || !scalefactor ? 0 : *scalefactor;
}

// dst[i] = a[i] op b[i] with the least factor that serves all: products of the automatic mode.
template <Family F, class T>
void shiftDown(const int16_t* a, const int16_t* b, int16_t* dst, size_t n, int32_t factor) {
  if constexpr (F == Family::mpy && kComplex<T>) {
    kernels().shiftComplex(a, b, dst, n, factor);
  } else {
    operation<F, T>().combine(a, b, dst, n, false, factor);
  }
}

// The automatic mode on partly overlapping arrays, literally: elements from the last down, stored unscaled while they
// fit; at the first that does not, the factor is searched in it and all that are left, those stored are shifted, and
// the rest is computed with the factor.
template <Family F, class T>
[[gnu::cold]] int32_t combineDownAutomatic(const T* a, const T* b, T* dst, int32_t n) {
  const Int16Op& op = operation<F, T>();
  const auto factorOf = [&](int32_t i) { return op.autoFactor(reals(a + i), reals(b + i), kParts<T>); };
  int32_t i = n - 1;
  for (; i >= 0 && factorOf(i) == 0; --i) op.combine(reals(a + i), reals(b + i), reals(dst + i), kParts<T>, false, 0);
  int32_t factor = 0;
  for (int32_t k = i; k >= 0; --k) factor = std::max(factor, factorOf(k));
  for (int32_t k = n - 1; k > i; --k) {
    for (size_t p = 0; p < kParts<T>; ++p) reals(dst + k)[p] = static_cast<int16_t>(reals(dst + k)[p] >> factor);
  }
  for (; i >= 0; --i) shiftDown<F, T>(reals(a + i), reals(b + i), reals(dst + i), kParts<T>, factor);
  return factor;
}

// Partly overlapping arrays, element by element.
template <Family F, class T>
[[gnu::cold, gnu::noinline]] void combineDown(const T* a, const T* b, T* dst, int32_t n, int32_t mode,
                                              int32_t* scalefactor) {
  if (mode == MOX_AutoScale) {
    *scalefactor = combineDownAutomatic<F>(a, b, dst, n);
    return;
  }
  const Int16Op& op = operation<F, T>();
  const bool saturate = saturates(mode);
  const int32_t factor = fixedFactor(mode, scalefactor);
  for (int32_t i = n; i-- > 0;) op.combine(reals(a + i), reals(b + i), reals(dst + i), kParts<T>, saturate, factor);
}

template <Family F, class T>
void zip(const T* a, const T* b, T* dst, int32_t n, int32_t mode, int32_t* scalefactor) {
  if (partlyOverlap(a, dst, n) || partlyOverlap(b, dst, n)) [[unlikely]]
    return combineDown<F>(a, b, dst, n, mode, scalefactor);
  const Int16Op& op = operation<F, T>();
  const size_t count = realCount<T>(n);
  if (mode == MOX_AutoScale) {
    *scalefactor = op.automatic(reals(a), reals(b), reals(dst), count);
  } else {
    op.combine(reals(a), reals(b), reals(dst), count, saturates(mode), fixedFactor(mode, scalefactor));
  }
}

template <Family F, class T>
void withScalar(T val, T* dst, int32_t n, int32_t mode, int32_t* scalefactor) {
  const Int16Op& op = operation<F, T>();
  const size_t count = realCount<T>(n);
  if (mode == MOX_AutoScale) {
    *scalefactor = op.automaticPair(even(val), odd(val), reals(dst), count);
  } else {
    op.combinePair(even(val), odd(val), reals(dst), count, saturates(mode), fixedFactor(mode, scalefactor));
  }
}

// ---- checks: the factor pointer is looked at only after all others passed

bool lacksFactor(const Site& site, int32_t mode, const int32_t* scalefactor) {
  return mode == MOX_AutoScale && rejected(site, BAD_IF(scalefactor==0));
}

template <Family F, class T>
void update1(T val, T* dst, int32_t n, int32_t mode, int32_t* scalefactor, Site site) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(dst==0)) || lacksFactor(site, mode, scalefactor)) return;
  withScalar<F>(val, dst, n, mode, scalefactor);
}

template <class T>
void add1(T val, T* dst, int32_t n, int32_t mode, int32_t* factor, Site site = Arithmetic16()) {
  update1<Family::add>(val, dst, n, mode, factor, site);
}
template <class T>
void sub1(T val, T* dst, int32_t n, int32_t mode, int32_t* factor, Site site = Arithmetic16()) {
  update1<Family::sub>(val, dst, n, mode, factor, site);
}
template <class T>
void mpy1(T val, T* dst, int32_t n, int32_t mode, int32_t* factor, Site site = Arithmetic16()) {
  update1<Family::mpy>(val, dst, n, mode, factor, site);
}

template <Family F, class T>
void update2(const T* src, T* dst, int32_t n, int32_t mode, int32_t* scalefactor, Site site) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0)) || lacksFactor(site, mode, scalefactor)) return;
  zip<F>(dst, src, dst, n, mode, scalefactor);
}

template <class T>
void add2(const T* src, T* dst, int32_t n, int32_t mode, int32_t* factor, Site site = Arithmetic16()) {
  update2<Family::add>(src, dst, n, mode, factor, site);
}
template <class T>
void mpy2(const T* src, T* dst, int32_t n, int32_t mode, int32_t* factor, Site site = Arithmetic16()) {
  update2<Family::mpy>(src, dst, n, mode, factor, site);
}
template <class T>
void sub2(const T* val, T* dst, int32_t n, int32_t mode, int32_t* scalefactor, Site site = Arithmetic16()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(val==0), BAD_IF(dst==0)) || lacksFactor(site, mode, scalefactor)) return;
  zip<Family::sub>(dst, val, dst, n, mode, scalefactor);
}

template <Family F, class T>
void write3(const T* srcA, const T* srcB, T* dst, int32_t n, int32_t mode, int32_t* scalefactor, Site site) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(srcA==0), BAD_IF(srcB==0), BAD_IF(dst==0)) ||
                                                           lacksFactor(site, mode, scalefactor)) {
    return;
  }
  zip<F>(srcA, srcB, dst, n, mode, scalefactor);
}

template <class T>
void add3(const T* srcA, const T* srcB, T* dst, int32_t n, int32_t mode, int32_t* factor, Site site = Arithmetic16()) {
  write3<Family::add>(srcA, srcB, dst, n, mode, factor, site);
}
template <class T>
void mpy3(const T* srcA, const T* srcB, T* dst, int32_t n, int32_t mode, int32_t* factor, Site site = Arithmetic16()) {
  write3<Family::mpy>(srcA, srcB, dst, n, mode, factor, site);
}
template <class T>
void sub3(const T* src, const T* val, T* dst, int32_t n, int32_t mode, int32_t* scalefactor,
          Site site = Arithmetic16()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(val==0), BAD_IF(dst==0)) ||
                                                          lacksFactor(site, mode, scalefactor)) {
    return;
  }
  zip<Family::sub>(src, val, dst, n, mode, scalefactor);
}

template <class T>
void set(T val, T* dst, int32_t n, Site site = Arithmetic16()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(dst==0))) return;
  kernels().fillPair(even(val), odd(val), reals(dst), realCount<T>(n));
}

template <class T>
void copy(const T* src, T* dst, int32_t n, Site site = Arithmetic16()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  if (partlyOverlap(src, dst, n)) [[unlikely]] {
    for (int32_t i = n; i-- > 0;) dst[i] = src[i];
    return;
  }
  kernels().copy(reals(src), reals(dst), realCount<T>(n));
}

// ---- conjugation: the imaginary part is negated modulo 2^16

MoxV conjugated(MoxV v) { return {v.re, static_cast<int16_t>(-v.im)}; }

void conjugate(const MoxV* src, MoxV* dst, int32_t n) {
  if (partlyOverlap(src, dst, n)) [[unlikely]] {
    for (int32_t i = n; i-- > 0;) dst[i] = conjugated(src[i]);
    return;
  }
  kernels().conj(reals(src), reals(dst), static_cast<size_t>(n));
}

// dst[n-1-i] = conj(src[i]), reading up, writing down
void conjugateFlip(const MoxV* src, MoxV* dst, int32_t n) {
  if (src == dst || partlyOverlap(src, dst, n)) [[unlikely]] {
    for (int32_t i = 0; i < n; ++i) dst[n - 1 - i] = conjugated(src[i]);
    return;
  }
  kernels().conjFlip(reals(src), reals(dst), static_cast<size_t>(n));
}

// v is rounded to the nearest integer, ties to even.
int16_t limited(double v) {
  return static_cast<int16_t>(std::fmin(std::fmax(std::nearbyint(v), INT16_MIN), INT16_MAX));
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxwbZero(int16_t* dst, int32_t n) { set(int16_t{0}, dst, n); }
void moxvbZero(MoxV* dst, int32_t n) { set(MoxV{0, 0}, dst, n); }
void moxwbSet(int16_t val, int16_t* dst, int32_t n) { set(val, dst, n); }
void moxvbSet(MoxV val, MoxV* dst, int32_t n) { set(val, dst, n); }
void moxwbCopy(const int16_t* src, int16_t* dst, int32_t n) { copy(src, dst, n); }
void moxvbCopy(const MoxV* src, MoxV* dst, int32_t n) { copy(src, dst, n); }

void moxwbAdd1(int16_t val, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  add1(val, dst, n, scaleMode, scalePtr);
}
void moxvbAdd1(MoxV val, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  add1(val, dst, n, scaleMode, scalePtr);
}
void moxwbAdd2(const int16_t* src, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  add2(src, dst, n, scaleMode, scalePtr);
}
void moxvbAdd2(const MoxV* src, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  add2(src, dst, n, scaleMode, scalePtr);
}
void moxwbAdd3(const int16_t* srcA, const int16_t* srcB, int16_t* dst, int32_t n, int32_t scaleMode,
               int32_t* scalePtr) {
  add3(srcA, srcB, dst, n, scaleMode, scalePtr);
}
void moxvbAdd3(const MoxV* srcA, const MoxV* srcB, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  add3(srcA, srcB, dst, n, scaleMode, scalePtr);
}

void moxwbSub1(int16_t val, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  sub1(val, dst, n, scaleMode, scalePtr);
}
void moxvbSub1(MoxV val, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  sub1(val, dst, n, scaleMode, scalePtr);
}
void moxwbSub2(const int16_t* val, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  sub2(val, dst, n, scaleMode, scalePtr);
}
void moxvbSub2(const MoxV* val, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  sub2(val, dst, n, scaleMode, scalePtr);
}
void moxwbSub3(const int16_t* src, const int16_t* val, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  sub3(src, val, dst, n, scaleMode, scalePtr);
}
void moxvbSub3(const MoxV* src, const MoxV* val, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  sub3(src, val, dst, n, scaleMode, scalePtr);
}

void moxwbMpy1(int16_t val, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  mpy1(val, dst, n, scaleMode, scalePtr);
}
void moxvbMpy1(MoxV val, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  mpy1(val, dst, n, scaleMode, scalePtr);
}
void moxwbMpy2(const int16_t* src, int16_t* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  mpy2(src, dst, n, scaleMode, scalePtr);
}
void moxvbMpy2(const MoxV* src, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  mpy2(src, dst, n, scaleMode, scalePtr);
}
void moxwbMpy3(const int16_t* srcA, const int16_t* srcB, int16_t* dst, int32_t n, int32_t scaleMode,
               int32_t* scalePtr) {
  mpy3(srcA, srcB, dst, n, scaleMode, scalePtr);
}
void moxvbMpy3(const MoxV* srcA, const MoxV* srcB, MoxV* dst, int32_t n, int32_t scaleMode, int32_t* scalePtr) {
  mpy3(srcA, srcB, dst, n, scaleMode, scalePtr);
}

void moxvbConj1(MoxV* vec, int32_t n) {
  if (rejected(Arithmetic16(), BAD_IF(n<=0), BAD_IF(vec==0))) return;
  conjugate(vec, vec, n);
}
void moxvbConj2(const MoxV* src, MoxV* dst, int32_t n) {
  if (rejected(Arithmetic16(), BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  conjugate(src, dst, n);
}
void moxvbConjFlip2(const MoxV* src, MoxV* dst, int32_t n) {
  if (rejected(Arithmetic16(), BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  conjugateFlip(src, dst, n);
}
void moxvbConjExtend1(MoxV* vec, int32_t n) {
  if (rejected(Arithmetic16(), BAD_IF(n<=0), BAD_IF(vec==0))) return;
  conjugateFlip(vec, vec + n, n);
}
// dst[i] = src[i] and dst[2n-1-i] = conj(src[i]), i from n-1 down
void moxvbConjExtend2(const MoxV* src, MoxV* dst, int32_t n) {
  if (rejected(Arithmetic16(), BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  for (int32_t i = n; i-- > 0;) {
    const MoxV v = src[i];
    dst[i] = v;
    dst[2 * static_cast<int64_t>(n) - 1 - i] = conjugated(v);
  }
}

MoxV moxvConj(MoxV a) { return conjugated(a); }
MoxV moxvSet(int16_t re, int16_t im) { return {re, im}; }

MoxV moxvAdd(MoxV a, MoxV b, int32_t scaleMode, int32_t* scalePtr) {
  MoxV sum = {0, 0};
  moxvbAdd3(&a, &b, &sum, 1, scaleMode, scalePtr);
  return sum;
}
MoxV moxvSub(MoxV a, MoxV b, int32_t scaleMode, int32_t* scalePtr) {
  MoxV difference = {0, 0};
  moxvbSub3(&a, &b, &difference, 1, scaleMode, scalePtr);
  return difference;
}
// Every call reports a trace, whatever came out.
MoxV moxvMpy(MoxV a, MoxV b, int32_t scaleMode, int32_t* scalePtr) {
  MoxV product = {0, 0};
  moxvbMpy3(&a, &b, &product, 1, scaleMode, scalePtr);
  report({"moxaritw", "moxvMpy", 298}, MOX_StsBackTrace, nullptr);
  return product;
}
// The sum of squares wraps in 32 bits, which it does for (-32768, -32768) alone.
MoxV moxvDiv(MoxV a, MoxV b) {
  if (b.re == 0 && b.im == 0) [[unlikely]] {
    report({"moxaritw", "moxvDiv", 315}, MOX_StsBadArg, "(b.re==0)&&(b.im==0)");
    return {0, 0};
  }
  const double ar = a.re, ai = a.im, br = b.re, bi = b.im;
  const uint32_t square = static_cast<uint32_t>(b.re * b.re) + static_cast<uint32_t>(b.im * b.im);
  const double r = 1.0 / static_cast<int32_t>(square);
  return {limited((ar * br + ai * bi) * r), limited((ai * br - ar * bi) * r)};
}

}  // extern "C"
