// Adaptive filters that own their taps and their delay line, and compute their error from a desired signal.
#include <cstdlib>

#include "filter/fir_check.h"
#include "filter/lms_core.h"

namespace mox {
namespace {

using LmsObject = Here<"moxlmsh">;

template <class S, class T>
using Result = FirResult<S, T>;

float& errorOf(LmsState& state, float) { return state.errVal.s; }
double& errorOf(LmsState& state, double) { return state.errVal.d; }
MoxC& errorOf(LmsState& state, MoxC) { return state.errVal.c; }
MoxZ& errorOf(LmsState& state, MoxZ) { return state.errVal.z; }

float minus(float a, float b) { return a - b; }
double minus(double a, double b) { return a - b; }
MoxC minus(MoxC a, MoxC b) { return {a.re - b.re, a.im - b.im}; }
MoxZ minus(MoxZ a, MoxZ b) { return {a.re - b.re, a.im - b.im}; }

float narrowed(const double* parts, float) { return static_cast<float>(parts[0]); }
double narrowed(const double* parts, double) { return parts[0]; }
MoxC narrowed(const double* parts, MoxC) { return {static_cast<float>(parts[0]), static_cast<float>(parts[1])}; }
MoxZ narrowed(const double* parts, MoxZ) { return {parts[0], parts[1]}; }

// ---- memory

void release(LmsState* state) {
  std::free(state->tapSt.taps);
  std::free(state->dlySt.dlyl);
  state->tapSt.taps = state->dlySt.dlyl = nullptr;
}

template <class S, class T>
void build(int32_t lmsType, const T* taps, int32_t tapsLen, const S* dlyl, float step, float leak, int32_t errDly,
           int32_t downFactor, int32_t downPhase, LmsState* statePtr, void (*setTaps)(const T*, LmsTapState*),
           void (*setDlyl)(const LmsTapState*, const S*, LmsDlyState*), Site site) {
  const bool multiRate = downFactor > 1;
  const int64_t length = std::max<int64_t>(int64_t{tapsLen} + errDly + (multiRate ? downFactor : 0), 0);
  LmsTapState& tapSt = statePtr->tapSt;
  LmsDlyState& dlySt = statePtr->dlySt;
  tapSt = {nullptr, tapsLen, 1, 0, downFactor, downPhase, multiRate, 0, leak, step, errDly, lmsType};
  dlySt = {nullptr, 0, 0, 1};
  errorOf(*statePtr, Result<S, T>{}) = {};
  if (length <= INT32_MAX) {
    tapSt.taps = std::calloc(static_cast<size_t>(tapsLen), sizeof(T));
    dlySt.dlyl = std::calloc(static_cast<size_t>(std::max<int64_t>(length, 1)), sizeof(S));
    dlySt.len = static_cast<int32_t>(length);
  }
  if (!tapSt.taps || !dlySt.dlyl) {
    release(statePtr);
    report(site, MOX_StsNoMem, "Problem to allocate memory");
    return;
  }
  setTaps(taps, &tapSt);
  setDlyl(&tapSt, dlyl, &dlySt);
}

template <class S, class T>
void init(int32_t lmsType, const T* taps, int32_t tapsLen, const S* dlyl, float step, float leak, int32_t errDly,
          LmsState* statePtr, void (*setTaps)(const T*, LmsTapState*),
          void (*setDlyl)(const LmsTapState*, const S*, LmsDlyState*), Site site = LmsObject()) {
  if (refused(site, nullBuffer(!statePtr), Fault{tapsLen < 1, "Invalid buffer length"})) return;
  build(lmsType, taps, tapsLen, dlyl, step, leak, errDly, 1, 0, statePtr, setTaps, setDlyl, site);
}

template <class S, class T>
void initMr(int32_t lmsType, const T* taps, int32_t tapsLen, const S* dlyl, float step, float leak, int32_t errDly,
            int32_t downFactor, int32_t downPhase, LmsState* statePtr, void (*setTaps)(const T*, LmsTapState*),
            void (*setDlyl)(const LmsTapState*, const S*, LmsDlyState*), Site site = LmsObject()) {
  if (refused(site, nullBuffer(!statePtr), Fault{tapsLen < 1, "Invalid buffer length"},
              Fault{downPhase < 0, "Invalid phase value"}, Fault{downFactor <= downPhase, "Invalid factor value"})) {
    return;
  }
  build(lmsType, taps, tapsLen, dlyl, step, leak, errDly, downFactor, downPhase, statePtr, setTaps, setDlyl, site);
}

// ---- the embedded records

template <class T>
void setTaps(const T* taps, LmsState* statePtr, void (*set)(const T*, LmsTapState*), Site site = LmsObject()) {
  if (!refused(site, nullBuffer(!statePtr))) set(taps, &statePtr->tapSt);
}
template <class T>
void getTaps(LmsState* statePtr, T* taps, void (*get)(LmsTapState*, T*), Site site = LmsObject()) {
  if (!refused(site, nullBuffer(!statePtr || !taps))) get(&statePtr->tapSt, taps);
}
template <class S>
void setDlyl(const S* dlyl, LmsState* statePtr, void (*set)(const LmsTapState*, const S*, LmsDlyState*),
             Site site = LmsObject()) {
  if (!refused(site, nullBuffer(!statePtr))) set(&statePtr->tapSt, dlyl, &statePtr->dlySt);
}
template <class S>
void getDlyl(LmsState* statePtr, S* dlyl, void (*get)(const LmsTapState*, LmsDlyState*, S*), Site site = LmsObject()) {
  if (!refused(site, nullBuffer(!statePtr || !dlyl))) get(&statePtr->tapSt, &statePtr->dlySt, dlyl);
}

template <class O>
O getError(const LmsState* statePtr, Site site = LmsObject()) {
  // No status keeps the error from its reader.
  if (!statePtr) return report(site, MOX_StsBadArg, "Null buffer pointer"), O{};
  return errorOf(const_cast<LmsState&>(*statePtr), O{});
}
template <class O>
void setError(O value, LmsState* statePtr, Site site = LmsObject()) {
  if (!statePtr) {
    report(site, MOX_StsBadArg, "Null buffer pointer");
  } else {
    errorOf(*statePtr, O{}) = value;
  }
}

// ---- filtering: samples S, taps T

Fault noTaps(const LmsState* state) {
  return {state && state->tapSt.isFilterMode == 0, "Taps state structure is not initialized"};
}
Fault noDelay(const LmsState* state) {
  return {state && state->dlySt.isFilterMode == 0, "Delay line state structure is not initialized"};
}

template <class S, class O>
O filter(const LmsState* statePtr, S samp, O error, O (*low)(const LmsTapState*, const LmsDlyState*, S, O),
         Site site = LmsObject()) {
  if (refused(site, nullBuffer(!statePtr), noTaps(statePtr), noDelay(statePtr))) return {};
  return low(&statePtr->tapSt, &statePtr->dlySt, samp, error);
}

template <class S, class O>
O filterPeriod(const LmsState* statePtr, const S* inSamps, O error,
               O (*low)(const LmsTapState*, const LmsDlyState*, const S*, O), Site site = LmsObject()) {
  if (refused(site, nullBuffer(!statePtr || !inSamps), noTaps(statePtr), noDelay(statePtr))) return {};
  return low(&statePtr->tapSt, &statePtr->dlySt, inSamps, error);
}

template <class T, class S>
Result<S, T> follow(LmsState* statePtr, S samp, Result<S, T> desired, Site site = LmsObject()) {
  using O = Result<S, T>;
  if (refused(site, nullBuffer(!statePtr), noTaps(statePtr), noDelay(statePtr))) return {};
  O& error = errorOf(*statePtr, O{});
  double parts[2] = {even(error), odd(error)};
  O y;
  lmsRun<S, T>(lmsShape(statePtr->tapSt, statePtr->dlySt, false), statePtr->tapSt, statePtr->dlySt, &samp, nullptr, &y,
               parts, 1);
  error = minus(desired, y);
  return y;
}

template <class T, class S>
void followBlock(LmsState* statePtr, const S* inSamps, const Result<S, T>* desSamps, Result<S, T>* outSamps,
                 int32_t numIters, Site site = LmsObject()) {
  using O = Result<S, T>;
  if (refused(site, nullBuffer(!statePtr), noTaps(statePtr), noDelay(statePtr),
              nullBuffer(!inSamps || !desSamps || !outSamps),
              Fault{numIters < 1, "Bad value of number of iterations"})) {
    return;
  }
  O& error = errorOf(*statePtr, O{});
  double parts[2] = {even(error), odd(error)};
  lmsRun<S, T>(lmsShape(statePtr->tapSt, statePtr->dlySt, true), statePtr->tapSt, statePtr->dlySt, inSamps, desSamps,
               outSamps, parts, static_cast<size_t>(numIters));
  error = narrowed(parts, O{});
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsLmsInit(int32_t lmsType, const float* taps, int32_t tapsLen, const float* dlyl, float step, float leak,
                 int32_t errDly, LmsState* statePtr) {
  init(lmsType, taps, tapsLen, dlyl, step, leak, errDly, statePtr, moxsLmslSetTaps, moxsLmslSetDlyl);
}
void moxdLmsInit(int32_t lmsType, const double* taps, int32_t tapsLen, const double* dlyl, float step, float leak,
                 int32_t errDly, LmsState* statePtr) {
  init(lmsType, taps, tapsLen, dlyl, step, leak, errDly, statePtr, moxdLmslSetTaps, moxdLmslSetDlyl);
}
void moxcLmsInit(int32_t lmsType, const MoxC* taps, int32_t tapsLen, const MoxC* dlyl, float step, float leak,
                 int32_t errDly, LmsState* statePtr) {
  init(lmsType, taps, tapsLen, dlyl, step, leak, errDly, statePtr, moxcLmslSetTaps, moxcLmslSetDlyl);
}
void moxzLmsInit(int32_t lmsType, const MoxZ* taps, int32_t tapsLen, const MoxZ* dlyl, float step, float leak,
                 int32_t errDly, LmsState* statePtr) {
  init(lmsType, taps, tapsLen, dlyl, step, leak, errDly, statePtr, moxzLmslSetTaps, moxzLmslSetDlyl);
}
void moxscLmsInit(int32_t lmsType, const MoxC* taps, int32_t tapsLen, const float* dlyl, float step, float leak,
                  int32_t errDly, LmsState* statePtr) {
  init(lmsType, taps, tapsLen, dlyl, step, leak, errDly, statePtr, moxcLmslSetTaps, moxsLmslSetDlyl);
}
void moxdzLmsInit(int32_t lmsType, const MoxZ* taps, int32_t tapsLen, const double* dlyl, float step, float leak,
                  int32_t errDly, LmsState* statePtr) {
  init(lmsType, taps, tapsLen, dlyl, step, leak, errDly, statePtr, moxzLmslSetTaps, moxdLmslSetDlyl);
}
void moxsLmsInitMr(int32_t lmsType, const float* taps, int32_t tapsLen, const float* dlyl, float step, float leak,
                   int32_t errDly, int32_t downFactor, int32_t downPhase, LmsState* statePtr) {
  initMr(lmsType, taps, tapsLen, dlyl, step, leak, errDly, downFactor, downPhase, statePtr, moxsLmslSetTaps,
         moxsLmslSetDlyl);
}
void moxdLmsInitMr(int32_t lmsType, const double* taps, int32_t tapsLen, const double* dlyl, float step, float leak,
                   int32_t errDly, int32_t downFactor, int32_t downPhase, LmsState* statePtr) {
  initMr(lmsType, taps, tapsLen, dlyl, step, leak, errDly, downFactor, downPhase, statePtr, moxdLmslSetTaps,
         moxdLmslSetDlyl);
}
void moxcLmsInitMr(int32_t lmsType, const MoxC* taps, int32_t tapsLen, const MoxC* dlyl, float step, float leak,
                   int32_t errDly, int32_t downFactor, int32_t downPhase, LmsState* statePtr) {
  initMr(lmsType, taps, tapsLen, dlyl, step, leak, errDly, downFactor, downPhase, statePtr, moxcLmslSetTaps,
         moxcLmslSetDlyl);
}
void moxzLmsInitMr(int32_t lmsType, const MoxZ* taps, int32_t tapsLen, const MoxZ* dlyl, float step, float leak,
                   int32_t errDly, int32_t downFactor, int32_t downPhase, LmsState* statePtr) {
  initMr(lmsType, taps, tapsLen, dlyl, step, leak, errDly, downFactor, downPhase, statePtr, moxzLmslSetTaps,
         moxzLmslSetDlyl);
}
void moxscLmsInitMr(int32_t lmsType, const MoxC* taps, int32_t tapsLen, const float* dlyl, float step, float leak,
                    int32_t errDly, int32_t downFactor, int32_t downPhase, LmsState* statePtr) {
  initMr(lmsType, taps, tapsLen, dlyl, step, leak, errDly, downFactor, downPhase, statePtr, moxcLmslSetTaps,
         moxsLmslSetDlyl);
}
void moxdzLmsInitMr(int32_t lmsType, const MoxZ* taps, int32_t tapsLen, const double* dlyl, float step, float leak,
                    int32_t errDly, int32_t downFactor, int32_t downPhase, LmsState* statePtr) {
  initMr(lmsType, taps, tapsLen, dlyl, step, leak, errDly, downFactor, downPhase, statePtr, moxzLmslSetTaps,
         moxdLmslSetDlyl);
}

void moxLmsFree(LmsState* statePtr) {
  if (statePtr) release(statePtr);
}

void moxsLmsSetTaps(const float* taps, LmsState* statePtr) { setTaps(taps, statePtr, moxsLmslSetTaps); }
void moxdLmsSetTaps(const double* taps, LmsState* statePtr) { setTaps(taps, statePtr, moxdLmslSetTaps); }
void moxcLmsSetTaps(const MoxC* taps, LmsState* statePtr) { setTaps(taps, statePtr, moxcLmslSetTaps); }
void moxzLmsSetTaps(const MoxZ* taps, LmsState* statePtr) { setTaps(taps, statePtr, moxzLmslSetTaps); }
void moxsLmsGetTaps(LmsState* statePtr, float* taps) { getTaps(statePtr, taps, moxsLmslGetTaps); }
void moxdLmsGetTaps(LmsState* statePtr, double* taps) { getTaps(statePtr, taps, moxdLmslGetTaps); }
void moxcLmsGetTaps(LmsState* statePtr, MoxC* taps) { getTaps(statePtr, taps, moxcLmslGetTaps); }
void moxzLmsGetTaps(LmsState* statePtr, MoxZ* taps) { getTaps(statePtr, taps, moxzLmslGetTaps); }
void moxsLmsSetDlyl(const float* dlyl, LmsState* statePtr) { setDlyl(dlyl, statePtr, moxsLmslSetDlyl); }
void moxdLmsSetDlyl(const double* dlyl, LmsState* statePtr) { setDlyl(dlyl, statePtr, moxdLmslSetDlyl); }
void moxcLmsSetDlyl(const MoxC* dlyl, LmsState* statePtr) { setDlyl(dlyl, statePtr, moxcLmslSetDlyl); }
void moxzLmsSetDlyl(const MoxZ* dlyl, LmsState* statePtr) { setDlyl(dlyl, statePtr, moxzLmslSetDlyl); }
void moxsLmsGetDlyl(LmsState* statePtr, float* dlyl) { getDlyl(statePtr, dlyl, moxsLmslGetDlyl); }
void moxdLmsGetDlyl(LmsState* statePtr, double* dlyl) { getDlyl(statePtr, dlyl, moxdLmslGetDlyl); }
void moxcLmsGetDlyl(LmsState* statePtr, MoxC* dlyl) { getDlyl(statePtr, dlyl, moxcLmslGetDlyl); }
void moxzLmsGetDlyl(LmsState* statePtr, MoxZ* dlyl) { getDlyl(statePtr, dlyl, moxzLmslGetDlyl); }
float moxsLmsGetStep(const LmsState* statePtr) { return statePtr->tapSt.step; }
float moxsLmsGetLeak(const LmsState* statePtr) { return statePtr->tapSt.leak; }
void moxsLmsSetStep(float step, LmsState* statePtr) { statePtr->tapSt.step = step; }
void moxsLmsSetLeak(float leak, LmsState* statePtr) { statePtr->tapSt.leak = leak; }
float moxsLmsGetErrVal(const LmsState* statePtr) { return getError<float>(statePtr); }
double moxdLmsGetErrVal(const LmsState* statePtr) { return getError<double>(statePtr); }
MoxC moxcLmsGetErrVal(const LmsState* statePtr) { return getError<MoxC>(statePtr); }
MoxZ moxzLmsGetErrVal(const LmsState* statePtr) { return getError<MoxZ>(statePtr); }
void moxsLmsSetErrVal(float errVal, LmsState* statePtr) { setError(errVal, statePtr); }
void moxdLmsSetErrVal(double errVal, LmsState* statePtr) { setError(errVal, statePtr); }
void moxcLmsSetErrVal(MoxC errVal, LmsState* statePtr) { setError(errVal, statePtr); }
void moxzLmsSetErrVal(MoxZ errVal, LmsState* statePtr) { setError(errVal, statePtr); }

float moxsLms(const LmsState* statePtr, float samp, float err) { return filter(statePtr, samp, err, moxsLmsl); }
double moxdLms(const LmsState* statePtr, double samp, double err) { return filter(statePtr, samp, err, moxdLmsl); }
MoxC moxcLms(const LmsState* statePtr, MoxC samp, MoxC err) { return filter(statePtr, samp, err, moxcLmsl); }
MoxZ moxzLms(const LmsState* statePtr, MoxZ samp, MoxZ err) { return filter(statePtr, samp, err, moxzLmsl); }
MoxC moxscLms(const LmsState* statePtr, float samp, MoxC err) { return filter(statePtr, samp, err, moxscLmsl); }
MoxZ moxdzLms(const LmsState* statePtr, double samp, MoxZ err) { return filter(statePtr, samp, err, moxdzLmsl); }
float moxsbLms(const LmsState* statePtr, const float* inSamps, float err) {
  return filterPeriod(statePtr, inSamps, err, moxsbLmsl);
}
double moxdbLms(const LmsState* statePtr, const double* inSamps, double err) {
  return filterPeriod(statePtr, inSamps, err, moxdbLmsl);
}
MoxC moxcbLms(const LmsState* statePtr, const MoxC* inSamps, MoxC err) {
  return filterPeriod(statePtr, inSamps, err, moxcbLmsl);
}
MoxZ moxzbLms(const LmsState* statePtr, const MoxZ* inSamps, MoxZ err) {
  return filterPeriod(statePtr, inSamps, err, moxzbLmsl);
}
MoxC moxscbLms(const LmsState* statePtr, const float* inSamps, MoxC err) {
  return filterPeriod(statePtr, inSamps, err, moxscbLmsl);
}
MoxZ moxdzbLms(const LmsState* statePtr, const double* inSamps, MoxZ err) {
  return filterPeriod(statePtr, inSamps, err, moxdzbLmsl);
}

float moxsLmsDes(LmsState* statePtr, float samp, float des) { return follow<float>(statePtr, samp, des); }
double moxdLmsDes(LmsState* statePtr, double samp, double des) { return follow<double>(statePtr, samp, des); }
MoxC moxcLmsDes(LmsState* statePtr, MoxC samp, MoxC des) { return follow<MoxC>(statePtr, samp, des); }
MoxZ moxzLmsDes(LmsState* statePtr, MoxZ samp, MoxZ des) { return follow<MoxZ>(statePtr, samp, des); }
MoxC moxscLmsDes(LmsState* statePtr, float samp, MoxC des) { return follow<MoxC>(statePtr, samp, des); }
MoxZ moxdzLmsDes(LmsState* statePtr, double samp, MoxZ des) { return follow<MoxZ>(statePtr, samp, des); }
void moxsbLmsDes(LmsState* statePtr, const float* inSamps, const float* desSamps, float* outSamps, int32_t numIters) {
  followBlock<float>(statePtr, inSamps, desSamps, outSamps, numIters);
}
void moxdbLmsDes(LmsState* statePtr, const double* inSamps, const double* desSamps, double* outSamps,
                 int32_t numIters) {
  followBlock<double>(statePtr, inSamps, desSamps, outSamps, numIters);
}
void moxcbLmsDes(LmsState* statePtr, const MoxC* inSamps, const MoxC* desSamps, MoxC* outSamps, int32_t numIters) {
  followBlock<MoxC>(statePtr, inSamps, desSamps, outSamps, numIters);
}
void moxzbLmsDes(LmsState* statePtr, const MoxZ* inSamps, const MoxZ* desSamps, MoxZ* outSamps, int32_t numIters) {
  followBlock<MoxZ>(statePtr, inSamps, desSamps, outSamps, numIters);
}
void moxscbLmsDes(LmsState* statePtr, const float* inSamps, const MoxC* desSamps, MoxC* outSamps, int32_t numIters) {
  followBlock<MoxC>(statePtr, inSamps, desSamps, outSamps, numIters);
}
void moxdzbLmsDes(LmsState* statePtr, const double* inSamps, const MoxZ* desSamps, MoxZ* outSamps, int32_t numIters) {
  followBlock<MoxZ>(statePtr, inSamps, desSamps, outSamps, numIters);
}

}  // extern "C"
