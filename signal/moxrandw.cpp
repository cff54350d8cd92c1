// Uniform random numbers of int16.
#include "frame/check.h"
#include "signal/random_core.h"

namespace mox {
namespace {

using RandomInt16 = Here<"moxrandw">;

void initUniform(float seed, float low, float high, MoxsRandUniState* statePtr, Site site = RandomInt16()) {
  if (!rejected(site, BAD_IF(statePtr==0))) startUniform(seed, low, high, *statePtr);
}

// Rounded once, from float64.
void uniformValues16(MoxsRandUniState& state, int16_t* dst, size_t n) {
  int16Values(dst, n, kernel::active->conversion64,
              [&](double* values, size_t count) { uniformValues(state, values, count); });
}

template <class T>
T uniform(MoxsRandUniState* statePtr, Site site = RandomInt16()) {
  T value = {};
  if (!rejected(site, check(!statePtr, [] { return "((void*)(0))==statePtr"; }))) {
    uniformValues16(*statePtr, reals(&value), realCount<T>(1));
  }
  return value;
}

template <class T>
void uniformBlock(MoxsRandUniState* statePtr, T* samps, int32_t sampsLen, Site site = RandomInt16()) {
  if (rejected(site, BAD_IF(statePtr==0), BAD_IF(samps==0), BAD_IF(sampsLen<=0))) return;
  uniformValues16(*statePtr, reals(samps), realCount<T>(sampsLen));
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxwRandUniInit(float seed, float low, float high, MoxsRandUniState* statePtr) {
  initUniform(seed, low, high, statePtr);
}
int16_t moxwRandUni(MoxsRandUniState* statePtr) { return uniform<int16_t>(statePtr); }
void moxwbRandUni(MoxsRandUniState* statePtr, int16_t* samps, int32_t sampsLen) {
  uniformBlock(statePtr, samps, sampsLen);
}

void moxvRandUniInit(float seed, float low, float high, MoxsRandUniState* statePtr) {
  initUniform(seed, low, high, statePtr);
}
MoxV moxvRandUni(MoxsRandUniState* statePtr) { return uniform<MoxV>(statePtr); }
void moxvbRandUni(MoxsRandUniState* statePtr, MoxV* samps, int32_t sampsLen) {
  uniformBlock(statePtr, samps, sampsLen);
}

}  // extern "C"
