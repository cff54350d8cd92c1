// Sinusoids by a recurrence of second order: the modules of floating-point and of int16 tones.
#pragma once
#include <cstring>

#include "kernel/roots.h"
#include "signal/generator.h"

namespace mox {

inline constexpr char kToneMarker[4] = "QXZ";

inline void setHistory(double& y, double mag, const kernel::SinCosNearest& at) { y = mag * at.cos; }
inline void setHistory(MoxZ& y, double mag, const kernel::SinCosNearest& at) { y = {mag * at.cos, mag * at.sin}; }

template <class Real, class State>
void toneInit(Real rFreq, Real phase, Real mag, State* statePtr, Site site) {
  if (refused(site, Fault{!(mag >= 0), "Invalid magnitude value"},
              Fault{!isWithin(rFreq, 0, 0.5), "Invalid freq value"},
              Fault{!isWithin(phase, 0, kTwoPi), "Invalid phase value"}, Fault{!statePtr, "Null pointer to state"})) {
    return;
  }
  using kernel::DoubleDouble;
  const DoubleDouble step = DoubleDouble{kTwoPi, 0x1.1a62633145c07p-52} * DoubleDouble{rFreq, 0};
  const DoubleDouble first = DoubleDouble{phase, 0} + -step;
  statePtr->twoCos = 2 * kernel::sinCosNearest(step).cos;
  setHistory(statePtr->prev1, mag, kernel::sinCosNearest(first));
  setHistory(statePtr->prev2, mag, kernel::sinCosNearest(first + -step));
  statePtr->mag = mag;
  statePtr->rFreq = rFreq;
  statePtr->phase = phase;
  std::memcpy(statePtr->marker, kToneMarker, sizeof kToneMarker);
}

inline constexpr auto noMarker = [] { return "Structure initialization need"; };

template <class State>
bool lacksMarker(const State* statePtr) {
  return statePtr && std::memcmp(statePtr->marker, kToneMarker, sizeof kToneMarker) != 0;
}

template <class T, class State>
void toneRun(State* statePtr, T* dst, int32_t n) {
  constexpr size_t P = kComplex<T> ? 2 : 1;
  const auto& generator = generatorOf(RealOf<T>{});
  double history[2 * P];
  static_assert(sizeof history == sizeof statePtr->prev1 + sizeof statePtr->prev2);
  std::memcpy(history, &statePtr->prev1, sizeof history / 2);
  std::memcpy(history + P, &statePtr->prev2, sizeof history / 2);
  (kComplex<T> ? generator.toneComplex : generator.tone)(statePtr->rFreq, statePtr->twoCos, history, reals(dst),
                                                         static_cast<size_t>(n));
  std::memcpy(&statePtr->prev1, history, sizeof history / 2);
  std::memcpy(&statePtr->prev2, history + P, sizeof history / 2);
}

template <class T, class State>
T toneNext(State* statePtr, Site site) {
  if (rejected(site, check(!statePtr, nullState), check(lacksMarker(statePtr), noMarker))) return {};
  T y;
  toneRun(statePtr, &y, 1);
  return y;
}

template <class T, class State>
void toneBlock(State* statePtr, T* dst, int32_t n, Site site) {
  constexpr auto nullBuffer = [] { return "Null input buffer pointer"; };
  constexpr auto noItems = [] { return "Bad number of items"; };
  if (rejected(site, check(!statePtr, nullState), check(lacksMarker(statePtr), noMarker), check(!dst, nullBuffer),
               check(n < 1, noItems))) {
    return;
  }
  toneRun(statePtr, dst, n);
}

}  // namespace mox
