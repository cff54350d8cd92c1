// Recursive filters that own their memory: how they come to be. Coefficients may be given in a narrower type than that
// of the filter.
#pragma once
#include <algorithm>
#include <cstdlib>

#include "frame/check.h"
#include "moxa1.h"

namespace mox {

inline constexpr int32_t kInitMark = 31725;
inline constexpr char kNotReady[] = "IIR filter wasn't initialized";

// A filter from `count` coefficients, in front of a delay line of `length` values.
template <class Source, class T, class O>
int32_t initAny(int32_t iirType, const Source* tapVals, int32_t size, uint64_t count, uint64_t length,
                IirState* statePtr, void (*initTaps)(int32_t, T*, int32_t, IirTapState*),
                void (*initDelay)(const IirTapState*, O*, IirDlyState*), Site site) {
  const uint64_t bytes = count * sizeof(T) + length * sizeof(O);
  // The record counts the delay line in an int32.
  const bool fits = length <= INT32_MAX && bytes <= uint64_t{PTRDIFF_MAX};
  T* const taps = fits ? static_cast<T*>(std::malloc(static_cast<size_t>(bytes))) : nullptr;
  if (!taps) {
    report(site, MOX_StsNoMem, "insufficiency of memory for IIR filter state");
    return context().status;
  }
  std::copy_n(tapVals, static_cast<size_t>(count), taps);
  IirState state = {};
  initTaps(iirType, taps, size, &state.tapSt);
  if (context().status < 0) {
    report(site, MOX_StsBackTrace, nullptr);
    std::free(taps);
    statePtr->initMark = 0;
    return context().status;
  }
  initDelay(&state.tapSt, reinterpret_cast<O*>(taps + count), &state.dlySt);
  state.initMark = kInitMark;
  *statePtr = state;
  return context().status;
}

inline constexpr char kNoType[] = "iirType is out of range";
inline constexpr char kTwice[] = "IIR filter state structure is already initialized! Use moxIirFree to free it";
inline bool isBadType(int32_t iirType) { return (iirType & ~1) != 0; }
inline bool isReady(const IirState& state) { return state.initMark == kInitMark; }

template <class Source, class T, class O>
int32_t init(int32_t iirType, const Source* tapVals, int32_t order, IirState* statePtr,
             void (*initTaps)(int32_t, T*, int32_t, IirTapState*),
             void (*initDelay)(const IirTapState*, O*, IirDlyState*), Site site) {
  if (rejected(site, BAD_IF(statePtr==0), BAD_IF(tapVals==0))) return context().status;
  if (rejected(site, BAD_IF(order < 0), check(isBadType(iirType), [] { return kNoType; }),
                            check(isReady(*statePtr), [] { return kTwice; }))) {
    return context().status;
  }
  const uint64_t n = static_cast<uint64_t>(order);
  return initAny(iirType, tapVals, order, 2 * n + 2, n, statePtr, initTaps, initDelay, site);
}

template <class Source, class T, class O>
int32_t initBiquads(int32_t iirType, const Source* tapVals, int32_t numQuads, IirState* statePtr,
                    void (*initTaps)(int32_t, T*, int32_t, IirTapState*),
                    void (*initDelay)(const IirTapState*, O*, IirDlyState*), Site site) {
  if (rejected(site, BAD_IF(statePtr==0), BAD_IF(tapVals==0))) return context().status;
  if (rejected(site, BAD_IF(numQuads <= 0), check(isBadType(iirType), [] { return kNoType; }),
                            check(isReady(*statePtr), [] { return kTwice; }))) {
    return context().status;
  }
  const uint64_t quads = static_cast<uint64_t>(numQuads);
  return initAny(iirType, tapVals, numQuads, 6 * quads, 2 * quads, statePtr, initTaps, initDelay, site);
}

}  // namespace mox
