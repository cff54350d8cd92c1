// Bit reversal: of numbers, of tables of indices, of vectors.
#include <bit>
#include <cstdlib>

#include "frame/check.h"
#include "kernel/kernels.h"

namespace mox {
namespace {

using Misc = Here<"moxmisc">;

uint32_t reversed32(uint32_t x) {
  x = (x >> 1 & 0x55555555) | (x & 0x55555555) << 1;
  x = (x >> 2 & 0x33333333) | (x & 0x33333333) << 2;
  x = (x >> 4 & 0x0f0f0f0f) | (x & 0x0f0f0f0f) << 4;
  return __builtin_bswap32(x);
}

int32_t bitRev(int32_t a, int32_t order, Site site = Misc()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31))) return 0;
  return static_cast<int32_t>(static_cast<uint64_t>(reversed32(static_cast<uint32_t>(a))) << order >> 32);
}

// rev(i + len) = rev(i) + N / (2 len) for i < len = 1, 2, 4 ...
void fill(int32_t* tbl, int32_t order) {
  tbl[0] = 0;
  for (int32_t bit = 0; bit < order; ++bit) {
    const size_t len = size_t{1} << bit;
    const int32_t step = int32_t{1} << (order - 1 - bit);
    for (size_t i = 0; i < len; ++i) tbl[len + i] = tbl[i] + step;
  }
}

void calcTable(int32_t* tbl, int32_t order, Site site = Misc()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(tbl==0))) return;
  fill(tbl, order);
}

int32_t* getTable(int32_t order, Site site = Misc()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31))) return nullptr;
  int32_t*& slot = context().bitRev[order];
  if (!slot) {
    const uint64_t bytes = sizeof(int32_t) * (uint64_t{1} << order);
    if (bytes <= PTRDIFF_MAX) slot = static_cast<int32_t*>(std::malloc(static_cast<size_t>(bytes)));
    if (!slot) {
      report(site, MOX_StsNoMem, "NULL Pointer");
      return nullptr;
    }
    fill(slot, order);
  }
  return slot;
}

// The kernels' place for elements of T: 2, 4, 8 and 16 bytes.
template <class T>
constexpr int kSizeIndex = std::countr_zero(sizeof(T)) - 1;

template <class T>
void permuteInPlace(T* vec, int32_t order, Site site = Misc()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(vec==0))) return;
  kernel::active->bitReversal.inPlace[kSizeIndex<T>](vec, order);
}

template <class T>
void permute(const T* src, T* dst, int32_t order, Site site = Misc()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(src==0), BAD_IF(dst==0))) return;
  kernel::active->bitReversal.copy[kSizeIndex<T>](src, dst, order);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

int32_t moxBitRev(int32_t a, int32_t order) { return bitRev(a, order); }
void moxCalcBitRevTbl(int32_t* tbl, int32_t order) { calcTable(tbl, order); }
int32_t* moxGetBitRevTbl(int32_t order) { return getTable(order); }

void moxFreeBitRevTbls() {
  for (int32_t*& tbl : context().bitRev) {
    std::free(tbl);
    tbl = nullptr;
  }
}

void moxsbBitRev1(float* vec, int32_t order) { permuteInPlace(vec, order); }
void moxdbBitRev1(double* vec, int32_t order) { permuteInPlace(vec, order); }
void moxcbBitRev1(MoxC* vec, int32_t order) { permuteInPlace(vec, order); }
void moxzbBitRev1(MoxZ* vec, int32_t order) { permuteInPlace(vec, order); }
void moxwbBitRev1(int16_t* vec, int32_t order) { permuteInPlace(vec, order); }
void moxvbBitRev1(MoxV* vec, int32_t order) { permuteInPlace(vec, order); }

void moxsbBitRev2(const float* src, float* dst, int32_t order) { permute(src, dst, order); }
void moxdbBitRev2(const double* src, double* dst, int32_t order) { permute(src, dst, order); }
void moxcbBitRev2(const MoxC* src, MoxC* dst, int32_t order) { permute(src, dst, order); }
void moxzbBitRev2(const MoxZ* src, MoxZ* dst, int32_t order) { permute(src, dst, order); }
void moxwbBitRev2(const int16_t* src, int16_t* dst, int32_t order) { permute(src, dst, order); }
void moxvbBitRev2(const MoxV* src, MoxV* dst, int32_t order) { permute(src, dst, order); }

}  // extern "C"
