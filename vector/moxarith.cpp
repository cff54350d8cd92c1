// Arithmetic on floating-point and complex vectors and on single complex values.
#include <cstring>

#include "frame/check.h"
#include "frame/element.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

using Arithmetic = Here<"moxarith">;

// ---- arithmetic on one element

float plus(float a, float b) { return a + b; }
double plus(double a, double b) { return a + b; }
MoxC plus(MoxC a, MoxC b) { return {a.re + b.re, a.im + b.im}; }
MoxZ plus(MoxZ a, MoxZ b) { return {a.re + b.re, a.im + b.im}; }

float minus(float a, float b) { return a - b; }
double minus(double a, double b) { return a - b; }
MoxC minus(MoxC a, MoxC b) { return {a.re - b.re, a.im - b.im}; }
MoxZ minus(MoxZ a, MoxZ b) { return {a.re - b.re, a.im - b.im}; }

float times(float a, float b) { return a * b; }
double times(double a, double b) { return a * b; }
MoxC times(MoxC a, MoxC b) {
  const double ar = a.re, ai = a.im, br = b.re, bi = b.im;
  return {static_cast<float>(ar * br - ai * bi), static_cast<float>(ar * bi + ai * br)};
}
MoxZ times(MoxZ a, MoxZ b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }

// The conjugate as the vector forms make it: the sign bit of the imaginary part flipped, whatever it holds.
template <class C>
C conjugated(C v) {
  unsigned char bytes[sizeof(C)];
  std::memcpy(bytes, &v, sizeof v);
  bytes[sizeof v - 1] ^= 0x80;
  std::memcpy(&v, bytes, sizeof v);
  return v;
}

template <class R>
const kernel::Arith<R>& arith() {
  if constexpr (sizeof(R) == 4) {
    return kernel::active->arith32;
  } else {
    return kernel::active->arith64;
  }
}

// ---- order of processing: kernels serve equal and disjoint arrays, partly overlapping ones go element by element,
// down

// dst[i] = a[i] op b[i]
template <class T>
[[gnu::noinline, gnu::cold]] void zipDown(const T* a, const T* b, T* dst, int32_t n, T (*op)(T, T)) {
  for (int32_t i = n; i-- > 0;) dst[i] = op(a[i], b[i]);
}
template <class T, class R = RealOf<T>>
void zip(const T* a, const T* b, T* dst, int32_t n, void (*kernel)(const R*, const R*, R*, size_t), size_t count,
         T (*op)(T, T)) {
  if (partlyOverlap(a, dst, n) || partlyOverlap(b, dst, n)) [[unlikely]]
    return zipDown(a, b, dst, n, op);
  kernel(reals(a), reals(b), reals(dst), count);
}
template <class T>
void zipPlus(const T* a, const T* b, T* dst, int32_t n) {
  zip<T>(a, b, dst, n, arith<RealOf<T>>().add, realCount<T>(n), plus);
}
template <class T>
void zipMinus(const T* a, const T* b, T* dst, int32_t n) {
  zip<T>(a, b, dst, n, arith<RealOf<T>>().sub, realCount<T>(n), minus);
}
template <class T>
void zipTimes(const T* a, const T* b, T* dst, int32_t n) {
  const auto& k = arith<RealOf<T>>();
  zip<T>(a, b, dst, n, kComplex<T> ? k.mpyComplex : k.mpy, static_cast<size_t>(n), times);
}

// ---- the families

template <class T>
void zero(T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(dst==0))) return;
  arith<RealOf<T>>().setPair(0, 0, reals(dst), realCount<T>(n));
}

template <class T>
void set(T val, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(dst==0))) return;
  arith<RealOf<T>>().setPair(even(val), odd(val), reals(dst), realCount<T>(n));
}

template <class T>
void copy(const T* src, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  if (partlyOverlap(src, dst, n)) [[unlikely]] {
    for (int32_t i = n; i-- > 0;) std::memmove(dst + i, src + i, sizeof(T));
    return;
  }
  kernel::active->copyWords(reinterpret_cast<const uint32_t*>(src), reinterpret_cast<uint32_t*>(dst),
                            static_cast<size_t>(n) * (sizeof(T) / sizeof(uint32_t)));
}

