// Twiddle tables: plain ones by length, extended ones by order, both cached in the calling thread's record.
#include <algorithm>
#include <cstdlib>
#include <memory>

#include "frame/check.h"
#include "frame/float_state.h"
#include "kernel/kernels.h"
#include "kernel/roots.h"
#include "transform/tables.h"

namespace mox {
namespace {

using kernel::DoubleDouble;
using kernel::Root;
using kernel::Roots;
using kernel::SinCos;
using Tables = Here<"moxtwd">;

// ---- one element type's part of the record

template <class C>
struct Cache {
  int32_t& count;
  int32_t (&lengths)[kCacheSlots];
  C* (&plain)[kCacheSlots];
  C* (&byOrder)[kOrders];
};
template <class C>
Cache<C> cache();
template <>
Cache<MoxC> cache() {
  Context& c = context();
  return {c.countC, c.lengthsC, c.tablesC, c.fftC};
}
template <>
Cache<MoxZ> cache() {
  Context& c = context();
  return {c.countZ, c.lengthsZ, c.tablesZ, c.fftZ};
}
template <>
Cache<MoxV> cache() {
  Context& c = context();
  return {c.countV, c.lengthsV, c.tablesV, c.fftV};
}

// Zero-filled room for n elements, null when there is none or no array can be that long.
template <class C>
C* zeroed(uint64_t n) {
  if (n > PTRDIFF_MAX / sizeof(C)) return nullptr;
  return static_cast<C*>(std::calloc(static_cast<size_t>(n), sizeof(C)));
}

uint32_t lengthOf(int32_t order) { return uint32_t{1} << order; }

// ---- contents

template <class C>
C stored(Root r) {
  return {kernel::rounded<decltype(C::re)>(r.re), kernel::rounded<decltype(C::re)>(r.im)};
}

// The sines and cosines of k * step for ascending k, to 88 bits or more. One in 64 is evaluated, the others are
// products of two; where a product comes near zero, its bits have cancelled, and the angle is evaluated after all.
class Circle {
 public:
  explicit Circle(double step, uint64_t count) : step_(step) {
    const uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(count, kFine));
    for (uint32_t k = 0; k < n; ++k) fine_[k] = evaluated(k);
  }
  SinCos at(uint64_t k) {
    const SinCos& f = fine_[k % kFine];
    if (k < kFine) return f;
    if (k % kFine == 0) coarse_ = evaluated(k);
    const SinCos product = {coarse_.sin * f.cos + coarse_.cos * f.sin, coarse_.cos * f.cos + -(coarse_.sin * f.sin)};
    return cancelled(product.sin) || cancelled(product.cos) ? evaluated(k) : product;
  }

 private:
  static constexpr uint64_t kFine = 64;
  static bool cancelled(DoubleDouble x) { return x.hi < 0x1p-8 && x.hi > -0x1p-8; }
  SinCos evaluated(uint64_t k) const {  // the angle is exact
    return kernel::sinCos(DoubleDouble{static_cast<double>(k), 0} * DoubleDouble{step_, 0});
  }

  double step_;
  SinCos fine_[kFine], coarse_ = {};
};

template <class C>
[[gnu::noinline]] bool fillPlain(C* tbl, uint32_t length) {
  Circle circle(6.283185307179586 / length, length);
  for (uint64_t k = 0; k < length; ++k) {
    const SinCos s = circle.at(k);
    const C root = stored<C>({s.cos, s.sin});
    tbl[k] = {root.re, 0 - root.im};
  }
  return true;
}

// trunc(16384 x)
int16_t truncatedQ14(DoubleDouble x) {
  const double scaled = x.hi * 16384;
  int32_t t = static_cast<int32_t>(scaled);
  if (t == scaled && t > 0 && x.lo < 0) --t;
  if (t == scaled && t < 0 && x.lo > 0) ++t;
  return static_cast<int16_t>(t);
}

[[gnu::noinline]] bool fillInt16(MoxV* tbl, uint32_t length) {
  const Roots roots(__builtin_ctz(length));
  if (!roots.ok()) return false;
  for (uint64_t k = 0; k < length; ++k) {
    const Root r = roots.at(k);
    tbl[k] = {truncatedQ14(r.re), truncatedQ14(r.im)};
  }
  return true;
}

template <class C>
bool fill(C* tbl, uint32_t length) {
  const DefaultFloatState state;
  if constexpr (std::is_same_v<C, MoxV>) {
    return fillInt16(tbl, length);
  } else {
    return fillPlain(tbl, length);
  }
}

// The fixed part of the extended table; halves are the roots of order + 1.
template <class C>
void fillExtended(C* tbl, int32_t order, const Roots& halves) {
  const uint64_t n = lengthOf(order), m = n / 2;
  if (order < 11) {
    for (uint64_t j = 1; j <= n / 4; ++j) {
      tbl[2 * j - 2] = stored<C>(halves.at(2 * j));
      tbl[2 * j - 1] = stored<C>(halves.at(6 * j));
    }
  } else {
    for (uint64_t k = 0; k < m; ++k) tbl[k] = stored<C>(halves.at(2 * k));
  }
  for (uint64_t k = 1; k <= m; ++k) {
    const Root r = halves.at(k);
    const DoubleDouble half = {0.5, 0};
    tbl[m + k - 1] = stored<C>({half * r.re, half * (DoubleDouble{1, 0} + r.im)});
  }
  for (uint64_t k = 0; k < m; ++k) tbl[n + k] = stored<C>(halves.at(k));
}

template <class C>
const auto& kernels() {
  if constexpr (std::is_same_v<C, MoxC>) {
    return kernel::active->fft32;
  } else {
    return kernel::active->fft64;
  }
}

template <class C>
[[gnu::noinline]] bool fillBoth(C* tbl, int32_t order) {
  const Roots roots(order), halves(order + 1);
  if (!roots.ok() || !halves.ok()) return false;
  fillExtended(tbl, order, halves);
  kernels<C>().build(order, roots, kernelTable(tbl, order));
  return true;
}

template <class C>
C* madeExtended(int32_t order) {
  const uint64_t extra = kernels<C>().tableBytes(order) + 63;
  C* const tbl = zeroed<C>(extendedEntries(order) + (extra + sizeof(C) - 1) / sizeof(C));
  if (!tbl) return nullptr;
  const DefaultFloatState state;
  if (fillBoth(tbl, order)) return tbl;
  std::free(tbl);
  return nullptr;
}

// ---- caches

// The plain table of one length. Beyond 32 lengths the newest takes slot 0.
template <class C>
C* cachedPlain(uint32_t unsignedLength, Site site) {
  const Cache<C> tables = cache<C>();
  const int32_t length = static_cast<int32_t>(unsignedLength);  // 2^31 becomes negative, which no other length is
  for (int32_t i = 0; i < tables.count; ++i) {
    if (tables.plain[i] && tables.lengths[i] == length) return tables.plain[i];
  }
  int32_t slot = tables.count;
  if (slot == kCacheSlots) {
    slot = 0;
    std::free(tables.plain[0]);
    tables.plain[0] = nullptr;
  } else {
    ++tables.count;
  }
  tables.lengths[slot] = length;
  C* const tbl = zeroed<C>(unsignedLength);
  if (tbl && fill(tbl, unsignedLength)) return tables.plain[slot] = tbl;
  std::free(tbl);
  report(site, MOX_StsNoMem, "NULL Pointer");
  return nullptr;
}

template <class C>
C* getByOrder(int32_t order, Site site = Tables()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31))) return nullptr;
  return cachedPlain<C>(lengthOf(order), site);
}

