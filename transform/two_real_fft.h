// Two real signals x, y of N = 2^order samples through one complex transform of z = x + i y.
#pragma once
#include "transform/call.h"
#include "transform/complex_fft.h"
#include "transform/inner_call.h"

namespace mox {

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
    Precision<T>::fft().splitTwo[order](xOut, yOut, table);
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
    Precision<T>::fft().joinTwo[order](xIn, yIn, xOut, yOut, table);
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
