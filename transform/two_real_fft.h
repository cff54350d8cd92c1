// Two real signals x, y of N = 2^order samples through one complex transform of z = x + i y.
#pragma once
#include <algorithm>
#include <cstring>

#include "transform/call.h"
#include "transform/complex_fft.h"
#include "transform/inner_call.h"

namespace mox {

// ---- halves: Re A[0] ... Re A[N/2-1], A[N/2], Im A[1] ... Im A[N/2-1], in place from and to RCPerm
//
// Exchanging them rotates the index's bits by one place: a reversal of all bits, then one of all but the last.

template <class T>
void halvesToPerm(T* a, int32_t order) {
  Precision<T>::bitRev(a, order);
  Precision<T>::bitRev(reinterpret_cast<ComplexOf<T>*>(a), order - 1);
}
template <class T>
void permToHalves(T* a, int32_t order) {
  Precision<T>::bitRev(reinterpret_cast<ComplexOf<T>*>(a), order - 1);
  Precision<T>::bitRev(a, order);
}

// ---- Z = X + i Y, as (re, im) on one side and CCS in two arrays on the other; order >= 1

// X[k] = (Z[k] + conj Z[N-k]) / 2, Y[k] = (Z[k] - conj Z[N-k]) / 2i
template <class T>
void separate(T* x, T* y, int32_t order) {
  const size_t n = size_t{1} << order, m = n / 2;
  for (size_t k = 1; k < m; ++k) {
    const T re = x[k], im = y[k], mirrorRe = x[n - k], mirrorIm = y[n - k];
    x[k] = (re + mirrorRe) / 2;
    x[n - k] = (im - mirrorIm) / 2;
    y[k] = (im + mirrorIm) / 2;
    y[n - k] = (mirrorRe - re) / 2;
  }
  for (T* const a : {x, y}) {
    std::reverse(a + m + 1, a + n);
    halvesToPerm(a, order);
    a[n] = a[1];
    a[1] = a[n + 1] = 0;
  }
}

// The other way. `out` has n elements and may be `in`.
template <class T>
void spectrumToHalves(const T* in, T* out, int32_t order) {
  const size_t n = size_t{1} << order;
  const T middle = in[n];
  if (in != out) std::memcpy(out, in, n * sizeof(T));
  out[1] = middle;
  permToHalves(out, order);
  std::reverse(out + n / 2 + 1, out + n);
}
template <class T>
void join(const T* xIn, const T* yIn, T* x, T* y, int32_t order) {
  const size_t n = size_t{1} << order, m = n / 2;
  spectrumToHalves(xIn, x, order);
  spectrumToHalves(yIn, y, order);
  for (size_t k = 1; k < m; ++k) {
    const T xRe = x[k], xIm = x[n - k], yRe = y[k], yIm = y[n - k];
    x[k] = xRe - yIm;
    y[k] = xIm + yRe;
    x[n - k] = xRe + yIm;
    y[n - k] = yRe - xIm;
  }
}

// ---- the two families

struct TwoToSpectra {
  template <class T>
  static void run(const T* xIn, const T* yIn, T* xOut, T* yOut, int32_t order, int32_t flags, T* table) {
    if (order == 0) {
      *xOut = *xIn;
      *yOut = *yIn;
      return;
    }
    naturalParts(xIn, yIn, xOut, yOut, order, flags, table);
    separate(xOut, yOut, order);
  }
  template <class T>
  static InnerOnTwo<T> inner() {
    return Inner<T>::twoToSpectra;
  }
};

struct TwoToSignals {
  template <class T>
  static void run(const T* xIn, const T* yIn, T* xOut, T* yOut, int32_t order, int32_t flags, T* table) {
    if (order == 0) {
      *xOut = *xIn;
      *yOut = *yIn;
      return;
    }
    join(xIn, yIn, xOut, yOut, order);
    naturalParts(xOut, yOut, xOut, yOut, order, flags, table);
  }
  template <class T>
  static InnerOnTwo<T> inner() {
    return Inner<T>::parts;
  }
};

template <class Family, class T>
[[gnu::noinline]] void twoInPlaceChecked(T* xSamps, T* ySamps, int32_t order, int32_t flags, const char* function,
                                         int32_t line) {
  const SiteOf<T> site(function, line);
  T* const table = tableOfCall<T>(site, order, flags, {}, BAD_IF(xSamps==0), BAD_IF(ySamps==0));
  if (table) Family::run(xSamps, ySamps, xSamps, ySamps, order, flags, table);
}

template <class Family, class T>
MOX_HOT void twoInPlace(T* xSamps, T* ySamps, int32_t order, int32_t flags, SiteOf<T> site = SiteOf<T>()) {
  if (xSamps && ySamps && oneDirection(flags, MOX_Init)) [[likely]] {
    if (auto* const tables = tablesAtHand<T>(order)) [[likely]]
      return Family::run(xSamps, ySamps, xSamps, ySamps, order, flags, kernelTable(tables, order));
  }
  twoInPlaceChecked<Family>(xSamps, ySamps, order, flags, site.function, site.line);
}

template <class Family, class T>
[[gnu::noinline]] void twoNipChecked(const T* xInSamps, const T* yInSamps, T* xOutSamps, T* yOutSamps, int32_t order,
                                     int32_t flags, const char* function, int32_t line) {
  const SiteOf<T> site(function, line);
  if (flags & MOX_Init) {
    Precision<T>::get(order);
    return;
  }
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(xInSamps==0), BAD_IF(yInSamps==0),
                                                                                    BAD_IF(xOutSamps==0),
                                                                                           BAD_IF(yOutSamps==0)))
    return;
  // The bit-order flags mean nothing here, to the inner call neither.
  flags &= MOX_Forw | MOX_Inv | MOX_NoInvScale;
  if (flagsFit(flags, {})) {
    if (T* const table = tableOf<T>(order))
      return Family::run(xInSamps, yInSamps, xOutSamps, yOutSamps, order, flags, table);
  }
  Family::template inner<T>()(site, xOutSamps, yOutSamps, order, flags);
}

template <class Family, class T>
MOX_HOT void twoNip(const T* xInSamps, const T* yInSamps, T* xOutSamps, T* yOutSamps, int32_t order, int32_t flags,
                    SiteOf<T> site = SiteOf<T>()) {
  if (xInSamps && yInSamps && xOutSamps && yOutSamps && oneDirection(flags, MOX_Init)) [[likely]] {
    if (auto* const tables = tablesAtHand<T>(order)) [[likely]]
      return Family::run(xInSamps, yInSamps, xOutSamps, yOutSamps, order, flags, kernelTable(tables, order));
  }
  twoNipChecked<Family>(xInSamps, yInSamps, xOutSamps, yOutSamps, order, flags, site.function, site.line);
}

}  // namespace mox
