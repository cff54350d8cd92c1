// Recursive filters that own their coefficients and their delay line, in one block of memory.
#include <cstdlib>
#include <cstring>

#include "frame/check.h"
#include "vector/element.h"

namespace mox {
namespace {

using IirObject = Here<"moxiirh">;

constexpr int32_t kInitMark = 31725;
constexpr const char kNotReady[] = "IIR filter wasn't initialized";

// A filter from `count` coefficients, in front of a delay line of `length` values.
template <class T, class O>
int32_t initAny(int32_t iirType, const T* tapVals, int32_t size, uint64_t count, uint64_t length, IirState* statePtr,
                void (*initTaps)(int32_t, T*, int32_t, IirTapState*),
                void (*initDelay)(const IirTapState*, O*, IirDlyState*), Site site) {
  const uint64_t bytes = count * sizeof(T) + length * sizeof(O);
  T* const taps = bytes <= uint64_t{PTRDIFF_MAX} ? static_cast<T*>(std::malloc(static_cast<size_t>(bytes))) : nullptr;
  if (!taps) {
    report(site, MOX_StsNoMem, "insufficiency of memory for IIR filter state");
    return context().status;
  }
  std::memcpy(taps, tapVals, static_cast<size_t>(count) * sizeof(T));
  IirState state = {};
  initTaps(iirType, taps, size, &state.tapSt);
  if (context().status < 0) {
    report(site, MOX_StsBackTrace, nullptr);
    std::free(taps);
    statePtr->initMark = 0;
    return context().status;
  }
  initDelay(&state.tapSt, reinterpret_cast<O*>(taps + count), &state.dlySt);
  state.initMark = kInitMark;
  *statePtr = state;
  return context().status;
}

constexpr const char kNoType[] = "iirType is out of range";
constexpr const char kTwice[] = "IIR filter state structure is already initialized! Use moxIirFree to free it";
bool isBadType(int32_t iirType) { return (iirType & ~1) != 0; }
bool isReady(const IirState& state) { return state.initMark == kInitMark; }

template <class T, class O>
int32_t init(int32_t iirType, const T* tapVals, int32_t order, IirState* statePtr,
             void (*initTaps)(int32_t, T*, int32_t, IirTapState*),
             void (*initDelay)(const IirTapState*, O*, IirDlyState*), Site site = IirObject()) {
  if (rejected(site, BAD_IF(statePtr==0), BAD_IF(tapVals==0))) return context().status;
  if (rejected(site, BAD_IF(order < 0), check(isBadType(iirType), [] { return kNoType; }),
                            check(isReady(*statePtr), [] { return kTwice; }))) {
    return context().status;
  }
  const uint64_t n = static_cast<uint64_t>(order);
  return initAny(iirType, tapVals, order, 2 * n + 2, n, statePtr, initTaps, initDelay, site);
}

template <class T, class O>
int32_t initBiquads(int32_t iirType, const T* tapVals, int32_t numQuads, IirState* statePtr,
                    void (*initTaps)(int32_t, T*, int32_t, IirTapState*),
                    void (*initDelay)(const IirTapState*, O*, IirDlyState*), Site site = IirObject()) {
  if (rejected(site, BAD_IF(statePtr==0), BAD_IF(tapVals==0))) return context().status;
  if (rejected(site, BAD_IF(numQuads <= 0), check(isBadType(iirType), [] { return kNoType; }),
                            check(isReady(*statePtr), [] { return kTwice; }))) {
    return context().status;
  }
  const uint64_t quads = static_cast<uint64_t>(numQuads);
  return initAny(iirType, tapVals, numQuads, 6 * quads, 2 * quads, statePtr, initTaps, initDelay, site);
}

template <class S, class O>
O filter(IirState* statePtr, S samp, O (*filterOne)(const IirTapState*, const IirDlyState*, S),
         Site site = IirObject()) {
  if (rejected(site, BAD_IF(statePtr==0))) return O{};
  if (rejected(site, check(!isReady(*statePtr), [] { return kNotReady; }))) return O{};
  return filterOne(&statePtr->tapSt, &statePtr->dlySt, samp);
}

template <class S, class O>
int32_t filterBlock(IirState* statePtr, const S* inSamps, O* outSamps, int32_t numIters,
                    void (*filterMany)(const IirTapState*, const IirDlyState*, const S*, O*, int32_t),
                    Site site = IirObject()) {
  if (rejected(site, BAD_IF(statePtr==0))) return context().status;
  if (rejected(site, check(!isReady(*statePtr), [] { return kNotReady; }))) return context().status;
  filterMany(&statePtr->tapSt, &statePtr->dlySt, inSamps, outSamps, numIters);
  if (context().status < 0) report(site, MOX_StsBackTrace, nullptr);
  return context().status;
}

int32_t release(IirState* statePtr, Site site = IirObject()) {
  if (!statePtr) {
    report(site, MOX_StsBadArg, "statePtr==0");
  } else if (!isReady(*statePtr)) {
    report(site, MOX_StsBadArg, kNotReady);
  } else {
    std::free(statePtr->tapSt.taps);
    statePtr->initMark = 0;
  }
  return context().status;
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

int32_t moxsIirInit(int32_t iirType, const float* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxsIirlInit, moxsIirlInitDlyl);
}
int32_t moxdIirInit(int32_t iirType, const double* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxdIirlInit, moxdIirlInitDlyl);
}
int32_t moxcIirInit(int32_t iirType, const MoxC* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxcIirlInit, moxcIirlInitDlyl);
}
int32_t moxzIirInit(int32_t iirType, const MoxZ* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxzIirlInit, moxzIirlInitDlyl);
}
int32_t moxscIirInit(int32_t iirType, const MoxC* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxcIirlInit, moxcIirlInitDlyl);
}
int32_t moxcsIirInit(int32_t iirType, const float* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxsIirlInit, moxcIirlInitDlyl);
}
int32_t moxdzIirInit(int32_t iirType, const MoxZ* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxzIirlInit, moxzIirlInitDlyl);
}
int32_t moxzdIirInit(int32_t iirType, const double* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxdIirlInit, moxzIirlInitDlyl);
}

