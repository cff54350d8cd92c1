// Recursive filters that own their coefficients and their delay line, in one block of memory.
#include <cstdlib>

#include "filter/iir_object.h"

namespace mox {
namespace {

using IirObject = Here<"moxiirh">;

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
  return init(iirType, tapVals, order, statePtr, moxsIirlInit, moxsIirlInitDlyl, IirObject());
}
int32_t moxdIirInit(int32_t iirType, const double* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxdIirlInit, moxdIirlInitDlyl, IirObject());
}
int32_t moxcIirInit(int32_t iirType, const MoxC* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxcIirlInit, moxcIirlInitDlyl, IirObject());
}
int32_t moxzIirInit(int32_t iirType, const MoxZ* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxzIirlInit, moxzIirlInitDlyl, IirObject());
}
int32_t moxscIirInit(int32_t iirType, const MoxC* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxcIirlInit, moxcIirlInitDlyl, IirObject());
}
int32_t moxcsIirInit(int32_t iirType, const float* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxsIirlInit, moxcIirlInitDlyl, IirObject());
}
int32_t moxdzIirInit(int32_t iirType, const MoxZ* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxzIirlInit, moxzIirlInitDlyl, IirObject());
}
int32_t moxzdIirInit(int32_t iirType, const double* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxdIirlInit, moxzIirlInitDlyl, IirObject());
}

int32_t moxsIirInitBq(int32_t iirType, const float* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxsIirlInitBq, moxsIirlInitDlyl, IirObject());
}
int32_t moxdIirInitBq(int32_t iirType, const double* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxdIirlInitBq, moxdIirlInitDlyl, IirObject());
}
int32_t moxcIirInitBq(int32_t iirType, const MoxC* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxcIirlInitBq, moxcIirlInitDlyl, IirObject());
}
int32_t moxzIirInitBq(int32_t iirType, const MoxZ* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxzIirlInitBq, moxzIirlInitDlyl, IirObject());
}
int32_t moxscIirInitBq(int32_t iirType, const MoxC* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxcIirlInitBq, moxcIirlInitDlyl, IirObject());
}
int32_t moxcsIirInitBq(int32_t iirType, const float* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxsIirlInitBq, moxcIirlInitDlyl, IirObject());
}
int32_t moxdzIirInitBq(int32_t iirType, const MoxZ* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxzIirlInitBq, moxzIirlInitDlyl, IirObject());
}
int32_t moxzdIirInitBq(int32_t iirType, const double* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxdIirlInitBq, moxzIirlInitDlyl, IirObject());
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
