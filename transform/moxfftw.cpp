// Transforms of int16 signals: the float32 ones between two conversions. Products of packed int16 spectra.
#include <algorithm>

#include "frame/float_array.h"
#include "frame/undscale.h"
#include "kernel/kernels.h"
#include "transform/flags.h"
#include "transform/real_fft.h"
#include "transform/tables.h"

namespace mox {
namespace {

using Fft16 = Here<"moxfftw">;

// ---- what runs in between, and on how much: N = 2^order times `perSample` values and `more`

struct Extent {
  int64_t perSample, more;
  int64_t at(int32_t order) const { return (perSample << order) + more; }
};
constexpr Extent kComplexes = {2, 0}, kReals = {1, 0}, kCcs = {1, 2};

struct Form {
  int32_t tableBelow;  // its table is that of order - tableBelow
  FlagRules rules;
  Extent in, out;
  uint64_t room(int32_t order) const { return static_cast<uint64_t>(std::max(in.at(order), out.at(order))); }
};
struct OneArray : Form {
  void (*run)(float* samps, int32_t order, int32_t flags);
};
struct TwoArrays : Form {
  void (*run)(float* a, float* b, int32_t order, int32_t flags);
};

void complexFft(float* samps, int32_t order, int32_t flags) { moxcFft(reinterpret_cast<MoxC*>(samps), order, flags); }

constexpr OneArray kComplexFft = {{0, {.bitOrder = true}, kComplexes, kComplexes}, complexFft};
constexpr OneArray kSignalToCcs = {{1, {}, kReals, kCcs}, moxsRealFft};
constexpr OneArray kCcsToSignal = {{1, {}, kCcs, kReals}, moxsCcsFft};
constexpr OneArray kSignalToPacked = {{1, {.outPacking = true}, kReals, kReals}, moxsRealFftl};
constexpr OneArray kPackedToSignal = {{1, {.inPacking = true}, kReals, kReals}, moxsCcsFftl};
constexpr TwoArrays kPartsFft = {{0, {.bitOrder = true}, kReals, kReals}, moxcrFft};
constexpr TwoArrays kTwoToSpectra = {{0, {}, kReals, kCcs}, moxsReal2Fft};
constexpr TwoArrays kTwoToSignals = {{0, {}, kCcs, kReals}, moxsCcs2Fft};

// ---- one call

// The table, the checks. False when the call ends here. Orders 0 and 1 of real signals have no table; that of order 32
// would be the largest there is, and the order is refused.
template <class... Nulls>
bool started(const Form& form, Site site, int32_t order, int32_t flags, Check<Nulls>... nulls) {
  const bool beyond = form.tableBelow != 0 && order == 32;
  if (!beyond && (form.tableBelow == 0 || order > 1)) {
    moxcUndGetFftTwdTbl_great(order - form.tableBelow);
    if (context().status < 0 && report(site, MOX_StsBackTrace, "Bad pointer for Twiddle Factors") != 0) return false;
  }
  if (flags & MOX_Init) {
    if (beyond) (void)rejected(site, BAD_IF(order>31));
    return false;
  }
  return !rejected(site, BAD_IF(order<0), BAD_IF(order>31), nulls...) && flagFaults(site, flags, form.rules) == 0;
}

bool lacksMemory(Site site, const FloatArray& work) {
  if (work.get()) return false;
  report(site, MOX_StsNoMem, "No memory for work array");
  return true;
}
void toFloats(const int16_t* src, float* dst, int64_t n) {
  kernel::active->scale.toFloats(src, dst, static_cast<size_t>(n));
}

template <class... Nulls>
void transform(const OneArray& form, const int16_t* in, int16_t* out, int32_t order, int32_t flags, int32_t scaleMode,
               int32_t* scaleFactor, Site site, Check<Nulls>... nulls) {
  if (!started(form, site, order, flags, nulls...)) return;
  if (order == 0) {
    if (in != out) std::copy_n(in, form.in.perSample, out);
    return;
  }
  const FloatArray work(form.room(order));
  if (lacksMemory(site, work)) return;
  toFloats(in, work.get(), form.in.at(order));
  form.run(work.get(), order, flags);
  if (context().status < 0) return;
  scaledToInt16(work.get(), out, form.out.at(order), scaleMode, scaleFactor);
}

template <class... Nulls>
void transform(const TwoArrays& form, const int16_t* aIn, const int16_t* bIn, int16_t* aOut, int16_t* bOut,
               int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor, Site site,
               Check<Nulls>... nulls) {
  if (!started(form, site, order, flags, nulls...)) return;
  if (order == 0) {
    *aOut = *aIn;
    *bOut = *bIn;
    return;
  }
  const uint64_t room = form.room(order);
  const FloatArray work(2 * room);
  if (lacksMemory(site, work)) return;
  float *const a = work.get(), *const b = a + room;
  toFloats(aIn, a, form.in.at(order));
  toFloats(bIn, b, form.in.at(order));
  form.run(a, b, order, flags);
  if (context().status < 0) return;
  scaledToInt16(a, b, aOut, bOut, form.out.at(order), scaleMode, scaleFactor);
}

// ---- the shapes of the exported functions

void inPlace(const OneArray& form, int16_t* samps, int32_t order, int32_t flags, int32_t scaleMode,
             int32_t* scaleFactor, Site site = Fft16()) {
  transform(form, samps, samps, order, flags, scaleMode, scaleFactor, site, BAD_IF(samps==0));
}
void nip(const OneArray& form, const int16_t* inSamps, int16_t* outSamps, int32_t order, int32_t flags,
         int32_t scaleMode, int32_t* scaleFactor, Site site = Fft16()) {
  transform(form, inSamps, outSamps, order, flags, scaleMode, scaleFactor, site,
            BAD_IF(inSamps==0), BAD_IF(outSamps==0));
}

void partsFft(int16_t* reSamps, int16_t* imSamps, int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor,
              Site site = Fft16()) {
  transform(kPartsFft, reSamps, imSamps, reSamps, imSamps, order, flags, scaleMode, scaleFactor, site,
            BAD_IF(reSamps==0), BAD_IF(imSamps==0));
}
void partsFftNip(const int16_t* reInSamps, const int16_t* imInSamps, int16_t* reOutSamps, int16_t* imOutSamps,
                 int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor, Site site = Fft16()) {
  transform(kPartsFft, reInSamps, imInSamps, reOutSamps, imOutSamps, order, flags, scaleMode, scaleFactor, site,
            BAD_IF(reInSamps==0), BAD_IF(imInSamps==0), BAD_IF(reOutSamps==0), BAD_IF(imOutSamps==0));
}
void twoInPlace(const TwoArrays& form, int16_t* xSamps, int16_t* ySamps, int32_t order, int32_t flags,
                int32_t scaleMode, int32_t* scaleFactor, Site site = Fft16()) {
  transform(form, xSamps, ySamps, xSamps, ySamps, order, flags, scaleMode, scaleFactor, site,
            BAD_IF(xSamps==0), BAD_IF(ySamps==0));
}
void twoNip(const TwoArrays& form, const int16_t* xInSamps, const int16_t* yInSamps, int16_t* xOutSamps,
            int16_t* yOutSamps, int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor,
            Site site = Fft16()) {
  transform(form, xInSamps, yInSamps, xOutSamps, yOutSamps, order, flags, scaleMode, scaleFactor, site,
            BAD_IF(xInSamps==0), BAD_IF(yInSamps==0), BAD_IF(xOutSamps==0), BAD_IF(yOutSamps==0));
}

const int16_t* parts(const MoxV* samps) { return reinterpret_cast<const int16_t*>(samps); }
int16_t* parts(MoxV* samps) { return reinterpret_cast<int16_t*>(samps); }

// moxwRealFftNip stands for a copy and moxwRealFft: whatever that has to report it reports under its own name, and a
// trace follows.
constexpr Site kRealFft = {"moxfftw", "moxwRealFft", __LINE__};
void realFftNip(const int16_t* inSamps, int16_t* outSamps, int32_t order, int32_t flags, int32_t scaleMode,
                int32_t* scaleFactor, Site site = Fft16()) {
  if (flags & MOX_Init) return nip(kSignalToCcs, inSamps, outSamps, order, flags, scaleMode, scaleFactor, site);
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(inSamps==0), BAD_IF(outSamps==0))) return;
  transform(kSignalToCcs, inSamps, outSamps, order, flags, scaleMode, scaleFactor, kRealFft);
  if (context().status < 0) report(site, MOX_StsBackTrace, "out moxwRealFft");
}

