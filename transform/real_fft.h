// Transforms of real signals of N = 2^order samples, their packed spectra, and products of those.
#pragma once
#include <cstring>

#include "transform/call.h"
#include "transform/inner_call.h"

namespace mox {

enum class Layout { ccs, pack, perm };

// Where X[N/2] and X[1] stand.
constexpr size_t middlePlace(Layout layout, size_t n) {
  return layout == Layout::ccs ? n : layout == Layout::pack ? n - 1 : 1;
}
constexpr size_t binsPlace(Layout layout) { return layout == Layout::pack ? 1 : 2; }

// ---- orders 2 to 31: the kernels, through their table of order - 1

template <class T>
MOX_HOT void signalToSpectrum(const T* in, T* out, Layout layout, int32_t order, int32_t flags, T* table) {
  const size_t n = size_t{1} << order;
  Precision<T>::fft().toSpectrum[flags & MOX_Forw ? 0 : 1][order](in, out, table, scaleOf<T>(order, flags));
  if (layout == Layout::perm) return;
  const T middle = out[1];
  if (layout == Layout::ccs) {
    out[1] = 0;
    out[n] = middle;
    out[n + 1] = 0;
  } else {
    std::memmove(out + 1, out + 2, (n - 2) * sizeof(T));
    out[n - 1] = middle;
  }
}

template <class T>
MOX_HOT void spectrumToSignal(const T* in, T* out, Layout layout, int32_t order, int32_t flags, T* table) {
  const size_t n = size_t{1} << order;
  const T first = in[0], middle = in[middlePlace(layout, n)];
  const auto run = Precision<T>::fft().toSignal[flags & MOX_Forw ? 0 : 1][order];
  run(first, middle, in + binsPlace(layout), out, table, scaleOf<T>(order, flags));
}

// ---- orders 0 and 1: without a table

template <class T>
void shortSignalToSpectrum(const T* in, T* out, Layout layout, int32_t order, int32_t flags) {
  if (order == 0) {
    *out = *in;
    return;
  }
  const T scale = scaleOf<T>(order, flags), sum = (in[0] + in[1]) * scale, difference = (in[0] - in[1]) * scale;
  if (layout == Layout::ccs) out[1] = out[3] = 0;
  out[0] = sum;
  out[middlePlace(layout, 2)] = difference;
}

template <class T>
void shortSpectrumToSignal(const T* in, T* out, Layout layout, int32_t order, int32_t flags) {
  if (order == 0) {
    *out = *in;
    return;
  }
  const T scale = scaleOf<T>(order, flags), first = in[0], middle = in[middlePlace(layout, 2)];
  out[0] = (first + middle) * scale;
  out[1] = (first - middle) * scale;
}

// ---- one signal: four families, to or from a spectrum, in CCS or in the layout that one of two flags names

template <bool kToSpectrum, bool kPacked>
struct RealFamily {
  static constexpr int32_t kPack = kToSpectrum ? MOX_OutRCPack : MOX_InRCPack;
  static constexpr int32_t kPerm = kToSpectrum ? MOX_OutRCPerm : MOX_InRCPerm;
  static constexpr FlagRules kRules = {.inPacking = kPacked && !kToSpectrum, .outPacking = kPacked && kToSpectrum};

