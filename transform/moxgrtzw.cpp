// One spectral component of int16 signals: the float32 recurrence, then the scale mode.
#include "frame/float_array.h"
#include "frame/undscale.h"
#include "transform/goertzel.h"

namespace mox {
namespace {

using Component16 = Here<"moxgrtzw">;

float widened(int16_t v) { return v; }
MoxC widened(MoxV v) { return {static_cast<float>(v.re), static_cast<float>(v.im)}; }
const int16_t* parts(const int16_t* samps) { return samps; }
const int16_t* parts(const MoxV* samps) { return &samps->re; }

// A refused scale mode leaves the record as it was.
template <class Samples>
MoxV scaled(MoxsGoertzState* state, const Samples* samps, size_t n, int32_t mode, int32_t* scalePtr) {
  MoxV result = {0, 0};
  if (!scaleIsGood("moxsbUndScaling", mode, scalePtr)) return result;
  const MoxC y = goertzelBlock(state, samps, n);
  scaledToInt16(&y.re, &result.re, 2, mode, scalePtr);
  return result;
}

template <class T>
void init(float freq, MoxsGoertzState* state, Site site = Component16()) {
  goertzelInit<T>(freq, state, site);
}
template <class T>
void reset(MoxsGoertzState* state, Site site = Component16()) {
  goertzelReset<T>(state, site);
}
template <class T>
MoxV sample(MoxsGoertzState* state, T samp, int32_t mode, int32_t* scalePtr, Site site = Component16()) {
  if (refused(site, nullGoertzel(state))) return {0, 0};
  const auto x = widened(samp);
  return scaled(state, &x, 1, mode, scalePtr);
}
template <class T>
MoxV block(MoxsGoertzState* state, const T* samps, int32_t length, int32_t mode, int32_t* scalePtr,
           Site site = Component16()) {
  if (goertzelRefused(site, state, samps, length)) return {0, 0};
  using Wide = decltype(widened(*samps));
  const size_t n = static_cast<size_t>(length), count = n * (sizeof(T) / sizeof(int16_t));
  const FloatArray work(uint64_t{n} * (sizeof(T) / sizeof(int16_t)));
  if (!work.get()) {
    report(site, MOX_StsNoMem, "No memory for working array");
    return {0, 0};
  }
  kernel::active->scale.toFloats(parts(samps), work.get(), count);
  return scaled(state, reinterpret_cast<const Wide*>(work.get()), n, mode, scalePtr);
}

}  // namespace
}  // namespace mox

using namespace mox;

extern "C" {

void moxwGoertzInit(float freq, MoxsGoertzState* statePtr) { init<int16_t>(freq, statePtr); }
void moxvGoertzInit(float freq, MoxsGoertzState* statePtr) { init<MoxV>(freq, statePtr); }
void moxwGoertzReset(MoxsGoertzState* statePtr) { reset<int16_t>(statePtr); }
void moxvGoertzReset(MoxsGoertzState* statePtr) { reset<MoxV>(statePtr); }

MoxV moxwGoertz(MoxsGoertzState* statePtr, int16_t samp, int32_t scaleMode, int32_t* scalePtr) {
  return sample(statePtr, samp, scaleMode, scalePtr);
}
MoxV moxvGoertz(MoxsGoertzState* statePtr, MoxV samp, int32_t scaleMode, int32_t* scalePtr) {
  return sample(statePtr, samp, scaleMode, scalePtr);
}
MoxV moxwbGoertz(MoxsGoertzState* statePtr, const int16_t* samps, int32_t length, int32_t scaleMode,
                 int32_t* scalePtr) {
  return block(statePtr, samps, length, scaleMode, scalePtr);
}
MoxV moxvbGoertz(MoxsGoertzState* statePtr, const MoxV* samps, int32_t length, int32_t scaleMode, int32_t* scalePtr) {
  return block(statePtr, samps, length, scaleMode, scalePtr);
}

}  // extern "C"
