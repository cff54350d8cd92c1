// Triangle waves: a constant step, reflected at the peaks.
#include "signal/generator.h"

namespace mox {
namespace {

using Triangle = Here<"moxtrngl">;

constexpr double kPi = 3.141592653589793;

// The value at a phase, and the step from there.
template <class State>
void start(const State& state, double mag, double phase, double down, double up, double& value, double& step) {
  const bool falls = phase < down;
  value = falls ? mag * (1 - 2 * phase / down) : mag * (2 * (phase - down) / up - 1);
  step = falls ? state.downStep : state.upStep;
}

template <class Real, class State>
void init(Real rFreq, Real phase, Real mag, Real asym, State* statePtr, Site site = Triangle()) {
  if (refused(site, Fault{!(mag >= 0), "Invalid magnitude value"},
              Fault{!isWithin(rFreq, 0, 0.5), "Invalid frequence value"},
              Fault{!isWithin(phase, 0, kTwoPi), "Invalid phase value"},
              Fault{!(asym > -kPi && asym < kPi), "Invalid asymmetry value"},
              Fault{!statePtr, "Null pointer to state"})) {
    return;
  }
  const double down = kPi + asym, up = kPi - asym, rate = 4 * kPi * mag * rFreq;
  statePtr->mag = mag;
  statePtr->downStep = -rate / down;
  statePtr->upStep = rate / up;
  statePtr->downRatio = -up / down;
  statePtr->upRatio = -down / up;
  if constexpr (sizeof statePtr->value == sizeof(MoxZ)) {
    const double late = phase - kPi / 2;
    start(*statePtr, mag, phase, down, up, statePtr->value.re, statePtr->step.re);
    start(*statePtr, mag, late < 0 ? late + kTwoPi : late, down, up, statePtr->value.im, statePtr->step.im);
  } else {
    start(*statePtr, mag, phase, down, up, statePtr->value, statePtr->step);
  }
}

double* parts(double& x) { return &x; }
double* parts(MoxZ& x) { return reals(&x); }

template <class T, class State>
void run(State& state, T* dst, int32_t n) {
  const auto& generator = generatorOf(RealOf<T>{});
  (kComplex<T> ? generator.triangleComplex : generator.triangle)(
      {state.mag, state.downStep, state.upStep, state.downRatio, state.upRatio}, parts(state.value), parts(state.step),
      reals(dst), static_cast<size_t>(n));
}

template <class T, class State>
T next(State* statePtr, Site site = Triangle()) {
  if (rejected(site, check(!statePtr, nullState))) return {};
  T y;
  run(*statePtr, &y, 1);
  return y;
}

template <class T, class State>
void block(State* statePtr, T* dst, int32_t n, Site site = Triangle()) {
  constexpr auto nullBuffer = [] { return "Null pointer to buffer"; };
  constexpr auto noItems = [] { return "Invalid number of items"; };
  if (rejected(site, check(!statePtr, nullState), check(!dst, nullBuffer), check(n < 1, noItems))) return;
  run(*statePtr, dst, n);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxsTrnglInit(float rFreq, float phase, float mag, float asym, MoxsTrnglState* statePtr) {
  init(rFreq, phase, mag, asym, statePtr);
}
void moxdTrnglInit(double rFreq, double phase, double mag, double asym, MoxdTrnglState* statePtr) {
  init(rFreq, phase, mag, asym, statePtr);
}
void moxcTrnglInit(float rFreq, float phase, float mag, float asym, MoxcTrnglState* statePtr) {
  init(rFreq, phase, mag, asym, statePtr);
}
void moxzTrnglInit(double rFreq, double phase, double mag, double asym, MoxzTrnglState* statePtr) {
  init(rFreq, phase, mag, asym, statePtr);
}
void moxwTrnglInit(float rFreq, float phase, float mag, float asym, MoxsTrnglState* statePtr) {
  init(rFreq, phase, mag, asym, statePtr);
}
void moxvTrnglInit(float rFreq, float phase, float mag, float asym, MoxcTrnglState* statePtr) {
  init(rFreq, phase, mag, asym, statePtr);
}

float moxsTrngl(MoxsTrnglState* statePtr) { return next<float>(statePtr); }
double moxdTrngl(MoxdTrnglState* statePtr) { return next<double>(statePtr); }
MoxC moxcTrngl(MoxcTrnglState* statePtr) { return next<MoxC>(statePtr); }
MoxZ moxzTrngl(MoxzTrnglState* statePtr) { return next<MoxZ>(statePtr); }
int16_t moxwTrngl(MoxsTrnglState* statePtr) { return next<int16_t>(statePtr); }
MoxV moxvTrngl(MoxcTrnglState* statePtr) { return next<MoxV>(statePtr); }

void moxsbTrngl(MoxsTrnglState* statePtr, float* dst, int32_t n) { block(statePtr, dst, n); }
void moxdbTrngl(MoxdTrnglState* statePtr, double* dst, int32_t n) { block(statePtr, dst, n); }
void moxcbTrngl(MoxcTrnglState* statePtr, MoxC* dst, int32_t n) { block(statePtr, dst, n); }
void moxzbTrngl(MoxzTrnglState* statePtr, MoxZ* dst, int32_t n) { block(statePtr, dst, n); }
void moxwbTrngl(MoxsTrnglState* statePtr, int16_t* dst, int32_t n) { block(statePtr, dst, n); }
void moxvbTrngl(MoxcTrnglState* statePtr, MoxV* dst, int32_t n) { block(statePtr, dst, n); }

}  // extern "C"