template <class T>
void addScalar(T val, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(dst==0))) return;
  arith<RealOf<T>>().addPair(even(val), odd(val), reals(dst), realCount<T>(n));
}

template <class T>
void addInPlace(const T* src, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  zipPlus<T>(dst, src, dst, n);
}

template <class T>
void add(const T* srcA, const T* srcB, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(srcA==0), BAD_IF(srcB==0), BAD_IF(dst==0))) return;
  zipPlus<T>(srcA, srcB, dst, n);
}

template <class T>
void subScalar(T val, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(dst==0))) return;
  arith<RealOf<T>>().subPair(even(val), odd(val), reals(dst), realCount<T>(n));
}

template <class T>
void subInPlace(const T* val, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(val==0), BAD_IF(dst==0))) return;
  zipMinus<T>(dst, val, dst, n);
}

template <class T>
void sub(const T* src, const T* val, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(val==0), BAD_IF(dst==0))) return;
  zipMinus<T>(src, val, dst, n);
}

template <class T>
void mpyScalar(T val, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(dst==0))) return;
  if constexpr (kComplex<T>) {
    arith<RealOf<T>>().scaleComplex(val.re, val.im, reals(dst), static_cast<size_t>(n));
  } else {
    arith<T>().scale(val, dst, static_cast<size_t>(n));
  }
}

template <class T>
void mpyInPlace(const T* src, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  zipTimes<T>(dst, src, dst, n);
}

template <class T>
void mpy(const T* srcA, const T* srcB, T* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(srcA==0), BAD_IF(srcB==0), BAD_IF(dst==0))) return;
  zipTimes<T>(srcA, srcB, dst, n);
}

// dst[i] = conj(src[i])
template <class C>
void conjugate(const C* src, C* dst, int32_t n) {
  if (partlyOverlap(src, dst, n)) [[unlikely]] {
    for (int32_t i = n; i-- > 0;) dst[i] = conjugated(src[i]);
    return;
  }
  arith<RealOf<C>>().conj(reals(src), reals(dst), static_cast<size_t>(n));
}

// dst[n-1-i] = conj(src[i]), reading up, writing down
template <class C>
void conjugateFlip(const C* src, C* dst, int32_t n) {
  if (src == dst || partlyOverlap(src, dst, n)) [[unlikely]] {
    for (int32_t i = 0; i < n; ++i) dst[n - 1 - i] = conjugated(src[i]);
    return;
  }
  arith<RealOf<C>>().conjFlip(reals(src), reals(dst), static_cast<size_t>(n));
}

template <class C>
void conj1(C* vec, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(vec==0))) return;
  conjugate(vec, vec, n);
}

template <class C>
void conj2(const C* src, C* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  conjugate(src, dst, n);
}

template <class C>
void conjFlip2(const C* src, C* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  conjugateFlip(src, dst, n);
}

template <class C>
void conjExtend1(C* vec, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(vec==0))) return;
  conjugateFlip(vec, vec + n, n);
}

// dst[i] = src[i] and dst[2n-1-i] = conj(src[i]), i from n-1 down
template <class C>
void conjExtend2(const C* src, C* dst, int32_t n, Site site = Arithmetic()) {
  if (rejected(site, BAD_IF(n<=0), BAD_IF(src==0), BAD_IF(dst==0))) return;
  if (partlyOverlap(src, dst, n) || src == dst + n || partlyOverlap(src, dst + n, n)) [[unlikely]] {
    for (int32_t i = n; i-- > 0;) {
      const C v = src[i];
      dst[i] = v;
      dst[2 * static_cast<int64_t>(n) - 1 - i] = conjugated(v);
    }
    return;
  }
  if (src != dst) {
    kernel::active->copyWords(reinterpret_cast<const uint32_t*>(src), reinterpret_cast<uint32_t*>(dst),
                              static_cast<size_t>(n) * (sizeof(C) / sizeof(uint32_t)));
  }
  conjugateFlip(dst, dst + n, n);
}

