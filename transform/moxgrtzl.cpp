// One spectral component of floating-point signals.
#include "frame/float_state.h"
#include "kernel/roots.h"
#include "transform/goertzel.h"

namespace mox {
namespace {

using Component = Here<"moxgrtzl">;

template <class State, class Real>
[[gnu::noinline]] void storeRoots(Real freq, State* state) {
  const kernel::SinCosNearest at = kernel::sinCosNearest({static_cast<double>(freq) * 6.283185307179586, 0});
  state->freq = freq;
  state->cosW = static_cast<Real>(at.cos);
  state->sinW = static_cast<Real>(at.sin);
  state->twoCosW = static_cast<Real>(2.0 * at.cos);
}

template <class T>
void init(GoertzelReal<T> freq, GoertzelState<T>* state, Site site = Component()) {
  goertzelInit<T>(freq, state, site);
}
template <class T>
void reset(GoertzelState<T>* state, Site site = Component()) {
  goertzelReset<T>(state, site);
}
template <class T>
GoertzelResult<T> sample(GoertzelState<T>* state, T samp, Site site = Component()) {
  if (refused(site, nullGoertzel(state))) return {0, 0};
  return goertzelBlock<T>(state, &samp, 1);
}
template <class T>
GoertzelResult<T> block(GoertzelState<T>* state, const T* samps, int32_t length, Site site = Component()) {
  if (goertzelRefused(site, state, samps, length)) return {0, 0};
  return goertzelBlock<T>(state, samps, static_cast<size_t>(length));
}

}  // namespace

void goertzelRoots(float freq, MoxsGoertzState* state) {
  const DefaultFloatState defaults;
  storeRoots(freq, state);
}
void goertzelRoots(double freq, MoxdGoertzState* state) {
  const DefaultFloatState defaults;
  storeRoots(freq, state);
}

}  // namespace mox

using namespace mox;

extern "C" {

void moxsGoertzInit(float freq, MoxsGoertzState* statePtr) { init<float>(freq, statePtr); }
void moxcGoertzInit(float freq, MoxsGoertzState* statePtr) { init<MoxC>(freq, statePtr); }
void moxdGoertzInit(double freq, MoxdGoertzState* statePtr) { init<double>(freq, statePtr); }
void moxzGoertzInit(double freq, MoxdGoertzState* statePtr) { init<MoxZ>(freq, statePtr); }

void moxsGoertzReset(MoxsGoertzState* statePtr) { reset<float>(statePtr); }
void moxcGoertzReset(MoxsGoertzState* statePtr) { reset<MoxC>(statePtr); }
void moxdGoertzReset(MoxdGoertzState* statePtr) { reset<double>(statePtr); }
void moxzGoertzReset(MoxdGoertzState* statePtr) { reset<MoxZ>(statePtr); }

MoxC moxsGoertz(MoxsGoertzState* statePtr, float samp) { return sample(statePtr, samp); }
MoxC moxcGoertz(MoxsGoertzState* statePtr, MoxC samp) { return sample(statePtr, samp); }
MoxZ moxdGoertz(MoxdGoertzState* statePtr, double samp) { return sample(statePtr, samp); }
MoxZ moxzGoertz(MoxdGoertzState* statePtr, MoxZ samp) { return sample(statePtr, samp); }

MoxC moxsbGoertz(MoxsGoertzState* statePtr, const float* samps, int32_t length) {
  return block(statePtr, samps, length);
}
MoxC moxcbGoertz(MoxsGoertzState* statePtr, const MoxC* samps, int32_t length) {
  return block(statePtr, samps, length);
}
MoxZ moxdbGoertz(MoxdGoertzState* statePtr, const double* samps, int32_t length) {
  return block(statePtr, samps, length);
}
MoxZ moxzbGoertz(MoxdGoertzState* statePtr, const MoxZ* samps, int32_t length) {
  return block(statePtr, samps, length);
}

}  // extern "C"