template <class C>
C* getByLength(int32_t length, Site site = Tables()) {
  if (rejected(site, BAD_IF(length<=0))) return nullptr;
  return cachedPlain<C>(static_cast<uint32_t>(length), site);
}

template <class C>
C* getExtended(int32_t order, Site site = Tables()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31))) return nullptr;
  C* const tbl = extendedTable<C>(order);
  if (!tbl) report(site, MOX_StsNoMem, "NULL Pointer");
  return tbl;
}

// ---- tables of the caller's own

template <class C>
void calcByOrder(C* tbl, int32_t order, Site site = Tables()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(tbl==0))) return;
  if (!fill(tbl, lengthOf(order))) report(site, MOX_StsNoMem, "NULL Pointer");
}

template <class C>
void calcByLength(C* tbl, int32_t length, Site site = Tables()) {
  if (rejected(site, BAD_IF(length<=0), BAD_IF(tbl==0))) return;
  fill(tbl, static_cast<uint32_t>(length));
}

template <class C>
void freeAll() {
  const Cache<C> tables = cache<C>();
  for (int32_t i = 0; i < tables.count; ++i) {
    std::free(tables.plain[i]);
    tables.plain[i] = nullptr;
    tables.lengths[i] = 0;
  }
  tables.count = 0;
  for (C*& tbl : tables.byOrder) {
    std::free(tbl);
    tbl = nullptr;
  }
}

}  // namespace

template <class C>
C* extendedTable(int32_t order) {
  C*& slot = cache<C>().byOrder[order];
  if (!slot) slot = madeExtended<C>(order);
  return slot;
}
template MoxC* extendedTable(int32_t order);
template MoxZ* extendedTable(int32_t order);

MoxC* moxcUndGetFftTwdTbl_great(int32_t order) { return getExtended<MoxC>(order); }
MoxZ* moxzUndGetFftTwdTbl_great(int32_t order) { return getExtended<MoxZ>(order); }

}  // namespace mox

using namespace mox;

extern "C" {

void moxcCalcFftTwdTbl(MoxC* tbl, int32_t order) { calcByOrder(tbl, order); }
void moxzCalcFftTwdTbl(MoxZ* tbl, int32_t order) { calcByOrder(tbl, order); }
void moxvCalcFftTwdTbl(MoxV* tbl, int32_t order) { calcByOrder(tbl, order); }
MoxC* moxcGetFftTwdTbl(int32_t order) { return getByOrder<MoxC>(order); }
MoxZ* moxzGetFftTwdTbl(int32_t order) { return getByOrder<MoxZ>(order); }
MoxV* moxvGetFftTwdTbl(int32_t order) { return getByOrder<MoxV>(order); }

void moxcCalcDftTwdTbl(MoxC* tbl, int32_t length) { calcByLength(tbl, length); }
void moxzCalcDftTwdTbl(MoxZ* tbl, int32_t length) { calcByLength(tbl, length); }
MoxC* moxcGetDftTwdTbl(int32_t length) { return getByLength<MoxC>(length); }
MoxZ* moxzGetDftTwdTbl(int32_t length) { return getByLength<MoxZ>(length); }

void moxcFreeTwdTbls() { freeAll<MoxC>(); }
void moxzFreeTwdTbls() { freeAll<MoxZ>(); }
void moxvFreeTwdTbls() { freeAll<MoxV>(); }

}  // extern "C"
