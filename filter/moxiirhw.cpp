// Recursive filters on int16 samples that own their memory: float32 filters behind an int16 interface.
#include <algorithm>

#include "filter/iir_object.h"
#include "frame/float_array.h"
#include "frame/undscale.h"

namespace mox {
namespace {

using IirObject16 = Here<"moxiirhw">;

int16_t filter(IirState* statePtr, int16_t samp, int32_t scaleMode, int32_t* scalePtr, Site site = IirObject16()) {
  if (rejected(site, BAD_IF(statePtr==0))) return 0;
  if (rejected(site, check(!isReady(*statePtr), [] { return kNotReady; }))) return 0;
  if (!scaleIsGood("moxsbUndScaling", scaleMode, scalePtr)) return 0;
  const float y = moxsIirl(&statePtr->tapSt, &statePtr->dlySt, samp);
  int16_t result = 0;
  if (context().status >= 0) scaledToInt16(&y, &result, 1, scaleMode, scalePtr);
  return result;
}

int32_t filterBlock(IirState* statePtr, const int16_t* inSamps, int16_t* outSamps, int32_t numIters, int32_t scaleMode,
                    int32_t* scalePtr, Site site = IirObject16()) {
  if (rejected(site, BAD_IF(statePtr==0), BAD_IF(inSamps==0), BAD_IF(outSamps==0))) return context().status;
  if (rejected(site, BAD_IF(numIters <= 0), check(!isReady(*statePtr), [] { return kNotReady; }))) {
    return context().status;
  }
  if (!scaleIsGood("moxsbUndScaling", scaleMode, scalePtr)) return context().status;
  const size_t n = static_cast<size_t>(numIters);
  const FloatArray in(inSamps, n);
  if (!in.get()) {
    report(site, MOX_StsNoMem, "insufficiency of memory for float copy inSamps (IIR filter) ");
    return context().status;
  }
  const FloatArray out(n);
  if (!out.get()) {
    report(site, MOX_StsNoMem, "insufficiency of memory for float copy outSamps (IIR filter) ");
    return context().status;
  }
  moxsbIirl(&statePtr->tapSt, &statePtr->dlySt, in.get(), out.get(), numIters);
  if (context().status < 0) {
    report(site, MOX_StsBackTrace, nullptr);
    return context().status;
  }
  scaledToInt16(out.get(), outSamps, numIters, scaleMode, scalePtr);
  return context().status;
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

int32_t moxwIirInit(int32_t iirType, const int16_t* tapVals, int32_t order, IirState* statePtr) {
  return init(iirType, tapVals, order, statePtr, moxsIirlInit, moxsIirlInitDlyl, IirObject16());
}
int32_t moxwIirInitBq(int32_t iirType, const int16_t* tapVals, int32_t numQuads, IirState* statePtr) {
  return initBiquads(iirType, tapVals, numQuads, statePtr, moxsIirlInitBq, moxsIirlInitDlyl, IirObject16());
}
int16_t moxwIir(IirState* statePtr, int16_t samp, int32_t scaleMode, int32_t* scalePtr) {
  return filter(statePtr, samp, scaleMode, scalePtr);
}
int32_t moxwbIir(IirState* statePtr, const int16_t* inSamps, int16_t* outSamps, int32_t numIters, int32_t scaleMode,
                 int32_t* scalePtr) {
  return filterBlock(statePtr, inSamps, outSamps, numIters, scaleMode, scalePtr);
}

}  // extern "C"