  MOX_HOT static Layout layout(int32_t flags) {
    if (!kPacked) return Layout::ccs;
    return flags & kPack ? Layout::pack : Layout::perm;
  }
  MOX_HOT static bool usual(int32_t flags) {
    const int32_t packing = flags & (kPack | kPerm);
    return oneDirection(flags, MOX_Init) && (!kPacked || packing == kPack || packing == kPerm);
  }
  template <class T>
  MOX_HOT static ComplexOf<T>* tablesAtHand(int32_t order, int32_t flags) {
    return usual(flags) ? mox::tablesAtHand<T, 1>(order) : nullptr;
  }
  template <class T>
  MOX_HOT static void run(const T* in, T* out, int32_t order, int32_t flags, T* table) {
    if (kToSpectrum) {
      signalToSpectrum(in, out, layout(flags), order, flags, table);
    } else {
      spectrumToSignal(in, out, layout(flags), order, flags, table);
    }
  }
  template <class T>
  static void runAny(const T* in, T* out, int32_t order, int32_t flags, T* table) {
    if (order >= 2) {
      run(in, out, order, flags, table);
    } else if (kToSpectrum) {
      shortSignalToSpectrum(in, out, layout(flags), order, flags);
    } else {
      shortSpectrumToSignal(in, out, layout(flags), order, flags);
    }
  }
};
using SignalToCcs = RealFamily<true, false>;
using CcsToSignal = RealFamily<false, false>;
using SignalToPacked = RealFamily<true, true>;
using PackedToSignal = RealFamily<false, true>;

// MOX_Init: makes sure of the table of order - 1, which orders 0 and 1 do not need. Order 32 is refused before the
// largest of all tables is built for it.
template <class T>
void prepareReal(Site site, int32_t order) {
  if (order == 32) {
    (void)rejected(site, BAD_IF(order>31));
  } else if (order > 1) {
    Precision<T>::get(order - 1);
  }
}

// Like tableOfCall, for these tables. False when the call ends here.
template <class T, class... Nulls>
bool startReal(Site site, int32_t order, int32_t flags, FlagRules rules, T*& table, Check<Nulls>... nulls) {
  if (order == 32 && flags & MOX_Init) {
    prepareReal<T>(site, order);
    return false;
  }
  if (order > 1 && order != 32 && !fetched(site, order - 1, table)) return false;
  return accepted(site, order, flags, rules, nulls...) && (table || order <= 1);
}

template <class Family, class T>
[[gnu::noinline]] void realInPlaceChecked(T* samps, int32_t order, int32_t flags, const char* function, int32_t line) {
  const SiteOf<T> site(function, line);
  T* table = nullptr;
  if (!startReal(site, order, flags, Family::kRules, table, BAD_IF(samps==0))) return;
  Family::runAny(samps, samps, order, flags, table);
}

template <class Family, class T>
MOX_HOT void realInPlace(T* samps, int32_t order, int32_t flags, SiteOf<T> site = SiteOf<T>()) {
  if (samps) [[likely]] {
    if (auto* const tables = Family::template tablesAtHand<T>(order, flags)) [[likely]]
      return Family::run(samps, samps, order, flags, kernelTable(tables, order - 1));
  }
  realInPlaceChecked<Family>(samps, order, flags, site.function, site.line);
}

template <class Family, class T>
[[gnu::noinline]] void realNipChecked(const T* inSamps, T* outSamps, int32_t order, int32_t flags, const char* function,
                                      int32_t line) {
  const SiteOf<T> site(function, line);
  if (flags & MOX_Init) return prepareReal<T>(site, order);
  T* table = nullptr;
  if (!startReal(site, order, flags, Family::kRules, table, BAD_IF(inSamps==0), BAD_IF(outSamps==0))) return;
  Family::runAny(inSamps, outSamps, order, flags, table);
}

template <class Family, class T>
MOX_HOT void realNip(const T* inSamps, T* outSamps, int32_t order, int32_t flags, SiteOf<T> site = SiteOf<T>()) {
  if (inSamps && outSamps) [[likely]] {
    if (auto* const tables = Family::template tablesAtHand<T>(order, flags)) [[likely]]
      return Family::run(inSamps, outSamps, order, flags, kernelTable(tables, order - 1));
  }
  realNipChecked<Family>(inSamps, outSamps, order, flags, site.function, site.line);
}

// ---- PackedToSignal not in place: one of the forms of inner_call.h

template <class T>
[[gnu::noinline]] void packedToSignalNipChecked(const T* inSamps, T* outSamps, int32_t order, int32_t flags,
                                                const char* function, int32_t line) {
  const SiteOf<T> site(function, line);
  if (flags & MOX_Init) return prepareReal<T>(site, order);
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(inSamps==0), BAD_IF(outSamps==0))) return;
  if (flagsFit(flags, PackedToSignal::kRules)) {
    T* const table = order > 1 ? tableOf<T>(order - 1) : nullptr;
    if (table || order <= 1) return PackedToSignal::runAny(inSamps, outSamps, order, flags, table);
  }
  Inner<T>::packedToSignal(site, outSamps, order, flags);
}

template <class T>
MOX_HOT void packedToSignalNip(const T* inSamps, T* outSamps, int32_t order, int32_t flags,
                               SiteOf<T> site = SiteOf<T>()) {
  if (inSamps && outSamps) [[likely]] {
    if (auto* const tables = PackedToSignal::tablesAtHand<T>(order, flags)) [[likely]]
      return PackedToSignal::run(inSamps, outSamps, order, flags, kernelTable(tables, order - 1));
  }
  packedToSignalNipChecked(inSamps, outSamps, order, flags, site.function, site.line);
}

// ---- products of packed spectra

template <class T>
void mpyPacked(const T* a, const T* b, T* dst, Layout layout, int32_t order) {
  const size_t n = size_t{1} << order, middle = middlePlace(layout, n), bins = binsPlace(layout);
  dst[0] = a[0] * b[0];
  if (order >= 1) dst[middle] = a[middle] * b[middle];
  if (order >= 2) Precision<T>::arith().mpyComplex(a + bins, b + bins, dst + bins, n / 2 - 1);
}

template <class T>
void mpyPackedInPlace(const T* src, T* dst, Layout layout, int32_t order, SiteOf<T> site = SiteOf<T>()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(src==0), BAD_IF(dst==0))) return;
  mpyPacked(dst, src, dst, layout, order);
}

template <class T>
void mpyPackedTo(const T* srcA, const T* srcB, T* dst, Layout layout, int32_t order, SiteOf<T> site = SiteOf<T>()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(srcA==0), BAD_IF(srcB==0), BAD_IF(dst==0))) return;
  mpyPacked(srcA, srcB, dst, layout, order);
}

}  // namespace mox
