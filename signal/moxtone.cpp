// Tones of floating-point samples.
#include "signal/tone.h"

using namespace mox;

namespace {

using Tone = Here<"moxtone">;

template <class Real, class State>
void init(Real rFreq, Real phase, Real mag, State* statePtr, Site site = Tone()) {
  toneInit(rFreq, phase, mag, statePtr, site);
}
template <class T, class State>
T next(State* statePtr, Site site = Tone()) {
  return toneNext<T>(statePtr, site);
}
template <class T, class State>
void block(State* statePtr, T* dst, int32_t n, Site site = Tone()) {
  toneBlock(statePtr, dst, n, site);
}

}  // namespace

extern "C" {

void moxsToneInit(float rFreq, float phase, float mag, MoxsToneState* statePtr) { init(rFreq, phase, mag, statePtr); }
void moxdToneInit(double rFreq, double phase, double mag, MoxdToneState* statePtr) {
  init(rFreq, phase, mag, statePtr);
}
void moxcToneInit(float rFreq, float phase, float mag, MoxcToneState* statePtr) { init(rFreq, phase, mag, statePtr); }
void moxzToneInit(double rFreq, double phase, double mag, MoxzToneState* statePtr) {
  init(rFreq, phase, mag, statePtr);
}

float moxsTone(MoxsToneState* statePtr) { return next<float>(statePtr); }
double moxdTone(MoxdToneState* statePtr) { return next<double>(statePtr); }
MoxC moxcTone(MoxcToneState* statePtr) { return next<MoxC>(statePtr); }
MoxZ moxzTone(MoxzToneState* statePtr) { return next<MoxZ>(statePtr); }

void moxsbTone(MoxsToneState* statePtr, float* dst, int32_t n) { block(statePtr, dst, n); }
void moxdbTone(MoxdToneState* statePtr, double* dst, int32_t n) { block(statePtr, dst, n); }
void moxcbTone(MoxcToneState* statePtr, MoxC* dst, int32_t n) { block(statePtr, dst, n); }
void moxzbTone(MoxzToneState* statePtr, MoxZ* dst, int32_t n) { block(statePtr, dst, n); }

}  // extern "C"