// ---- products of packed spectra

int16_t cut(int32_t v) { return static_cast<int16_t>(v); }
int16_t limited(int32_t v) { return static_cast<int16_t>(std::clamp(v, -32768, 32767)); }

// p 2^-factor: the first bit shifted out rounds up, the others are dropped; upward modulo 2^32.
int32_t halved(int32_t p, int32_t factor) {
  if (factor > 0) return ((p & 1) + (p >> 1)) >> std::min(factor - 1, 31);
  return static_cast<int32_t>(static_cast<uint32_t>(p) << (factor < -31 ? 31 : -factor));
}

// The least factor with which all of them fit, from `factor` on.
int32_t fitting(int32_t product, int32_t factor) {
  while (limited(product >> factor) != product >> factor) ++factor;
  return factor;
}

// The real products by the rule above, those between them as complex int16 vectors; the automatic mode finds one factor
// for all.
void mpyPacked(const int16_t* a, const int16_t* b, int16_t* dst, Layout layout, int32_t order, int32_t scaleMode,
               int32_t* scaleFactor) {
  const size_t n = size_t{1} << order, bins = binsPlace(layout), parts = order >= 2 ? n - 2 : 0;
  const size_t middle = order >= 1 ? middlePlace(layout, n) : 0;
  const int32_t first = a[0] * b[0], second = a[middle] * b[middle];
  const auto& kernels = kernel::active->int16;
  if (scaleMode == MOX_AutoScale) {
    int32_t factor = fitting(second, fitting(first, 0));
    if (parts > 0) {
      factor = std::max(factor, kernels.mpyComplex.autoFactor(a + bins, b + bins, parts));
      kernels.shiftComplex(a + bins, b + bins, dst + bins, parts, factor);
    }
    dst[middle] = cut(second >> factor);
    dst[0] = cut(first >> factor);
    *scaleFactor = factor;
    return;
  }
  const bool saturate = scaleMode == MOX_NoScaleSat || scaleMode == MOX_FixScaleSat;
  const bool fixed = scaleMode != MOX_NoScale && scaleMode != MOX_NoScaleSat && scaleFactor;
  const int32_t factor = fixed ? *scaleFactor : 0;
  if (parts > 0) kernels.mpyComplex.combine(a + bins, b + bins, dst + bins, parts, saturate, factor);
  dst[middle] = (saturate ? limited : cut)(halved(second, factor));
  dst[0] = (saturate ? limited : cut)(halved(first, factor));
}

