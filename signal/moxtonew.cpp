// Tones of int16 samples.
#include "signal/tone.h"

using namespace mox;

namespace {

using Tone = Here<"moxtonew">;

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

void moxwToneInit(float rFreq, float phase, float mag, MoxsToneState* statePtr) { init(rFreq, phase, mag, statePtr); }
void moxvToneInit(float rFreq, float phase, float mag, MoxcToneState* statePtr) { init(rFreq, phase, mag, statePtr); }

int16_t moxwTone(MoxsToneState* statePtr) { return next<int16_t>(statePtr); }
MoxV moxvTone(MoxcToneState* statePtr) { return next<MoxV>(statePtr); }

void moxwbTone(MoxsToneState* statePtr, int16_t* dst, int32_t n) { block(statePtr, dst, n); }
void moxvbTone(MoxcToneState* statePtr, MoxV* dst, int32_t n) { block(statePtr, dst, n); }

}  // extern "C"
