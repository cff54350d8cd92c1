// Complex transforms, interleaved or in two arrays. In place is the not-in-place form on one array.
#pragma once
#include "transform/call.h"

namespace mox {

constexpr FlagRules kComplexRules = {.bitOrder = true};
constexpr int32_t kUnusualComplex = MOX_Init | MOX_InBitRev | MOX_OutBitRev;

template <class T, class Element>
void bitReversed(const Element* in, Element* out, int32_t order) {
  if (in == out) {
    Precision<T>::bitRev(out, order);
  } else {
    Precision<T>::bitRev(in, out, order);
  }
}

// ---- interleaved

template <class T>
MOX_HOT void natural(const ComplexOf<T>* in, ComplexOf<T>* out, int32_t order, int32_t flags, T* table) {
  const auto& fft = Precision<T>::fft();
  const auto run = flags & MOX_Forw ? fft.forward[order] : fft.inverse[order];
  run(reinterpret_cast<const T*>(in), reinterpret_cast<T*>(out), table, scaleOf<T>(order, flags));
}

template <class T>
void ordered(const ComplexOf<T>* in, ComplexOf<T>* out, int32_t order, int32_t flags, T* table) {
  if (order == 0) {
    *out = *in;
    return;
  }
  if (flags & MOX_InBitRev) {
    bitReversed<T>(in, out, order);
    in = out;
  }
  natural(in, out, order, flags, table);
  if (flags & MOX_OutBitRev) Precision<T>::bitRev(out, order);
}

template <class T>
[[gnu::noinline]] void fftChecked(ComplexOf<T>* samps, int32_t order, int32_t flags, const char* function,
                                  int32_t line) {
  const SiteOf<T> site(function, line);
  T* const table = tableOfCall<T>(site, order, flags, kComplexRules, BAD_IF(samps==0));
  if (table) ordered(samps, samps, order, flags, table);
}

template <class T>
[[gnu::noinline]] void fftNipChecked(const ComplexOf<T>* inSamps, ComplexOf<T>* outSamps, int32_t order, int32_t flags,
                                     const char* function, int32_t line) {
  const SiteOf<T> site(function, line);
  T* const table = tableOfCall<T>(site, order, flags, kComplexRules, BAD_IF(inSamps==0), BAD_IF(outSamps==0));
  if (table) ordered(inSamps, outSamps, order, flags, table);
}

template <class T>
MOX_HOT void fft(ComplexOf<T>* samps, int32_t order, int32_t flags, SiteOf<T> site = SiteOf<T>()) {
  if (samps && oneDirection(flags, kUnusualComplex)) [[likely]] {
    if (auto* const tables = tablesAtHand<T>(order)) [[likely]]
      return natural(samps, samps, order, flags, kernelTable(tables, order));
  }
  fftChecked<T>(samps, order, flags, site.function, site.line);
}

template <class T>
MOX_HOT void fftNip(const ComplexOf<T>* inSamps, ComplexOf<T>* outSamps, int32_t order, int32_t flags,
                    SiteOf<T> site = SiteOf<T>()) {
  if (inSamps && outSamps && oneDirection(flags, kUnusualComplex)) [[likely]] {
    if (auto* const tables = tablesAtHand<T>(order)) [[likely]]
      return natural(inSamps, outSamps, order, flags, kernelTable(tables, order));
  }
  fftNipChecked<T>(inSamps, outSamps, order, flags, site.function, site.line);
}

// ---- two arrays

// The inverse is the forward transform of the exchanged parts.
template <class T>
MOX_HOT void naturalParts(const T* reIn, const T* imIn, T* reOut, T* imOut, int32_t order, int32_t flags, T* table) {
  const bool forward = flags & MOX_Forw;
  Precision<T>::fft().split[order](forward ? reIn : imIn, forward ? imIn : reIn, forward ? reOut : imOut,
                                   forward ? imOut : reOut, table, scaleOf<T>(order, flags));
}

template <class T>
void orderedParts(const T* reIn, const T* imIn, T* reOut, T* imOut, int32_t order, int32_t flags, T* table) {
  if (order == 0) {
    *reOut = *reIn;
    *imOut = *imIn;
    return;
  }
  if (flags & MOX_InBitRev) {
    bitReversed<T>(reIn, reOut, order);
    bitReversed<T>(imIn, imOut, order);
    reIn = reOut;
    imIn = imOut;
  }
  naturalParts(reIn, imIn, reOut, imOut, order, flags, table);
  if (flags & MOX_OutBitRev) {
    Precision<T>::bitRev(reOut, order);
    Precision<T>::bitRev(imOut, order);
  }
}

template <class T>
[[gnu::noinline]] void partsFftChecked(T* reSamps, T* imSamps, int32_t order, int32_t flags, const char* function,
                                       int32_t line) {
  const SiteOf<T> site(function, line);
  T* const table = tableOfCall<T>(site, order, flags, kComplexRules, BAD_IF(reSamps==0), BAD_IF(imSamps==0));
  if (table) orderedParts(reSamps, imSamps, reSamps, imSamps, order, flags, table);
}

template <class T>
[[gnu::noinline]] void partsFftNipChecked(const T* reInSamps, const T* imInSamps, T* reOutSamps, T* imOutSamps,
                                          int32_t order, int32_t flags, const char* function, int32_t line) {
  const SiteOf<T> site(function, line);
  T* const table =
      tableOfCall<T>(site, order, flags, kComplexRules,
                     BAD_IF(reInSamps==0), BAD_IF(imInSamps==0), BAD_IF(reOutSamps==0), BAD_IF(imOutSamps==0));
  if (table) orderedParts(reInSamps, imInSamps, reOutSamps, imOutSamps, order, flags, table);
}

template <class T>
MOX_HOT void partsFft(T* reSamps, T* imSamps, int32_t order, int32_t flags, SiteOf<T> site = SiteOf<T>()) {
  if (reSamps && imSamps && oneDirection(flags, kUnusualComplex)) [[likely]] {
    if (auto* const tables = tablesAtHand<T>(order)) [[likely]]
      return naturalParts(reSamps, imSamps, reSamps, imSamps, order, flags, kernelTable(tables, order));
  }
  partsFftChecked(reSamps, imSamps, order, flags, site.function, site.line);
}

template <class T>
MOX_HOT void partsFftNip(const T* reInSamps, const T* imInSamps, T* reOutSamps, T* imOutSamps, int32_t order,
                         int32_t flags, SiteOf<T> site = SiteOf<T>()) {
  if (reInSamps && imInSamps && reOutSamps && imOutSamps && oneDirection(flags, kUnusualComplex)) [[likely]] {
    if (auto* const tables = tablesAtHand<T>(order)) [[likely]]
      return naturalParts(reInSamps, imInSamps, reOutSamps, imOutSamps, order, flags, kernelTable(tables, order));
  }
  partsFftNipChecked(reInSamps, imInSamps, reOutSamps, imOutSamps, order, flags, site.function, site.line);
}

}  // namespace mox
