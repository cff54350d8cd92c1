// Random numbers: uniform ones in floating point, Gaussian ones of all types.
#include "frame/check.h"
#include "signal/random_core.h"

namespace mox {
namespace {

using RandomNumbers = Here<"moxrand">;

constexpr auto nullState = [] { return "Null pointer to state structure"; };
constexpr auto nullBuffer = [] { return "Null pointer to data buffer"; };
constexpr auto nullLength = [] { return "Null length of buffer"; };

// ---- uniform

template <class R, class State>
void initUniform(R seed, R low, R high, State* statePtr, Site site = RandomNumbers()) {
  if (!rejected(site, check(!statePtr, nullState))) startUniform(seed, low, high, *statePtr);
}

template <class T, class State>
T uniform(State* statePtr, Site site = RandomNumbers()) {
  T value = {};
  if (!rejected(site, check(!statePtr, nullState))) uniformValues(*statePtr, reals(&value), realCount<T>(1));
  return value;
}

template <class T, class State>
void uniformBlock(State* statePtr, T* samps, int32_t sampsLen, Site site = RandomNumbers()) {
  if (rejected(site, check(!statePtr, nullState), check(!samps, nullBuffer), check(sampsLen < 1, nullLength))) return;
  uniformValues(*statePtr, reals(samps), realCount<T>(sampsLen));
}

// ---- Gaussian

template <class R, class State>
void initGaussian(R seed, R mean, R stdDev, State* statePtr, Site site = RandomNumbers()) {
  if (rejected(site, check(!statePtr, nullState))) return;
  statePtr->mean = mean;
  statePtr->stdDev = stdDev;
  statePtr->cached = 0;
  statePtr->hasCached = 0;
  startDraws(seedOf(seed), 1, *statePtr);
}

// The second value of the last pair is kept whether it has been used or not, as single calls would leave it.
template <class R, class State>
void gaussianValues(State& state, R* dst, size_t n) {
  if (n > 0 && state.hasCached == 1) {
    state.hasCached = 0;
    *dst++ = state.cached;
    --n;
  }
  if (n == 0) return;
  const auto pairs = [&](R* to, size_t count) {
    randomOf<R>().gaussianPairs(drawsOf(state), state.mean, state.stdDev, to, count);
    state.cached = to[2 * count - 1];
  };
  if (n > 1) pairs(dst, n / 2);
  if (n % 2) {
    R last[2];
    pairs(last, 1);
    dst[n - 1] = last[0];
    state.hasCached = 1;
  }
}
template <class State>
void gaussianValues(State& state, int16_t* dst, size_t n) {
  int16Values(dst, n, kernel::active->conversion32,
              [&](float* values, size_t count) { gaussianValues(state, values, count); });
}

template <class T, class State>
T gaussian(State* statePtr, Site site = RandomNumbers()) {
  T value = {};
  if (!rejected(site, check(!statePtr, nullState))) gaussianValues(*statePtr, reals(&value), realCount<T>(1));
  return value;
}

template <class T, class State>
void gaussianBlock(State* statePtr, T* samps, int32_t sampsLen, Site site = RandomNumbers()) {
  if (rejected(site, check(!statePtr, nullState), check(!samps, nullBuffer), check(sampsLen < 1, nullLength))) return;
  gaussianValues(*statePtr, reals(samps), realCount<T>(sampsLen));
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsRandUniInit(float seed, float low, float high, MoxsRandUniState* statePtr) {
  initUniform(seed, low, high, statePtr);
}
float moxsRandUni(MoxsRandUniState* statePtr) { return uniform<float>(statePtr); }
void moxsbRandUni(MoxsRandUniState* statePtr, float* samps, int32_t sampsLen) {
  uniformBlock(statePtr, samps, sampsLen);
}

void moxdRandUniInit(double seed, double low, double high, MoxdRandUniState* statePtr) {
  initUniform(seed, low, high, statePtr);
}
double moxdRandUni(MoxdRandUniState* statePtr) { return uniform<double>(statePtr); }
void moxdbRandUni(MoxdRandUniState* statePtr, double* samps, int32_t sampsLen) {
  uniformBlock(statePtr, samps, sampsLen);
}

void moxcRandUniInit(float seed, float low, float high, MoxsRandUniState* statePtr) {
  initUniform(seed, low, high, statePtr);
}
MoxC moxcRandUni(MoxsRandUniState* statePtr) { return uniform<MoxC>(statePtr); }
void moxcbRandUni(MoxsRandUniState* statePtr, MoxC* samps, int32_t sampsLen) {
  uniformBlock(statePtr, samps, sampsLen);
}

void moxzRandUniInit(double seed, double low, double high, MoxdRandUniState* statePtr) {
  initUniform(seed, low, high, statePtr);
}
MoxZ moxzRandUni(MoxdRandUniState* statePtr) { return uniform<MoxZ>(statePtr); }
void moxzbRandUni(MoxdRandUniState* statePtr, MoxZ* samps, int32_t sampsLen) {
  uniformBlock(statePtr, samps, sampsLen);
}

void moxsRandGausInit(float seed, float mean, float stdDev, MoxsRandGausState* statePtr) {
  initGaussian(seed, mean, stdDev, statePtr);
}
float moxsRandGaus(MoxsRandGausState* statePtr) { return gaussian<float>(statePtr); }
void moxsbRandGaus(MoxsRandGausState* statePtr, float* samps, int32_t sampsLen) {
  gaussianBlock(statePtr, samps, sampsLen);
}

void moxdRandGausInit(double seed, double mean, double stdDev, MoxdRandGausState* statePtr) {
  initGaussian(seed, mean, stdDev, statePtr);
}
double moxdRandGaus(MoxdRandGausState* statePtr) { return gaussian<double>(statePtr); }
void moxdbRandGaus(MoxdRandGausState* statePtr, double* samps, int32_t sampsLen) {
  gaussianBlock(statePtr, samps, sampsLen);
}

void moxcRandGausInit(float seed, float mean, float stdDev, MoxsRandGausState* statePtr) {
  initGaussian(seed, mean, stdDev, statePtr);
}
MoxC moxcRandGaus(MoxsRandGausState* statePtr) { return gaussian<MoxC>(statePtr); }
void moxcbRandGaus(MoxsRandGausState* statePtr, MoxC* samps, int32_t sampsLen) {
  gaussianBlock(statePtr, samps, sampsLen);
}

void moxzRandGausInit(double seed, double mean, double stdDev, MoxdRandGausState* statePtr) {
  initGaussian(seed, mean, stdDev, statePtr);
}
MoxZ moxzRandGaus(MoxdRandGausState* statePtr) { return gaussian<MoxZ>(statePtr); }
void moxzbRandGaus(MoxdRandGausState* statePtr, MoxZ* samps, int32_t sampsLen) {
  gaussianBlock(statePtr, samps, sampsLen);
}

void moxwRandGausInit(float seed, float mean, float stdDev, MoxsRandGausState* statePtr) {
  initGaussian(seed, mean, stdDev, statePtr);
}
int16_t moxwRandGaus(MoxsRandGausState* statePtr) { return gaussian<int16_t>(statePtr); }
void moxwbRandGaus(MoxsRandGausState* statePtr, int16_t* samps, int32_t sampsLen) {
  gaussianBlock(statePtr, samps, sampsLen);
}

void moxvRandGausInit(float seed, float mean, float stdDev, MoxsRandGausState* statePtr) {
  initGaussian(seed, mean, stdDev, statePtr);
}
MoxV moxvRandGaus(MoxsRandGausState* statePtr) { return gaussian<MoxV>(statePtr); }
void moxvbRandGaus(MoxsRandGausState* statePtr, MoxV* samps, int32_t sampsLen) {
  gaussianBlock(statePtr, samps, sampsLen);
}

}  // extern "C"