int32_t moxsIirInitBq(int32_t iirType, const float* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxsIirlInitBq, moxsIirlInitDlyl);
}
int32_t moxdIirInitBq(int32_t iirType, const double* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxdIirlInitBq, moxdIirlInitDlyl);
}
int32_t moxcIirInitBq(int32_t iirType, const MoxC* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxcIirlInitBq, moxcIirlInitDlyl);
}
int32_t moxzIirInitBq(int32_t iirType, const MoxZ* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxzIirlInitBq, moxzIirlInitDlyl);
}
int32_t moxscIirInitBq(int32_t iirType, const MoxC* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxcIirlInitBq, moxcIirlInitDlyl);
}
int32_t moxcsIirInitBq(int32_t iirType, const float* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxsIirlInitBq, moxcIirlInitDlyl);
}
int32_t moxdzIirInitBq(int32_t iirType, const MoxZ* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxzIirlInitBq, moxzIirlInitDlyl);
}
int32_t moxzdIirInitBq(int32_t iirType, const double* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxdIirlInitBq, moxzIirlInitDlyl);
}

float moxsIir(IirState* statePtr, float samp) { return filter(statePtr, samp, moxsIirl); }
double moxdIir(IirState* statePtr, double samp) { return filter(statePtr, samp, moxdIirl); }
MoxC moxcIir(IirState* statePtr, MoxC samp) { return filter(statePtr, samp, moxcIirl); }
MoxZ moxzIir(IirState* statePtr, MoxZ samp) { return filter(statePtr, samp, moxzIirl); }
MoxC moxscIir(IirState* statePtr, float samp) { return filter(statePtr, samp, moxscIirl); }
MoxC moxcsIir(IirState* statePtr, MoxC samp) { return filter(statePtr, samp, moxcsIirl); }
MoxZ moxdzIir(IirState* statePtr, double samp) { return filter(statePtr, samp, moxdzIirl); }
MoxZ moxzdIir(IirState* statePtr, MoxZ samp) { return filter(statePtr, samp, moxzdIirl); }

int32_t moxsbIir(IirState* statePtr, const float* inSamps, float* outSamps, int32_t numIters) {
  return filterBlock(statePtr, inSamps, outSamps, numIters, moxsbIirl);
}
int32_t moxdbIir(IirState* statePtr, const double* inSamps, double* outSamps, int32_t numIters) {
  return filterBlock(statePtr, inSamps, outSamps, numIters, moxdbIirl);
}
int32_t moxcbIir(IirState* statePtr, const MoxC* inSamps, MoxC* outSamps, int32_t numIters) {
  return filterBlock(statePtr, inSamps, outSamps, numIters, moxcbIirl);
}
int32_t moxzbIir(IirState* statePtr, const MoxZ* inSamps, MoxZ* outSamps, int32_t numIters) {
  return filterBlock(statePtr, inSamps, outSamps, numIters, moxzbIirl);
}
int32_t moxscbIir(IirState* statePtr, const float* inSamps, MoxC* outSamps, int32_t numIters) {
  return filterBlock(statePtr, inSamps, outSamps, numIters, moxscbIirl);
}
int32_t moxcsbIir(IirState* statePtr, const MoxC* inSamps, MoxC* outSamps, int32_t numIters) {
  return filterBlock(statePtr, inSamps, outSamps, numIters, moxcsbIirl);
}
int32_t moxdzbIir(IirState* statePtr, const double* inSamps, MoxZ* outSamps, int32_t numIters) {
  return filterBlock(statePtr, inSamps, outSamps, numIters, moxdzbIirl);
}
int32_t moxzdbIir(IirState* statePtr, const MoxZ* inSamps, MoxZ* outSamps, int32_t numIters) {
  return filterBlock(statePtr, inSamps, outSamps, numIters, moxzdbIirl);
}

int32_t moxIirFree(IirState* statePtr) { return release(statePtr); }

}  // extern "C"
