// Adaptive filters on two records of the caller's, taps and delay line; the error comes from the caller.
#include <algorithm>
#include <bit>
#include <cstring>

#include "filter/fir_check.h"
#include "filter/lms_core.h"

namespace mox {
namespace {

using LmsLow = Here<"moxlmsl">;

#if UINTPTR_MAX == UINT32_MAX
static_assert(sizeof(LmsTapState) == 48 && sizeof(LmsDlyState) == 16);
#endif

// ---- the records

// A step or leak in its word: int16 ones in the lower half.
float wordOf(float value) { return value; }
float wordOf(int16_t value) { return std::bit_cast<float>(int32_t{static_cast<uint16_t>(value)}); }
int16_t shortOf(float word) { return static_cast<int16_t>(static_cast<uint16_t>(std::bit_cast<uint32_t>(word))); }

template <class Factor>
void init(int32_t lmsType, void* taps, int32_t tapsLen, Factor step, Factor leak, int32_t errDly, LmsTapState* tapStPtr,
          Site site = LmsLow()) {
  if (refused(site, nullBuffer(!taps || !tapStPtr), Fault{tapsLen < 1, "Invalid buffer length"})) return;
  *tapStPtr = {taps, tapsLen, 1, 0, 1, 0, 0, 1, wordOf(leak), wordOf(step), errDly, lmsType};
}

void initMr(int32_t lmsType, void* taps, int32_t tapsLen, float step, float leak, int32_t errDly, int32_t downFactor,
            int32_t downPhase, LmsTapState* tapStPtr, Site site = LmsLow()) {
  if (refused(site, nullBuffer(!taps || !tapStPtr), Fault{tapsLen < 1, "Invalid buffer length"},
              Fault{downPhase < 0 || downFactor <= downPhase, "Invalid factor value"})) {
    return;
  }
  *tapStPtr = {taps, tapsLen, 1, 0, downFactor, downPhase, downFactor >= 2, 1, leak, step, errDly, lmsType};
}

void initDlyl(const LmsTapState* tapStPtr, void* dlyl, int32_t adapt, LmsDlyState* dlyStPtr, Site site = LmsLow()) {
  if (refused(site, nullBuffer(!tapStPtr || !dlyl || !dlyStPtr))) return;
  const int64_t length =
      int64_t{tapStPtr->len} + (adapt ? tapStPtr->errDly : 0) + (tapStPtr->isMultiRate ? tapStPtr->downFactor : 0);
  *dlyStPtr = {dlyl, static_cast<int32_t>(std::clamp<int64_t>(length, 0, INT32_MAX)), 1, adapt};
}

template <class T>
void setTaps(const T* src, LmsTapState* tapStPtr, Site site = LmsLow()) {
  if (refused(site, nullBuffer(!tapStPtr))) return;
  T* const taps = static_cast<T*>(tapStPtr->taps);
  const size_t bytes = static_cast<size_t>(tapStPtr->len) * sizeof(T);
  if (!src) {
    std::memset(static_cast<void*>(taps), 0, bytes);
  } else if (src != taps) {
    std::memmove(taps, src, bytes);
  }
  tapStPtr->isFilterMode = 1;
}

template <class T>
void getTaps(LmsTapState* tapStPtr, T* dst, Site site = LmsLow()) {
  if (refused(site, nullBuffer(!tapStPtr || !dst))) return;
  const T* const taps = static_cast<T*>(tapStPtr->taps);
  if (dst != taps) std::memmove(dst, taps, static_cast<size_t>(tapStPtr->len) * sizeof(T));
  tapStPtr->isFilterMode = 0;
}

size_t visible(const LmsDlyState* dlyStPtr) { return lmsLength(*dlyStPtr) - (dlyStPtr->len > 0); }

template <class T>
void setDlyl(const LmsTapState* tapStPtr, const T* src, LmsDlyState* dlyStPtr, Site site = LmsLow()) {
  if (refused(site, nullBuffer(!tapStPtr || !dlyStPtr))) return;
  T* const dlyl = static_cast<T*>(dlyStPtr->dlyl);
  const size_t n = visible(dlyStPtr);
  if (!src) {
    std::memset(static_cast<void*>(dlyl), 0, n * sizeof(T));
  } else if (src != dlyl) {
    std::reverse_copy(src, src + n, dlyl);
  } else if (dlyStPtr->isFilterMode != 1) {
    std::reverse(dlyl, dlyl + n);
  }
  dlyStPtr->isFilterMode = 1;
}

template <class T>
void getDlyl(const LmsTapState* tapStPtr, LmsDlyState* dlyStPtr, T* dst, Site site = LmsLow()) {
  if (refused(site, nullBuffer(!tapStPtr || !dlyStPtr || !dst)) || dlyStPtr->isFilterMode == 0) return;
  T* const dlyl = static_cast<T*>(dlyStPtr->dlyl);
  const size_t n = visible(dlyStPtr);
  if (dst != dlyl) {
    std::reverse_copy(dlyl, dlyl + n, dst);
  } else {
    std::reverse(dlyl, dlyl + n);
  }
  dlyStPtr->isFilterMode = 0;
}

// ---- filtering: samples S, taps T

template <class S, class T>
using Result = FirResult<S, T>;

// One period: one sample, or those of a multi-rate step.
template <class T, class S>
Result<S, T> adapt(const LmsTapState& taps, const LmsDlyState& delay, bool multiRate, const S* in, Result<S, T> error) {
  const kernel::LmsShape shape = lmsShape(taps, delay, multiRate);
  // By the bits: zeros of both signs and negative steps switch adaptation off.
  if (std::bit_cast<int32_t>(taps.step) <= 0) return lmsFilter<S, T>(shape, taps, delay, in);
  double parts[2] = {even(error), odd(error)};
  Result<S, T> y;
  lmsRun<S, T>(shape, taps, delay, in, nullptr, &y, parts, 1);
  return y;
}

template <class T, class S>
Result<S, T> filter(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, S samp, Result<S, T> error,
                    Site site = LmsLow()) {
  if (refused(site, nullBuffer(!tapStPtr || !dlyStPtr))) return {};
  return adapt<T, S>(*tapStPtr, *dlyStPtr, false, &samp, error);
}

template <class T, class S>
Result<S, T> filterPeriod(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const S* inSamps,
                          Result<S, T> error, Site site = LmsLow()) {
  if (refused(site, nullBuffer(!tapStPtr || !dlyStPtr || !inSamps))) return {};
  return adapt<T, S>(*tapStPtr, *dlyStPtr, true, inSamps, error);
}

template <class T, class S>
Result<S, T> filterOnly(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, S samp, Site site = LmsLow()) {
  if (refused(site, nullBuffer(!tapStPtr || !dlyStPtr))) return {};
  return lmsFilter<S, T>(lmsShape(*tapStPtr, *dlyStPtr, false), *tapStPtr, *dlyStPtr, &samp);
}

// The records begin like those of the plain filters.
template <class S, class O>
void filterBlock(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const S* inSamps, O* outSamps,
                 int32_t numIters, void (*plain)(const FirTapState*, FirDlyState*, const S*, O*, int32_t),
                 Site site = LmsLow()) {
  if (refused(site, nullBuffer(!tapStPtr || !dlyStPtr || !inSamps || !outSamps),
              Fault{numIters < 1, "Invalid buffer length"})) {
    return;
  }
  // With a negative errDly the delay line can be shorter than the filter: its first taps then are the filter.
  const int32_t len = std::min(tapStPtr->len, std::max(dlyStPtr->len, 1));
  const FirTapState taps = {tapStPtr->taps,        len,
                            tapStPtr->upFactor,    tapStPtr->upPhase,
                            tapStPtr->downFactor,  tapStPtr->downPhase,
                            tapStPtr->isMultiRate, tapStPtr->isFilterMode};
  FirDlyState delay = {dlyStPtr->dlyl, dlyStPtr->len, dlyStPtr->isFilterMode};
  plain(&taps, &delay, inSamps, outSamps, numIters);
}

// ---- int16

int16_t saturated(int32_t v) { return static_cast<int16_t>(std::clamp(v, -32768, 32767)); }

// (d e) >> s has at most 30 bits and a sign: the sum with a tap fits in 32.
int16_t filter16(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, int16_t samp, int16_t error,
                 Site site = LmsLow()) {
  if (refused(site, nullBuffer(!tapStPtr || !dlyStPtr))) return 0;
  kernel::LmsShape shape = lmsShape(*tapStPtr, *dlyStPtr, false);
  int16_t* const taps = static_cast<int16_t*>(tapStPtr->taps);
  int16_t* const dlyl = static_cast<int16_t*>(dlyStPtr->dlyl);
  const int16_t shift = shortOf(tapStPtr->step);
  if (shift >= 1) {
    const int bits = std::min<int>(shift, 31);
    const size_t n = std::min(shape.taps, shape.length - shape.past);
    const int16_t* const past = dlyl + shape.past;
    for (size_t i = 0; i < n; ++i) taps[i] = saturated(taps[i] + (past[i] * error >> bits));
  }
  shiftIn(&samp, 1, dlyl, shape.length);
  return saturated(firDot(taps, dlyl, std::min(shape.taps, shape.length)));
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsLmslInit(int32_t lmsType, float* taps, int32_t tapsLen, float step, float leak, int32_t errDly,
                  LmsTapState* tapStPtr) {
  init(lmsType, taps, tapsLen, step, leak, errDly, tapStPtr);
}
void moxdLmslInit(int32_t lmsType, double* taps, int32_t tapsLen, float step, float leak, int32_t errDly,
                  LmsTapState* tapStPtr) {
  init(lmsType, taps, tapsLen, step, leak, errDly, tapStPtr);
}
void moxcLmslInit(int32_t lmsType, MoxC* taps, int32_t tapsLen, float step, float leak, int32_t errDly,
                  LmsTapState* tapStPtr) {
  init(lmsType, taps, tapsLen, step, leak, errDly, tapStPtr);
}
void moxzLmslInit(int32_t lmsType, MoxZ* taps, int32_t tapsLen, float step, float leak, int32_t errDly,
                  LmsTapState* tapStPtr) {
  init(lmsType, taps, tapsLen, step, leak, errDly, tapStPtr);
}
void moxwLmslInit(int32_t lmsType, int16_t* taps, int32_t tapsLen, int16_t step, int16_t leak, int32_t errDly,
                  LmsTapState* tapStPtr) {
  init(lmsType, taps, tapsLen, step, leak, errDly, tapStPtr);
}
void moxsLmslInitMr(int32_t lmsType, float* taps, int32_t tapsLen, float step, float leak, int32_t errDly,
                    int32_t downFactor, int32_t downPhase, LmsTapState* tapStPtr) {
  initMr(lmsType, taps, tapsLen, step, leak, errDly, downFactor, downPhase, tapStPtr);
}
void moxdLmslInitMr(int32_t lmsType, double* taps, int32_t tapsLen, float step, float leak, int32_t errDly,
                    int32_t downFactor, int32_t downPhase, LmsTapState* tapStPtr) {
  initMr(lmsType, taps, tapsLen, step, leak, errDly, downFactor, downPhase, tapStPtr);
}
void moxcLmslInitMr(int32_t lmsType, MoxC* taps, int32_t tapsLen, float step, float leak, int32_t errDly,
                    int32_t downFactor, int32_t downPhase, LmsTapState* tapStPtr) {
  initMr(lmsType, taps, tapsLen, step, leak, errDly, downFactor, downPhase, tapStPtr);
}
void moxzLmslInitMr(int32_t lmsType, MoxZ* taps, int32_t tapsLen, float step, float leak, int32_t errDly,
                    int32_t downFactor, int32_t downPhase, LmsTapState* tapStPtr) {
  initMr(lmsType, taps, tapsLen, step, leak, errDly, downFactor, downPhase, tapStPtr);
}

void moxsLmslInitDlyl(const LmsTapState* tapStPtr, float* dlyl, int32_t adapt, LmsDlyState* dlyStPtr) {
  initDlyl(tapStPtr, dlyl, adapt, dlyStPtr);
}
void moxdLmslInitDlyl(const LmsTapState* tapStPtr, double* dlyl, int32_t adapt, LmsDlyState* dlyStPtr) {
  initDlyl(tapStPtr, dlyl, adapt, dlyStPtr);
}
void moxcLmslInitDlyl(const LmsTapState* tapStPtr, MoxC* dlyl, int32_t adapt, LmsDlyState* dlyStPtr) {
  initDlyl(tapStPtr, dlyl, adapt, dlyStPtr);
}
void moxzLmslInitDlyl(const LmsTapState* tapStPtr, MoxZ* dlyl, int32_t adapt, LmsDlyState* dlyStPtr) {
  initDlyl(tapStPtr, dlyl, adapt, dlyStPtr);
}
void moxwLmslInitDlyl(const LmsTapState* tapStPtr, int16_t* dlyl, int32_t adapt, LmsDlyState* dlyStPtr) {
  initDlyl(tapStPtr, dlyl, adapt, dlyStPtr);
}

void moxsLmslSetTaps(const float* taps, LmsTapState* tapStPtr) { setTaps(taps, tapStPtr); }
void moxdLmslSetTaps(const double* taps, LmsTapState* tapStPtr) { setTaps(taps, tapStPtr); }
void moxcLmslSetTaps(const MoxC* taps, LmsTapState* tapStPtr) { setTaps(taps, tapStPtr); }
void moxzLmslSetTaps(const MoxZ* taps, LmsTapState* tapStPtr) { setTaps(taps, tapStPtr); }
void moxwLmslSetTaps(const int16_t* taps, LmsTapState* tapStPtr) { setTaps(taps, tapStPtr); }

void moxsLmslGetTaps(LmsTapState* tapStPtr, float* taps) { getTaps(tapStPtr, taps); }
void moxdLmslGetTaps(LmsTapState* tapStPtr, double* taps) { getTaps(tapStPtr, taps); }
void moxcLmslGetTaps(LmsTapState* tapStPtr, MoxC* taps) { getTaps(tapStPtr, taps); }
void moxzLmslGetTaps(LmsTapState* tapStPtr, MoxZ* taps) { getTaps(tapStPtr, taps); }

void moxsLmslSetDlyl(const LmsTapState* tapStPtr, const float* dlyl, LmsDlyState* dlyStPtr) {
  setDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxdLmslSetDlyl(const LmsTapState* tapStPtr, const double* dlyl, LmsDlyState* dlyStPtr) {
  setDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxcLmslSetDlyl(const LmsTapState* tapStPtr, const MoxC* dlyl, LmsDlyState* dlyStPtr) {
  setDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxzLmslSetDlyl(const LmsTapState* tapStPtr, const MoxZ* dlyl, LmsDlyState* dlyStPtr) {
  setDlyl(tapStPtr, dlyl, dlyStPtr);
}
void moxwLmslSetDlyl(const LmsTapState* tapStPtr, const int16_t* dlyl, LmsDlyState* dlyStPtr) {
  setDlyl(tapStPtr, dlyl, dlyStPtr);
}

void moxsLmslGetDlyl(const LmsTapState* tapStPtr, LmsDlyState* dlyStPtr, float* dlyl) {
  getDlyl(tapStPtr, dlyStPtr, dlyl);
}
void moxdLmslGetDlyl(const LmsTapState* tapStPtr, LmsDlyState* dlyStPtr, double* dlyl) {
  getDlyl(tapStPtr, dlyStPtr, dlyl);
}
void moxcLmslGetDlyl(const LmsTapState* tapStPtr, LmsDlyState* dlyStPtr, MoxC* dlyl) {
  getDlyl(tapStPtr, dlyStPtr, dlyl);
}
void moxzLmslGetDlyl(const LmsTapState* tapStPtr, LmsDlyState* dlyStPtr, MoxZ* dlyl) {
  getDlyl(tapStPtr, dlyStPtr, dlyl);
}

float moxsLmslGetStep(const LmsTapState* tapStPtr) { return tapStPtr->step; }
float moxsLmslGetLeak(const LmsTapState* tapStPtr) { return tapStPtr->leak; }
void moxsLmslSetStep(float step, LmsTapState* tapStPtr) { tapStPtr->step = step; }
void moxsLmslSetLeak(float leak, LmsTapState* tapStPtr) { tapStPtr->leak = leak; }

float moxsLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, float samp, float err) {
  return filter<float>(tapStPtr, dlyStPtr, samp, err);
}
double moxdLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, double samp, double err) {
  return filter<double>(tapStPtr, dlyStPtr, samp, err);
}
MoxC moxcLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxC samp, MoxC err) {
  return filter<MoxC>(tapStPtr, dlyStPtr, samp, err);
}
MoxZ moxzLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxZ samp, MoxZ err) {
  return filter<MoxZ>(tapStPtr, dlyStPtr, samp, err);
}
MoxC moxscLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, float samp, MoxC err) {
  return filter<MoxC>(tapStPtr, dlyStPtr, samp, err);
}
MoxZ moxdzLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, double samp, MoxZ err) {
  return filter<MoxZ>(tapStPtr, dlyStPtr, samp, err);
}
int16_t moxwLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, int16_t samp, int16_t err) {
  return filter16(tapStPtr, dlyStPtr, samp, err);
}

float moxsbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const float* inSamps, float err) {
  return filterPeriod<float>(tapStPtr, dlyStPtr, inSamps, err);
}
double moxdbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const double* inSamps, double err) {
  return filterPeriod<double>(tapStPtr, dlyStPtr, inSamps, err);
}
MoxC moxcbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxC* inSamps, MoxC err) {
  return filterPeriod<MoxC>(tapStPtr, dlyStPtr, inSamps, err);
}
MoxZ moxzbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxZ* inSamps, MoxZ err) {
  return filterPeriod<MoxZ>(tapStPtr, dlyStPtr, inSamps, err);
}
MoxC moxscbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const float* inSamps, MoxC err) {
  return filterPeriod<MoxC>(tapStPtr, dlyStPtr, inSamps, err);
}
MoxZ moxdzbLmsl(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const double* inSamps, MoxZ err) {
  return filterPeriod<MoxZ>(tapStPtr, dlyStPtr, inSamps, err);
}

float moxsLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, float samp) {
  return filterOnly<float>(tapStPtr, dlyStPtr, samp);
}
double moxdLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, double samp) {
  return filterOnly<double>(tapStPtr, dlyStPtr, samp);
}
MoxC moxcLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxC samp) {
  return filterOnly<MoxC>(tapStPtr, dlyStPtr, samp);
}
MoxZ moxzLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxZ samp) {
  return filterOnly<MoxZ>(tapStPtr, dlyStPtr, samp);
}
MoxC moxscLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, float samp) {
  return filterOnly<MoxC>(tapStPtr, dlyStPtr, samp);
}
MoxC moxcsLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxC samp) {
  return filterOnly<float>(tapStPtr, dlyStPtr, samp);
}
MoxZ moxdzLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, double samp) {
  return filterOnly<MoxZ>(tapStPtr, dlyStPtr, samp);
}
MoxZ moxzdLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, MoxZ samp) {
  return filterOnly<double>(tapStPtr, dlyStPtr, samp);
}
void moxsbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const float* inSamps, float* outSamps,
                 int32_t numIters) {
  filterBlock(tapStPtr, dlyStPtr, inSamps, outSamps, numIters, moxsbFirl);
}
void moxdbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const double* inSamps, double* outSamps,
                 int32_t numIters) {
  filterBlock(tapStPtr, dlyStPtr, inSamps, outSamps, numIters, moxdbFirl);
}
void moxcbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxC* inSamps, MoxC* outSamps,
                 int32_t numIters) {
  filterBlock(tapStPtr, dlyStPtr, inSamps, outSamps, numIters, moxcbFirl);
}
void moxzbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxZ* inSamps, MoxZ* outSamps,
                 int32_t numIters) {
  filterBlock(tapStPtr, dlyStPtr, inSamps, outSamps, numIters, moxzbFirl);
}
void moxscbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const float* inSamps, MoxC* outSamps,
                  int32_t numIters) {
  filterBlock(tapStPtr, dlyStPtr, inSamps, outSamps, numIters, moxscbFirl);
}
void moxcsbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxC* inSamps, MoxC* outSamps,
                  int32_t numIters) {
  filterBlock(tapStPtr, dlyStPtr, inSamps, outSamps, numIters, moxcsbFirl);
}
void moxdzbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const double* inSamps, MoxZ* outSamps,
                  int32_t numIters) {
  filterBlock(tapStPtr, dlyStPtr, inSamps, outSamps, numIters, moxdzbFirl);
}
void moxzdbLmslNa(const LmsTapState* tapStPtr, const LmsDlyState* dlyStPtr, const MoxZ* inSamps, MoxZ* outSamps,
                  int32_t numIters) {
  filterBlock(tapStPtr, dlyStPtr, inSamps, outSamps, numIters, moxzdbFirl);
}

}  // extern "C"
