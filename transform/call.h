// How a transform's call begins. Nearly all calls have nothing to report and their table at hand: they are told by a
// few comparisons and go straight to the kernel. All others take a second, exact look out of line.
#pragma once
#include <bit>
#include <cstddef>

#include "frame/check.h"
#include "kernel/kernels.h"
#include "transform/flags.h"
#include "transform/tables.h"

#define MOX_HOT [[gnu::always_inline]] inline

namespace mox {

template <class T>
struct Precision;
template <>
struct Precision<float> {
  using Complex = MoxC;
  using Site = Here<"moxffts">;
  static const kernel::Fft<float>& fft() { return kernel::active->fft32; }
  static const kernel::Arith<float>& arith() { return kernel::active->arith32; }
  static Complex* const* cached(const Context& c) { return c.fftC; }
  static Complex* get(int32_t order) { return moxcUndGetFftTwdTbl_great(order); }
  static float powerOfTwo(int32_t e) { return std::bit_cast<float>((127 + e) << 23); }
  static void bitRev(float* v, int32_t order) { moxsbBitRev1(v, order); }
  static void bitRev(MoxC* v, int32_t order) { moxcbBitRev1(v, order); }
  static void bitRev(const float* in, float* out, int32_t order) { moxsbBitRev2(in, out, order); }
  static void bitRev(const MoxC* in, MoxC* out, int32_t order) { moxcbBitRev2(in, out, order); }
};
template <>
struct Precision<double> {
  using Complex = MoxZ;
  using Site = Here<"moxfftd">;
  static const kernel::Fft<double>& fft() { return kernel::active->fft64; }
  static const kernel::Arith<double>& arith() { return kernel::active->arith64; }
  static Complex* const* cached(const Context& c) { return c.fftZ; }
  static Complex* get(int32_t order) { return moxzUndGetFftTwdTbl_great(order); }
  static double powerOfTwo(int32_t e) { return std::bit_cast<double>(int64_t{1023 + e} << 52); }
  static void bitRev(double* v, int32_t order) { moxdbBitRev1(v, order); }
  static void bitRev(MoxZ* v, int32_t order) { moxzbBitRev1(v, order); }
  static void bitRev(const double* in, double* out, int32_t order) { moxdbBitRev2(in, out, order); }
  static void bitRev(const MoxZ* in, MoxZ* out, int32_t order) { moxzbBitRev2(in, out, order); }
};
template <class T>
using ComplexOf = typename Precision<T>::Complex;
template <class T>
using SiteOf = typename Precision<T>::Site;

// The factor of the outputs.
template <class T>
MOX_HOT T scaleOf(int32_t order, int32_t flags) {
  return (flags & (MOX_Inv | MOX_NoInvScale)) == MOX_Inv ? Precision<T>::powerOfTwo(-order) : T{1};
}

// ---- the first look

// The extended table of order - kBelow, if that is 1 to 31 - kBelow, the table is there and the status clear; or null.
template <class T, uint32_t kBelow = 0>
MOX_HOT ComplexOf<T>* tablesAtHand(int32_t order) {
  const uint32_t index = static_cast<uint32_t>(order) - kBelow;
  if (index - 1 >= 31 - kBelow) return nullptr;
  const Context& c = context();
  return c.status >= 0 ? Precision<T>::cached(c)[index] : nullptr;
}

// Exactly one direction and none of `others`.
MOX_HOT bool oneDirection(int32_t flags, int32_t others) {
  static_assert(MOX_Forw == 1 && MOX_Inv == 2);
  return static_cast<uint32_t>((flags & (MOX_Forw | MOX_Inv | others)) - MOX_Forw) <= MOX_Inv - MOX_Forw;
}

// ---- the second look

// The kernels' table of `order`, or null after the getter's report.
template <class T>
T* tableOf(int32_t order) {
  ComplexOf<T>* const extended = Precision<T>::get(order);
  return extended ? kernelTable(extended, order) : nullptr;
}

// Makes sure of the table of `order`. False when the call ends here, because the status is negative: that is reported
// as a trace, and goes on only if the handler's answer to it is 0.
template <class T>
bool fetched(Site site, int32_t order, T*& table) {
  table = tableOf<T>(order);
  return context().status >= 0 || report(site, MOX_StsBackTrace, "Bad pointer") == 0;
}

// The checks that follow. False when the call ends here.
template <class... Nulls>
bool accepted(Site site, int32_t order, int32_t flags, FlagRules rules, Check<Nulls>... nulls) {
  if (flags & MOX_Init) return false;
  return !rejected(site, BAD_IF(order<0), BAD_IF(order>31), nulls...) && flagFaults(site, flags, rules) == 0;
}

// Both for a transform through the table of its own order. Null when the call ends here.
template <class T, class... Nulls>
T* tableOfCall(Site site, int32_t order, int32_t flags, FlagRules rules, Check<Nulls>... nulls) {
  T* table = nullptr;
  return fetched(site, order, table) && accepted(site, order, flags, rules, nulls...) ? table : nullptr;
}

}  // namespace mox