void mpyPackedInPlace(const int16_t* src, int16_t* dst, Layout layout, int32_t order, int32_t scaleMode,
                      int32_t* scaleFactor, Site site = Fft16()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(src==0), BAD_IF(dst==0))) return;
  if (scaleMode == MOX_AutoScale && rejected(site, BAD_IF(scaleFactor==0))) return;
  mpyPacked(dst, src, dst, layout, order, scaleMode, scaleFactor);
}
void mpyPackedTo(const int16_t* srcA, const int16_t* srcB, int16_t* dst, Layout layout, int32_t order,
                 int32_t scaleMode, int32_t* scaleFactor, Site site = Fft16()) {
  if (rejected(site, BAD_IF(order<0), BAD_IF(order>31), BAD_IF(srcA==0), BAD_IF(srcB==0), BAD_IF(dst==0))) return;
  if (scaleMode == MOX_AutoScale && rejected(site, BAD_IF(scaleFactor==0))) return;
  mpyPacked(srcA, srcB, dst, layout, order, scaleMode, scaleFactor);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxvFft(MoxV* samps, int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor) {
  inPlace(kComplexFft, parts(samps), order, flags, scaleMode, scaleFactor);
}
void moxvFftNip(const MoxV* inSamps, MoxV* outSamps, int32_t order, int32_t flags, int32_t scaleMode,
                int32_t* scaleFactor) {
  nip(kComplexFft, parts(inSamps), parts(outSamps), order, flags, scaleMode, scaleFactor);
}
void moxvrFft(int16_t* reSamps, int16_t* imSamps, int32_t order, int32_t flags, int32_t scaleMode,
              int32_t* scaleFactor) {
  partsFft(reSamps, imSamps, order, flags, scaleMode, scaleFactor);
}
void moxvrFftNip(const int16_t* reInSamps, const int16_t* imInSamps, int16_t* reOutSamps, int16_t* imOutSamps,
                 int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor) {
  partsFftNip(reInSamps, imInSamps, reOutSamps, imOutSamps, order, flags, scaleMode, scaleFactor);
}
void moxwRealFft(int16_t* samps, int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor) {
  inPlace(kSignalToCcs, samps, order, flags, scaleMode, scaleFactor, kRealFft);
}
void moxwRealFftNip(const int16_t* inSamps, int16_t* outSamps, int32_t order, int32_t flags, int32_t scaleMode,
                    int32_t* scaleFactor) {
  realFftNip(inSamps, outSamps, order, flags, scaleMode, scaleFactor);
}
void moxwCcsFft(int16_t* samps, int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor) {
  inPlace(kCcsToSignal, samps, order, flags, scaleMode, scaleFactor);
}
void moxwCcsFftNip(const int16_t* inSamps, int16_t* outSamps, int32_t order, int32_t flags, int32_t scaleMode,
                   int32_t* scaleFactor) {
  nip(kCcsToSignal, inSamps, outSamps, order, flags, scaleMode, scaleFactor);
}
void moxwRealFftl(int16_t* samps, int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor) {
  inPlace(kSignalToPacked, samps, order, flags, scaleMode, scaleFactor);
}
void moxwRealFftlNip(const int16_t* inSamps, int16_t* outSamps, int32_t order, int32_t flags, int32_t scaleMode,
                     int32_t* scaleFactor) {
  nip(kSignalToPacked, inSamps, outSamps, order, flags, scaleMode, scaleFactor);
}
void moxwCcsFftl(int16_t* samps, int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor) {
  inPlace(kPackedToSignal, samps, order, flags, scaleMode, scaleFactor);
}
void moxwCcsFftlNip(const int16_t* inSamps, int16_t* outSamps, int32_t order, int32_t flags, int32_t scaleMode,
                    int32_t* scaleFactor) {
  nip(kPackedToSignal, inSamps, outSamps, order, flags, scaleMode, scaleFactor);
}
void moxwReal2Fft(int16_t* xSamps, int16_t* ySamps, int32_t order, int32_t flags, int32_t scaleMode,
                  int32_t* scaleFactor) {
  twoInPlace(kTwoToSpectra, xSamps, ySamps, order, flags, scaleMode, scaleFactor);
}
void moxwReal2FftNip(const int16_t* xInSamps, const int16_t* yInSamps, int16_t* xOutSamps, int16_t* yOutSamps,
                     int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor) {
  twoNip(kTwoToSpectra, xInSamps, yInSamps, xOutSamps, yOutSamps, order, flags, scaleMode, scaleFactor);
}
void moxwCcs2Fft(int16_t* xSamps, int16_t* ySamps, int32_t order, int32_t flags, int32_t scaleMode,
                 int32_t* scaleFactor) {
  twoInPlace(kTwoToSignals, xSamps, ySamps, order, flags, scaleMode, scaleFactor);
}
void moxwCcs2FftNip(const int16_t* xInSamps, const int16_t* yInSamps, int16_t* xOutSamps, int16_t* yOutSamps,
                    int32_t order, int32_t flags, int32_t scaleMode, int32_t* scaleFactor) {
  twoNip(kTwoToSignals, xInSamps, yInSamps, xOutSamps, yOutSamps, order, flags, scaleMode, scaleFactor);
}
void moxwMpyRCPack2(const int16_t* src, int16_t* dst, int32_t order, int32_t scaleMode, int32_t* scaleFactor) {
  mpyPackedInPlace(src, dst, Layout::pack, order, scaleMode, scaleFactor);
}
void moxwMpyRCPack3(const int16_t* srcA, const int16_t* srcB, int16_t* dst, int32_t order, int32_t scaleMode,
                    int32_t* scaleFactor) {
  mpyPackedTo(srcA, srcB, dst, Layout::pack, order, scaleMode, scaleFactor);
}
void moxwMpyRCPerm2(const int16_t* src, int16_t* dst, int32_t order, int32_t scaleMode, int32_t* scaleFactor) {
  mpyPackedInPlace(src, dst, Layout::perm, order, scaleMode, scaleFactor);
}
void moxwMpyRCPerm3(const int16_t* srcA, const int16_t* srcB, int16_t* dst, int32_t order, int32_t scaleMode,
                    int32_t* scaleFactor) {
  mpyPackedTo(srcA, srcB, dst, Layout::perm, order, scaleMode, scaleFactor);
}

}  // extern "C"
