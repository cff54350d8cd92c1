// What the modules of single spectral components share: checks, records, the block itself.
#pragma once
#include <bit>
#include <cstdint>
#include <type_traits>

#include "frame/check.h"
#include "kernel/kernels.h"
#include "moxa1.h"

namespace mox {

// Element types: the record, its real and complex type, and whether delays are complex.
template <class T>
struct Goertzel;
template <>
struct Goertzel<float> {
  using State = MoxsGoertzState;
  using Real = float;
  using Complex = MoxC;
  static constexpr bool kComplex = false;
  static auto run() { return kernel::active->goertzel32.real; }
};
template <>
struct Goertzel<MoxC> {
  using State = MoxsGoertzState;
  using Real = float;
  using Complex = MoxC;
  static constexpr bool kComplex = true;
  static auto run() { return kernel::active->goertzel32.complex; }
};
template <>
struct Goertzel<double> {
  using State = MoxdGoertzState;
  using Real = double;
  using Complex = MoxZ;
  static constexpr bool kComplex = false;
  static auto run() { return kernel::active->goertzel64.real; }
};
template <>
struct Goertzel<MoxZ> {
  using State = MoxdGoertzState;
  using Real = double;
  using Complex = MoxZ;
  static constexpr bool kComplex = true;
  static auto run() { return kernel::active->goertzel64.complex; }
};
template <>
struct Goertzel<int16_t> : Goertzel<float> {};
template <>
struct Goertzel<MoxV> : Goertzel<MoxC> {};

template <class T>
using GoertzelState = typename Goertzel<T>::State;
template <class T>
using GoertzelReal = typename Goertzel<T>::Real;
template <class T>
using GoertzelResult = typename Goertzel<T>::Complex;

inline Fault nullGoertzel(const void* state) { return {!state, "Null state pointer"}; }

// Whether a block must not run: the first condition that holds is reported, alone.
inline bool goertzelRefused(const Site& site, const void* state, const void* samps, int32_t length) {
  return refused(site, nullGoertzel(state), Fault{!samps, "Null buffer pointer"},
                 Fault{length < 1, "Invalid array length"});
}

// 0 < freq < 0.5, by the bits: float32 down to the least subnormal, float64 from an upper word of 1 on.
inline bool goertzelFreqIsGood(float freq) {
  const int32_t bits = std::bit_cast<int32_t>(freq);
  return bits >= 1 && bits < 0x3F000000;
}
inline bool goertzelFreqIsGood(double freq) {
  return static_cast<int32_t>(std::bit_cast<uint64_t>(freq) >> 32) > 0 && freq < 0.5;
}

// cos and sin of freq * 2 pi, in double; 2.0 times that cosine.
void goertzelRoots(float freq, MoxsGoertzState* state);
void goertzelRoots(double freq, MoxdGoertzState* state);

template <class T>
void goertzelClear(GoertzelState<T>* state) {
  state->delay2.re = state->delay1.re = 0;
  if (Goertzel<T>::kComplex) state->delay2.im = state->delay1.im = 0;
}

template <class T>
void goertzelInit(GoertzelReal<T> freq, GoertzelState<T>* state, Site site) {
  if (rejected(site, check(!state, [] { return "Null state pointer"; }),
               check(!goertzelFreqIsGood(freq), [] { return "Invalid frequency value"; }))) {
    return;
  }
  goertzelRoots(freq, state);
  goertzelClear<T>(state);
}

template <class T>
void goertzelReset(GoertzelState<T>* state, Site site) {
  if (refused(site, nullGoertzel(state))) return;
  goertzelClear<T>(state);
}

// n samples; T is a floating-point type.
template <class T>
GoertzelResult<T> goertzelBlock(GoertzelState<T>* state, const T* samps, size_t n) {
  static_assert(std::is_standard_layout_v<GoertzelState<T>>);
  GoertzelResult<T> y;
  Goertzel<T>::run()(&state->cosW, &state->delay2.re, reinterpret_cast<const GoertzelReal<T>*>(samps), n, &y.re);
  return y;
}

}  // namespace mox