// (a.re b.re + a.im b.im, a.im b.re - a.re b.im) * (1 / |b|^2), in float64
template <class C>
C quotient(C a, C b) {
  using R = RealOf<C>;
  const double ar = a.re, ai = a.im, br = b.re, bi = b.im;
  const double r = 1.0 / (br * br + bi * bi);
  return {static_cast<R>((ar * br + ai * bi) * r), static_cast<R>((ai * br - ar * bi) * r)};
}

template <class C>
C divide(C a, C b, Site site) {
  if (isZero(b)) [[unlikely]] {
    report(site, MOX_StsBadArg, "(b.re==0.0)&&(b.im==0.0)");
    return {0, 0};
  }
  return quotient(a, b);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

MoxC moxcAdd(MoxC a, MoxC b) { return plus(a, b); }
MoxZ moxzAdd(MoxZ a, MoxZ b) { return plus(a, b); }
MoxC moxcSub(MoxC a, MoxC b) { return minus(a, b); }
MoxZ moxzSub(MoxZ a, MoxZ b) { return minus(a, b); }
MoxC moxcMpy(MoxC a, MoxC b) { return times(a, b); }
MoxZ moxzMpy(MoxZ a, MoxZ b) { return times(a, b); }
MoxC moxcDiv(MoxC a, MoxC b) { return divide(a, b, Site{"moxarith", "moxcDiv", 70}); }
MoxZ moxzDiv(MoxZ a, MoxZ b) { return divide(a, b, Arithmetic()); }
MoxC moxcConj(MoxC a) { return {a.re, 0.0f - a.im}; }
MoxZ moxzConj(MoxZ a) { return {a.re, 0.0 - a.im}; }
MoxC moxcSet(float re, float im) { return {re, im}; }
MoxZ moxzSet(double re, double im) { return {re, im}; }

void moxsbZero(float* dst, int32_t n) { zero(dst, n, Site{"moxarith", "moxsbZero", 1105}); }
void moxcbZero(MoxC* dst, int32_t n) { zero(dst, n); }
void moxdbZero(double* dst, int32_t n) { zero(dst, n); }
void moxzbZero(MoxZ* dst, int32_t n) { zero(dst, n); }

void moxsbSet(float val, float* dst, int32_t n) { set(val, dst, n); }
void moxcbSet(MoxC val, MoxC* dst, int32_t n) { set(val, dst, n); }
void moxdbSet(double val, double* dst, int32_t n) { set(val, dst, n); }
void moxzbSet(MoxZ val, MoxZ* dst, int32_t n) { set(val, dst, n); }

void moxsbCopy(const float* src, float* dst, int32_t n) { copy(src, dst, n); }
void moxcbCopy(const MoxC* src, MoxC* dst, int32_t n) { copy(src, dst, n); }
void moxdbCopy(const double* src, double* dst, int32_t n) { copy(src, dst, n); }
void moxzbCopy(const MoxZ* src, MoxZ* dst, int32_t n) { copy(src, dst, n); }

void moxsbAdd1(float val, float* dst, int32_t n) { addScalar(val, dst, n); }
void moxcbAdd1(MoxC val, MoxC* dst, int32_t n) { addScalar(val, dst, n); }
void moxdbAdd1(double val, double* dst, int32_t n) { addScalar(val, dst, n); }
void moxzbAdd1(MoxZ val, MoxZ* dst, int32_t n) { addScalar(val, dst, n); }

void moxsbAdd2(const float* src, float* dst, int32_t n) { addInPlace(src, dst, n); }
void moxcbAdd2(const MoxC* src, MoxC* dst, int32_t n) { addInPlace(src, dst, n); }
void moxdbAdd2(const double* src, double* dst, int32_t n) { addInPlace(src, dst, n); }
void moxzbAdd2(const MoxZ* src, MoxZ* dst, int32_t n) { addInPlace(src, dst, n); }

void moxsbAdd3(const float* srcA, const float* srcB, float* dst, int32_t n) { add(srcA, srcB, dst, n); }
void moxcbAdd3(const MoxC* srcA, const MoxC* srcB, MoxC* dst, int32_t n) { add(srcA, srcB, dst, n); }
void moxdbAdd3(const double* srcA, const double* srcB, double* dst, int32_t n) { add(srcA, srcB, dst, n); }
void moxzbAdd3(const MoxZ* srcA, const MoxZ* srcB, MoxZ* dst, int32_t n) { add(srcA, srcB, dst, n); }

void moxsbSub1(float val, float* dst, int32_t n) { subScalar(val, dst, n); }
void moxcbSub1(MoxC val, MoxC* dst, int32_t n) { subScalar(val, dst, n); }
void moxdbSub1(double val, double* dst, int32_t n) { subScalar(val, dst, n); }
void moxzbSub1(MoxZ val, MoxZ* dst, int32_t n) { subScalar(val, dst, n); }

void moxsbSub2(const float* val, float* dst, int32_t n) { subInPlace(val, dst, n); }
void moxcbSub2(const MoxC* val, MoxC* dst, int32_t n) { subInPlace(val, dst, n); }
void moxdbSub2(const double* val, double* dst, int32_t n) { subInPlace(val, dst, n); }
void moxzbSub2(const MoxZ* val, MoxZ* dst, int32_t n) { subInPlace(val, dst, n); }

void moxsbSub3(const float* src, const float* val, float* dst, int32_t n) { sub(src, val, dst, n); }
void moxcbSub3(const MoxC* src, const MoxC* val, MoxC* dst, int32_t n) { sub(src, val, dst, n); }
void moxdbSub3(const double* src, const double* val, double* dst, int32_t n) { sub(src, val, dst, n); }
void moxzbSub3(const MoxZ* src, const MoxZ* val, MoxZ* dst, int32_t n) { sub(src, val, dst, n); }

void moxsbMpy1(float val, float* dst, int32_t n) { mpyScalar(val, dst, n); }
void moxcbMpy1(MoxC val, MoxC* dst, int32_t n) { mpyScalar(val, dst, n); }
void moxdbMpy1(double val, double* dst, int32_t n) { mpyScalar(val, dst, n); }
void moxzbMpy1(MoxZ val, MoxZ* dst, int32_t n) { mpyScalar(val, dst, n); }

void moxsbMpy2(const float* src, float* dst, int32_t n) { mpyInPlace(src, dst, n); }
void moxcbMpy2(const MoxC* src, MoxC* dst, int32_t n) { mpyInPlace(src, dst, n); }
void moxdbMpy2(const double* src, double* dst, int32_t n) { mpyInPlace(src, dst, n); }
void moxzbMpy2(const MoxZ* src, MoxZ* dst, int32_t n) { mpyInPlace(src, dst, n); }

void moxsbMpy3(const float* srcA, const float* srcB, float* dst, int32_t n) { mpy(srcA, srcB, dst, n); }
void moxcbMpy3(const MoxC* srcA, const MoxC* srcB, MoxC* dst, int32_t n) { mpy(srcA, srcB, dst, n); }
void moxdbMpy3(const double* srcA, const double* srcB, double* dst, int32_t n) { mpy(srcA, srcB, dst, n); }
void moxzbMpy3(const MoxZ* srcA, const MoxZ* srcB, MoxZ* dst, int32_t n) { mpy(srcA, srcB, dst, n); }

void moxcbConj1(MoxC* vec, int32_t n) { conj1(vec, n); }
void moxzbConj1(MoxZ* vec, int32_t n) { conj1(vec, n); }
void moxcbConj2(const MoxC* src, MoxC* dst, int32_t n) { conj2(src, dst, n); }
void moxzbConj2(const MoxZ* src, MoxZ* dst, int32_t n) { conj2(src, dst, n); }
void moxcbConjFlip2(const MoxC* src, MoxC* dst, int32_t n) { conjFlip2(src, dst, n); }
void moxzbConjFlip2(const MoxZ* src, MoxZ* dst, int32_t n) { conjFlip2(src, dst, n); }
void moxcbConjExtend1(MoxC* vec, int32_t n) { conjExtend1(vec, n); }
void moxzbConjExtend1(MoxZ* vec, int32_t n) { conjExtend1(vec, n); }
void moxcbConjExtend2(const MoxC* src, MoxC* dst, int32_t n) { conjExtend2(src, dst, n); }
void moxzbConjExtend2(const MoxZ* src, MoxZ* dst, int32_t n) { conjExtend2(src, dst, n); }

}  // extern "C"
